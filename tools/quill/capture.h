// Capture files, as Wireshark and other tools read them: each message is a packet.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <span>

#include "command.h"

namespace quill::cli {

// Link types that are free for what two programs agree on. Wireshark's dissector, quill.lua, takes them for these.
enum LinkType : uint32_t { kCodecMessages = 147, kTlvBuffers = 148 };

class Capture {
public:
    // Takes "--pcap FILE", without which nothing is written. The program ends when the file cannot be made.
    Capture(Arguments &arguments, LinkType type);
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    ~Capture();

    // Adds a packet with the present time; the file is whole after each. The program ends when it cannot be written.
    void add(std::span<const uint8_t> message);

private:
    void write(std::span<const uint8_t> bytes);

    const char *path_;
    FILE *file_ = nullptr;
};

}  // namespace quill::cli

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
    // Takes "--pcap FILE", without which nothing is written.
    Capture(Arguments &arguments, LinkType type) : path_(arguments.take_value("--pcap")), type_(type) {}
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    ~Capture();

    // Makes the file, in place of one that is there. The program ends when it cannot be made.
    void open();
    // Adds a packet with the present time, to a file that is made now if it is not open. The file is whole after each
    // packet. The program ends when it cannot be written.
    void add(std::span<const uint8_t> message);

private:
    void write(std::span<const uint8_t> bytes);

    const char *path_;
    LinkType type_;
    FILE *file_ = nullptr;
};

}  // namespace quill::cli

// Capture files, as Wireshark and other tools read them: each message is a packet.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <span>

#include "command.h"

namespace quill::cli {

// Link types that are reserved for private use. quill.lua, libquill's dissector for Wireshark, expects these messages
// and buffers under these link types.
enum LinkType : uint32_t { kCodecMessages = 147, kTlvBuffers = 148 };

class Capture {
public:
    // Takes the option "--pcap FILE". Without the option, nothing is written.
    Capture(Arguments &arguments, LinkType type) : path_(arguments.take_value("--pcap")), type_(type) {}
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    ~Capture();

    // Creates the file, and replaces an existing one. If that fails, the program ends.
    void open();
    // Adds a packet with the current time. Creates the file if it is not open. The file is complete after each packet.
    // If a write fails, the program ends.
    void add(std::span<const uint8_t> message);

private:
    void write(std::span<const uint8_t> bytes);

    const char *path_;
    LinkType type_;
    FILE *file_ = nullptr;
};

}  // namespace quill::cli

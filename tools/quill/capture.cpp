#include "capture.h"

#include <errno.h>
#include <string.h>
#include <time.h>

#include <algorithm>

#include "input.h"

namespace quill::cli {
namespace {

// The classic pcap format. Its magic number identifies the byte order, and means that times are in microseconds.
constexpr uint32_t kMagic = 0xa1b2c3d4;
constexpr uint16_t kMajor = 2, kMinor = 4;
constexpr size_t kLongestPacket = 262144;  // Wireshark treats a file with longer packets as damaged

}  // namespace

void Capture::open() {
    if (!path_ || file_) return;
    file_ = fopen(path_, "wbe");
    if (!file_) fail("cannot make %s: %s", path_, strerror(errno));
    Bytes header;
    append_number(header, kMagic, 4);
    append_number(header, kMajor, 2);
    append_number(header, kMinor, 2);
    append_number(header, 0, 8);  // time zone and precision, which programs ignore
    append_number(header, kLongestPacket, 4);
    append_number(header, type_, 4);
    write(header);
}

Capture::~Capture() {
    if (file_) fclose(file_);
}

void Capture::add(std::span<const uint8_t> message) {
    open();
    if (!file_) return;
    const size_t length = std::min(message.size(), kLongestPacket);
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    Bytes packet;
    append_number(packet, static_cast<uint64_t>(now.tv_sec), 4);
    append_number(packet, static_cast<uint64_t>(now.tv_nsec / 1000), 4);
    append_number(packet, length, 4);
    append_number(packet, message.size(), 4);
    append(packet, as_text(message.first(length)));
    write(packet);
}

void Capture::write(std::span<const uint8_t> bytes) {
    if (fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size() || fflush(file_) != 0)
        fail("cannot write %s: %s", path_, strerror(errno));
}

}  // namespace quill::cli

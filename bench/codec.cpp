// The codec: writes a message of twelve elements from a structure, and reads the message. Other rows write and read 64
// KiB of opaque data.
#include <benchmark/benchmark.h>
#include <msgpack.h>
#include <pb_decode.h>
#include <pb_encode.h>
#include <quill/sxdr.h>
#include <quill/sxdr_safe.h>
#include <quill/quill.hpp>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench.h"
#include "station.pb.h"

namespace {

struct Event {
    uint32_t sequence;
    uint8_t event;
    char interface[16];
    uint8_t station[6];
    uint32_t ip;
    uint8_t ipv6[16];
    uint16_t vlan;
    uint64_t received;
    int32_t signal;
    uint8_t authorized;
    char ssid[33];
    uint8_t capabilities[26];
    uint32_t capabilities_size;
};

const Event kEvent = {70123,
                      3,
                      "wlan0-guest",
                      {0x00, 0x1b, 0x63, 0xaa, 0xbb, 0xcc},
                      0x0a01020f,
                      {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1},
                      120,
                      98'765'432'109,
                      -67,
                      1,
                      "Reading room, second floor",
                      {0xef, 0x19, 0x1b, 0xff, 0xff, 0xff, 0xff},
                      26};

void must(bool done) {
    if (!done) abort();
}

uint64_t digest(const Event &e) {
    const uint64_t fields[] = {e.sequence,
                               e.event,
                               e.station[5],
                               e.ip,
                               e.ipv6[15],
                               e.vlan,
                               e.received,
                               static_cast<uint64_t>(e.signal),
                               e.authorized,
                               e.capabilities[5],
                               e.capabilities_size,
                               static_cast<uint64_t>(e.interface[4]),
                               static_cast<uint64_t>(e.ssid[25])};
    uint64_t sum = 0;
    int turn = 0;  // so that swapped fields change the digest
    for (const uint64_t field : fields) sum ^= std::rotl(field, turn += 5);
    return sum;
}

struct Unchecked {
    size_t write(const Event &e, uint8_t *to) {
        uint8_t *at = to;
        at += sxdr_write_u32(e.sequence, at);
        at += sxdr_write_u8(e.event, at);
        at += sxdr_write_str(e.interface, at);
        at += sxdr_write_mac(e.station, at);
        at += sxdr_write_ip(e.ip, at);
        at += sxdr_write_ipv6(e.ipv6, at);
        at += sxdr_write_u16(e.vlan, at);
        at += sxdr_write_u64(e.received, at);
        at += sxdr_write_s32(e.signal, at);
        at += sxdr_write_bool(e.authorized, at);
        at += sxdr_write_str(e.ssid, at);
        at += sxdr_write_hex(e.capabilities, e.capabilities_size, at);
        return static_cast<size_t>(at - to);
    }
    void read(const uint8_t *at, size_t, Event &e) {
        at += sxdr_read_u32(&e.sequence, at);
        at += sxdr_read_u8(&e.event, at);
        at += sxdr_read_str2(e.interface, at, sizeof e.interface);
        at += sxdr_read_mac(e.station, at);
        at += sxdr_read_ip(&e.ip, at);
        at += sxdr_read_ipv6(e.ipv6, at);
        at += sxdr_read_u16(&e.vlan, at);
        at += sxdr_read_u64(&e.received, at);
        at += sxdr_read_s32(&e.signal, at);
        at += sxdr_read_bool(&e.authorized, at);
        at += sxdr_read_str2(e.ssid, at, sizeof e.ssid);
        sxdr_read_hex2(e.capabilities, sizeof e.capabilities, &e.capabilities_size, at);
    }
};

struct Checked {
    size_t write(const Event &e, uint8_t *to) {
        uint32_t at = 0;
        constexpr uint32_t kSize = 512;
        must(sxdr_write_u32_safe(&e.sequence, 4, to, kSize, &at) >= 0 &&
             sxdr_write_u8_safe(&e.event, 1, to, kSize, &at) >= 0 &&
             sxdr_write_str_safe(e.interface, static_cast<uint32_t>(strlen(e.interface)), to, kSize, &at) >= 0 &&
             sxdr_write_mac_safe(e.station, 6, to, kSize, &at) >= 0 &&
             sxdr_write_ip_safe(&e.ip, 4, to, kSize, &at) >= 0 &&
             sxdr_write_ipv6_safe(e.ipv6, 16, to, kSize, &at) >= 0 &&
             sxdr_write_u16_safe(&e.vlan, 2, to, kSize, &at) >= 0 &&
             sxdr_write_u64_safe(&e.received, 8, to, kSize, &at) >= 0 &&
             sxdr_write_s32_safe(&e.signal, 4, to, kSize, &at) >= 0 &&
             sxdr_write_bool_safe(&e.authorized, 1, to, kSize, &at) >= 0 &&
             sxdr_write_str_safe(e.ssid, static_cast<uint32_t>(strlen(e.ssid)), to, kSize, &at) >= 0 &&
             sxdr_write_hex_safe(e.capabilities, e.capabilities_size, to, kSize, &at) >= 0);
        return at;
    }
    void read(const uint8_t *from, size_t length, Event &e) {
        const auto size = static_cast<uint32_t>(length);
        uint32_t at = 0;
        must(sxdr_read_u32_safe(from, size, &at, &e.sequence, 4) >= 0 &&
             sxdr_read_u8_safe(from, size, &at, &e.event, 1) >= 0 &&
             sxdr_read_str_safe(from, size, &at, e.interface, sizeof e.interface) >= 0 &&
             sxdr_read_mac_safe(from, size, &at, e.station, 6) >= 0 &&
             sxdr_read_ip_safe(from, size, &at, &e.ip, 4) >= 0 &&
             sxdr_read_ipv6_safe(from, size, &at, e.ipv6, 16) >= 0 &&
             sxdr_read_u16_safe(from, size, &at, &e.vlan, 2) >= 0 &&
             sxdr_read_u64_safe(from, size, &at, &e.received, 8) >= 0 &&
             sxdr_read_s32_safe(from, size, &at, &e.signal, 4) >= 0 &&
             sxdr_read_bool_safe(from, size, &at, &e.authorized, 1) >= 0 &&
             sxdr_read_str_safe(from, size, &at, e.ssid, sizeof e.ssid) >= 0);
        const int got = sxdr_read_hex_safe(from, size, &at, e.capabilities, sizeof e.capabilities);
        must(got >= 0);
        e.capabilities_size = static_cast<uint32_t>(got);
    }
};

struct InCxx {
    size_t write(const Event &e, uint8_t *to) {
        quill::message_writer out(to, 512);
        out.u32("sequence", e.sequence).u8("event", e.event).str("interface", e.interface).mac("station", e.station);
        out.ip("ip", e.ip).ipv6("ipv6", e.ipv6).u16("vlan", e.vlan).u64("received", e.received);
        out.s32("signal", e.signal).boolean("authorized", e.authorized != 0).str("ssid", e.ssid);
        must(out.hex("capabilities", e.capabilities, e.capabilities_size).end());
        return out.size();
    }
    void read(const uint8_t *from, size_t length, Event &e) {
        bool authorized = false;
        quill::message_reader in(from, static_cast<uint32_t>(length));
        in.u32("sequence", e.sequence).u8("event", e.event).str("interface", e.interface).mac("station", e.station);
        in.ip("ip", e.ip).ipv6("ipv6", e.ipv6).u16("vlan", e.vlan).u64("received", e.received);
        in.s32("signal", e.signal).boolean("authorized", authorized).str("ssid", e.ssid);
        must(in.hex("capabilities", e.capabilities, e.capabilities_size).end());
        e.authorized = authorized;
    }
};

struct Msgpack {
    msgpack_zone zone = {};
    Msgpack() { must(msgpack_zone_init(&zone, 2048)); }
    Msgpack(const Msgpack &) = delete;
    ~Msgpack() { msgpack_zone_destroy(&zone); }

    static constexpr msgpack_object_type kTypes[] = {MSGPACK_OBJECT_POSITIVE_INTEGER,
                                                     MSGPACK_OBJECT_POSITIVE_INTEGER,
                                                     MSGPACK_OBJECT_STR,
                                                     MSGPACK_OBJECT_BIN,
                                                     MSGPACK_OBJECT_POSITIVE_INTEGER,
                                                     MSGPACK_OBJECT_BIN,
                                                     MSGPACK_OBJECT_POSITIVE_INTEGER,
                                                     MSGPACK_OBJECT_POSITIVE_INTEGER,
                                                     MSGPACK_OBJECT_NEGATIVE_INTEGER,
                                                     MSGPACK_OBJECT_BOOLEAN,
                                                     MSGPACK_OBJECT_STR,
                                                     MSGPACK_OBJECT_BIN};

    static int append(void *at, const char *bytes, size_t count) {
        auto *&end = *static_cast<uint8_t **>(at);
        memcpy(end, bytes, count);
        end += count;
        return 0;
    }
    void text(msgpack_packer &to, const char *text) { msgpack_pack_str_with_body(&to, text, strlen(text)); }
    size_t write(const Event &e, uint8_t *out) {
        uint8_t *end = out;
        msgpack_packer to;
        msgpack_packer_init(&to, &end, append);
        msgpack_pack_array(&to, 12);
        msgpack_pack_uint32(&to, e.sequence);
        msgpack_pack_uint8(&to, e.event);
        text(to, e.interface);
        msgpack_pack_bin_with_body(&to, e.station, sizeof e.station);
        msgpack_pack_uint32(&to, e.ip);
        msgpack_pack_bin_with_body(&to, e.ipv6, sizeof e.ipv6);
        msgpack_pack_uint16(&to, e.vlan);
        msgpack_pack_uint64(&to, e.received);
        msgpack_pack_int32(&to, e.signal);
        e.authorized ? msgpack_pack_true(&to) : msgpack_pack_false(&to);
        text(to, e.ssid);
        msgpack_pack_bin_with_body(&to, e.capabilities, e.capabilities_size);
        return static_cast<size_t>(end - out);
    }
    template <typename T>
    static size_t bytes(const msgpack_object &o, T &to) {
        must(o.via.bin.size <= sizeof to);
        memcpy(&to, o.via.bin.ptr, o.via.bin.size);
        return o.via.bin.size;
    }
    template <size_t N>
    static void text(const msgpack_object &o, char (&to)[N]) {
        must(o.via.str.size < N);
        memcpy(to, o.via.str.ptr, o.via.str.size);
        to[o.via.str.size] = '\0';
    }
    void read(const uint8_t *from, size_t length, Event &e) {
        msgpack_object message;
        msgpack_zone_clear(&zone);
        must(msgpack_unpack(reinterpret_cast<const char *>(from), length, nullptr, &zone, &message) ==
             MSGPACK_UNPACK_SUCCESS);
        must(message.type == MSGPACK_OBJECT_ARRAY && message.via.array.size == std::size(kTypes));
        const msgpack_object *o = message.via.array.ptr;
        for (size_t i = 0; i < std::size(kTypes); i++) must(o[i].type == kTypes[i]);
        e.sequence = static_cast<uint32_t>(o[0].via.u64);
        e.event = static_cast<uint8_t>(o[1].via.u64);
        text(o[2], e.interface);
        bytes(o[3], e.station);
        e.ip = static_cast<uint32_t>(o[4].via.u64);
        bytes(o[5], e.ipv6);
        e.vlan = static_cast<uint16_t>(o[6].via.u64);
        e.received = o[7].via.u64;
        e.signal = static_cast<int32_t>(o[8].via.i64);
        e.authorized = o[9].via.boolean;
        text(o[10], e.ssid);
        e.capabilities_size = static_cast<uint32_t>(bytes(o[11], e.capabilities));
    }
};

struct Nanopb {
    StationEvent message = {};
    size_t write(const Event &e, uint8_t *to) {
        message.sequence = e.sequence;
        message.event = e.event;
        strcpy(message.interface, e.interface);
        memcpy(message.station, e.station, sizeof e.station);
        message.ip = e.ip;
        memcpy(message.ipv6, e.ipv6, sizeof e.ipv6);
        message.vlan = e.vlan;
        message.received = e.received;
        message.signal = e.signal;
        message.authorized = e.authorized;
        strcpy(message.ssid, e.ssid);
        message.capabilities.size = static_cast<pb_size_t>(e.capabilities_size);
        memcpy(message.capabilities.bytes, e.capabilities, e.capabilities_size);
        pb_ostream_t stream = pb_ostream_from_buffer(to, 512);
        must(pb_encode(&stream, StationEvent_fields, &message));
        return stream.bytes_written;
    }
    void read(const uint8_t *from, size_t length, Event &e) {
        pb_istream_t stream = pb_istream_from_buffer(from, length);
        must(pb_decode(&stream, StationEvent_fields, &message));
        e.sequence = message.sequence;
        e.event = static_cast<uint8_t>(message.event);
        strcpy(e.interface, message.interface);
        memcpy(e.station, message.station, sizeof e.station);
        e.ip = message.ip;
        memcpy(e.ipv6, message.ipv6, sizeof e.ipv6);
        e.vlan = static_cast<uint16_t>(message.vlan);
        e.received = message.received;
        e.signal = message.signal;
        e.authorized = message.authorized;
        strcpy(e.ssid, message.ssid);
        e.capabilities_size = message.capabilities.size;
        memcpy(e.capabilities, message.capabilities.bytes, e.capabilities_size);
    }
};

template <typename Codec>
void add_codec(const char *contender, const char *checks) {
    constexpr size_t kMessages = 1000;
    const auto row = [&](const char *work) { return std::string("codec: ") + work + " a message of 12" + checks; };
    bench::add(row("write"), contender, 0, kMessages, [] {
        auto codec = std::make_shared<Codec>();
        auto buffer = std::make_shared<std::vector<uint8_t>>(512);
        return bench::Work{[codec, buffer]() -> uint64_t {
            Event event = kEvent;
            size_t length = 0;
            for (uint32_t i = 0; i < kMessages; i++) {
                event.sequence = i;
                benchmark::DoNotOptimize(event);  // otherwise the compiler would pass constants to inlined writers
                length = codec->write(event, buffer->data());
                benchmark::ClobberMemory();
            }
            event = {};
            codec->read(buffer->data(), length, event);
            return digest(event);
        }};
    });
    bench::add(row("read"), contender, 0, kMessages, [] {
        auto codec = std::make_shared<Codec>();
        auto buffer = std::make_shared<std::vector<uint8_t>>(512);
        buffer->resize(codec->write(kEvent, buffer->data()));
        return bench::Work{[codec, buffer]() -> uint64_t {
            Event event = {};
            for (size_t i = 0; i < kMessages; i++) {
                codec->read(buffer->data(), buffer->size(), event);
                benchmark::DoNotOptimize(event);  // so that the compiler keeps all of its fields
            }
            return digest(event);
        }};
    });
}

// --- opaque data, in the caller's buffers

constexpr uint32_t kData = 65535, kDataHeader = 3;

void add_data(const char *work, const char *contender, std::function<void(uint8_t *to, const uint8_t *from)> copy) {
    bench::add(std::string("codec: ") + work + " 64 KiB of data", contender, 0, 1, [=] {
        auto from = std::make_shared<std::vector<uint8_t>>(kData + 64);
        auto to = std::make_shared<std::vector<uint8_t>>(kData + 64);
        for (uint32_t i = 0; i < kData; i++) (*from)[i] = static_cast<uint8_t>(bench::scatter(i));
        const bool reads = strcmp(work, "read") == 0;
        const size_t first = reads ? 0 : kDataHeader;
        if (reads) {
            std::vector<uint8_t> message(kData + 64);
            sxdr_write_hex(from->data(), kData, message.data());
            *from = message;
        }
        return bench::Work{[=]() -> uint64_t {
            copy(to->data(), from->data());
            uint64_t digest = 0;
            for (size_t i = first; i < first + kData; i += 1021) digest = digest * 31 + (*to)[i];
            return digest;
        }};
    });
}

const bool added = [] {
    add_codec<Unchecked>("quill", "");
    add_codec<Msgpack>("msgpack-c", "");
    add_codec<Nanopb>("nanopb", "");
    add_codec<Checked>("quill", ", checked");
    add_codec<InCxx>("quill, in C++", ", checked");
    add_codec<Msgpack>("msgpack-c", ", checked");
    add_codec<Nanopb>("nanopb", ", checked");

    add_data("write", "quill", [](uint8_t *to, const uint8_t *from) { sxdr_write_hex(from, kData, to); });
    add_data("write", "quill, checked", [](uint8_t *to, const uint8_t *from) {
        uint32_t at = 0;
        must(sxdr_write_hex_safe(from, kData, to, kData + 64, &at) >= 0);
    });
    add_data("write", "memcpy", [](uint8_t *to, const uint8_t *from) { memcpy(to + kDataHeader, from, kData); });
    add_data("read", "quill", [](uint8_t *to, const uint8_t *from) {
        uint32_t length;
        sxdr_read_hex2(to, kData, &length, from);
    });
    add_data("read", "quill, checked", [](uint8_t *to, const uint8_t *from) {
        uint32_t at = 0;
        must(sxdr_read_hex_safe(from, kData + kDataHeader, &at, to, kData) >= 0);
    });
    add_data("read", "memcpy", [](uint8_t *to, const uint8_t *from) { memcpy(to, from + kDataHeader, kData); });
    return true;
}();

}  // namespace

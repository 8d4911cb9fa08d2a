// Both readers of the codec. The message may hold any bytes for the checked one; what that one takes, the unchecked one
// must take for the same, and writing gives the same bytes again.
#include <errno.h>
#include <quill/sxdr.h>
#include <quill/sxdr_safe.h>

#include <functional>
#include <memory>

#include "fuzz/fuzz.h"

namespace {

using quill::fuzz::Input;
using quill::test::GuardedPage;
using Bytes = std::vector<uint8_t>;

struct Kind {
    std::vector<std::pair<size_t, uint8_t>> tags;  // offset, tag
    uint32_t header;                               // bytes before the value, of a fixed kind also the tags in it
    uint32_t width;  // of a fixed kind; 0: the header ends with a length of this many bytes
    uint32_t length_bytes;
    bool text;
    std::function<int(const void *, uint32_t, uint32_t *, void *, uint32_t)> checked;
    std::function<uint32_t(void *, const void *)> plain;  // of a fixed kind
    std::function<int(const void *, uint32_t, void *, uint32_t, uint32_t *)> write;
    bool same_on_the_way_back;
};

template <typename T>
auto any(int (*read)(const void *, uint32_t, uint32_t *, T *, uint32_t)) {
    return [=](const void *message, uint32_t length, uint32_t *at, void *out, uint32_t capacity) {
        return read(message, length, at, static_cast<T *>(out), capacity);
    };
}
template <typename T>
auto any(int (*write)(const T *, uint32_t, void *, uint32_t, uint32_t *)) {
    return [=](const void *source, uint32_t size, void *message, uint32_t room, uint32_t *at) {
        return write(static_cast<const T *>(source), size, message, room, at);
    };
}
template <typename T>
auto any(uint32_t (*read)(T *, const void *)) {
    return [=](void *out, const void *source) { return read(static_cast<T *>(out), source); };
}

#define FIXED(name, header, width, back, ...)                                                      \
    Kind {                                                                                         \
        __VA_ARGS__, header, width, 0, false, any(sxdr_read_##name##_safe), any(sxdr_read_##name), \
            any(sxdr_write_##name##_safe), back                                                    \
    }
#define SIZED(name, tag, length_bytes, text)                                                   \
    Kind {                                                                                     \
        {{0, tag}}, 1 + length_bytes, 0, length_bytes, text, any(sxdr_read_##name##_safe), {}, \
            any(sxdr_write_##name##_safe), true                                                \
    }
using Tags = std::vector<std::pair<size_t, uint8_t>>;

enum Tag : uint8_t { kStr = 0, kHex = 8, kLongStr = 12, kLongHex = 13 };  // of the kinds with a length

const std::vector<Kind> kKinds = {
    FIXED(u8, 1, 1, true, Tags{{0, 2}}),
    FIXED(u16, 1, 2, true, Tags{{0, 3}}),
    FIXED(u32, 1, 4, true, Tags{{0, 4}}),
    FIXED(u64, 1, 8, true, Tags{{0, 9}}),
    FIXED(ip, 1, 4, true, Tags{{0, 5}}),
    FIXED(ipv6, 1, 16, true, Tags{{0, 10}}),
    FIXED(ip_af, 1, 20, true, Tags{{0, 11}}),
    FIXED(mac, 1, 6, true, Tags{{0, 1}}),
    FIXED(bool, 2, 1, false, Tags{{0, 7}, {1, 2}}),
    FIXED(s32, 5, 4, false, Tags{{0, 6}, {1, 7}, {2, 2}, {4, 4}}),
    SIZED(str, kStr, 2, true),
    SIZED(hex, kHex, 2, false),
    SIZED(long_str, kLongStr, 4, true),
    SIZED(long_hex, kLongHex, 4, false),
};

// What the reader has to say of the element there: the bytes that it consumes, or 0 when it must refuse.
uint64_t element_size(const Kind &kind, const Bytes &message, size_t at, uint32_t *value_size) {
    const uint64_t left = message.size() - std::min(at, message.size());
    if (left < kind.header + kind.width) return 0;
    for (const auto &[offset, tag] : kind.tags) {
        if (message[at + offset] != tag) return 0;
    }
    uint64_t length = kind.width;
    for (uint32_t i = 0; i < kind.length_bytes; i++) length = length << 8 | message[at + 1 + i];
    if (length > left - kind.header || length > INT32_MAX) return 0;
    *value_size = static_cast<uint32_t>(length);
    return kind.header + length;
}

void expect_same_on_the_way_back(const Kind &kind, const uint8_t *value, uint32_t size, const uint8_t *element,
                                 uint32_t element_length) {
    if (!kind.same_on_the_way_back) return;
    if (kind.length_bytes == 4 && size == 0) return;  // read, but never written
    static GuardedPage page;
    uint8_t *const written = page.room(element_length, 0xee);
    uint32_t end = 0;
    EXPECT(kind.write(value, size, written, element_length, &end) == static_cast<int>(size));
    EXPECT(end == element_length && memcmp(written, element, end) == 0);
    end = 0;
    EXPECT(kind.write(value, size, written, element_length - 1, &end) == -1 && errno == EOVERFLOW && end == 0);
}

void expect_unchecked_agrees(const Kind &kind, const uint8_t *element, const uint8_t *value, uint32_t size) {
    static GuardedPage page;
    if (kind.plain) {
        uint8_t *const out = page.room(size, 0xee);
        EXPECT(kind.plain(out, element) == kind.header + size && memcmp(out, value, size) == 0);
    } else if (kind.tags[0].second == kStr) {
        char *const out = quill::fuzz::room(page, size + 1);
        EXPECT(sxdr_read_str_size(element) == size);
        EXPECT(sxdr_read_str(out, element) == kind.header + size && memcmp(out, value, size) == 0);
        for (const uint32_t capacity : {0u, size / 2, size}) {
            const uint32_t copied = size <= capacity ? size : std::max(capacity, 1u) - 1;
            char *const cut = quill::fuzz::room(page, capacity + 1);
            EXPECT(sxdr_read_str2(cut, element, capacity) == 3 + copied && memcmp(cut, value, copied) == 0);
            EXPECT(cut[copied] == 0);
        }
    } else if (kind.tags[0].second == kHex) {
        uint8_t *out = nullptr;
        EXPECT(sxdr_read_hex(&out, element) == kind.header + size);
        EXPECT(size == 0 || memcmp(out, value, size) == 0);
        EXPECT(sxdr_read_hex_size(element) == size);
        free(out);
        uint32_t length = 0;
        uint8_t *const exact = page.room(size, 0xee);
        EXPECT(sxdr_read_hex2(exact, size, &length, element) == kind.header + size && length == size);
        EXPECT(memcmp(exact, value, size) == 0);
        if (size > 0) EXPECT(sxdr_read_hex2(page.room(size - 1, 0xee), size - 1, &length, element) == 3 + size);
    } else if (kind.tags[0].second == kLongStr) {
        char *const out = quill::fuzz::room(page, size + 1);
        EXPECT(sxdr_read_str3(out, element) == kind.header + size && memcmp(out, value, size) == 0);
    } else if (kind.tags[0].second == kLongHex) {
        uint32_t length = 0;
        EXPECT(sxdr_read_hex2_len32(&length, element) == kind.header && length == size);
    }
}

// Of kinds with a length, what else asks a damaged message: readers that know where it ends, and lengths.
void expect_bounded_forms_agree(const Kind &kind, const uint8_t *message, uint32_t at, uint32_t message_length,
                                uint64_t element, uint32_t value_size, uint32_t capacity) {
    static GuardedPage page;
    const uint8_t *const source = message + std::min(at, message_length);
    const int length = element ? static_cast<int>(value_size) : -1;
    uint8_t *const out = page.room(capacity, 0xee);
    switch (kind.tags[0].second) {
        case kStr: {
            EXPECT(sxdr_read_str_size_safe(message, message_length, at) == length);
            const bool fits = element != 0 && value_size < capacity;
            EXPECT(sxdr_read_str_new(reinterpret_cast<char *>(out), capacity, source, at, message_length) ==
                   (fits ? element : 0));
            EXPECT(capacity == 0 || out[fits ? value_size : 0] == 0);
            EXPECT(!fits || memcmp(out, source + kind.header, value_size) == 0);
            break;
        }
        case kHex: {
            EXPECT(sxdr_read_hex_size_safe(message, message_length, at) == length);
            const bool fits = element != 0 && value_size <= capacity;
            EXPECT(sxdr_read_hex_new(out, capacity, source, at, message_length) == (fits ? element : 0));
            EXPECT(!fits || memcmp(out, source + kind.header, value_size) == 0);
            EXPECT(std::all_of(out + (fits ? value_size : 0), out + capacity, [](uint8_t byte) { return byte == 0; }));
            uint8_t *block = nullptr;
            uint32_t block_size = 0, end = at;
            EXPECT(sxdr_read_hex_malloc_safe(message, message_length, &end, &block, &block_size) == length);
            EXPECT(end == at + element && (block != nullptr) == (element != 0));
            EXPECT(!block || (block_size == std::max(value_size, 1u) && memcmp(block, source + 3, value_size) == 0));
            free(block);
            break;
        }
        case kLongStr: EXPECT(sxdr_read_long_str_size_safe(message, message_length, at) == length); break;
        case kLongHex: EXPECT(sxdr_read_long_hex_size_safe(message, message_length, at) == length); break;
        default: break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static GuardedPage messages, values;
    Input input(data, size);
    std::vector<std::pair<unsigned, unsigned>> steps;  // kind, capacity
    for (unsigned n = input.below(16); n > 0; n--) {
        const unsigned kind = input.below(16);
        steps.emplace_back(kind, input.below(64));
    }
    const Bytes bytes = input.rest();
    const uint8_t *const message = messages.hold(bytes);
    uint32_t at = 0;
    const auto length = static_cast<uint32_t>(bytes.size());
    for (const auto &[which, capacity_code] : steps) {
        if (which >= kKinds.size()) {
            at += which;  // also beyond the end
            continue;
        }
        const Kind &kind = kKinds[which];
        const uint32_t capacity = capacity_code == 63 ? 4000 : capacity_code, before = at;
        uint32_t value_size = 0;
        const uint64_t element = element_size(kind, bytes, at, &value_size);
        const uint32_t stored = value_size + kind.text;
        uint8_t *const out = values.room(capacity, 0xee);
        expect_bounded_forms_agree(kind, message, at, length, element, value_size, capacity);
        errno = 0;
        const int result = kind.checked(message, length, &at, out, capacity);
        const bool readable = element != 0 && stored <= capacity;
        EXPECT((result >= 0) == readable);
        if (!readable) {
            EXPECT(result == -1 && at == before);
            EXPECT(errno == ENODATA || errno == EOVERFLOW || errno == EBADMSG || errno == EMSGSIZE);
            EXPECT(std::all_of(out, out + capacity, [](uint8_t byte) { return byte == 0xee; }));
            if (element != 0) at += static_cast<uint32_t>(element);  // to what comes behind
            continue;
        }
        EXPECT(static_cast<uint32_t>(result) == value_size && at == before + element);
        expect_same_on_the_way_back(kind, out, value_size, message + before, static_cast<uint32_t>(element));
        expect_unchecked_agrees(kind, message + before, out, value_size);
    }
    return 0;
}

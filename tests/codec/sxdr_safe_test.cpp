#include <gtest/gtest.h>

#include <string>
#include <utility>

#define EXPECT ASSERT_TRUE
#include "support/codec_model.h"
#include "support/failing_alloc.h"

namespace {

using quill::test::Bytes;
using quill::test::expect_answers;
using quill::test::GuardedPage;
using quill::test::Kind;
using quill::test::kinds;
using quill::test::kUnused;

TEST(SxdrSafe, WritesAndReadsEachKind) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        const auto size = static_cast<uint32_t>(kind.element.size());
        const auto width = static_cast<uint32_t>(kind.value.size()), stored = width + kind.text;
        for (const uint32_t before : {0u, 1u, 7u}) {
            GuardedPage page;
            uint8_t *message = page.room(before + size, kUnused);
            uint32_t cursor = before;
            ASSERT_EQ(kind.write(kind.value.data(), width, message, before + size, &cursor), static_cast<int>(width));
            EXPECT_EQ(cursor, before + size);
            EXPECT_EQ(Bytes(message + before, message + before + size), kind.element);
            EXPECT_TRUE(std::all_of(message, message + before, [](uint8_t b) { return b == kUnused; }));
            expect_answers(kind, {message, before + size}, before, stored);
        }
        // Without a cursor everything is at offset 0.
        Bytes message(size), out(stored);
        EXPECT_EQ(kind.write(kind.value.data(), width, message.data(), size, nullptr), static_cast<int>(width));
        EXPECT_EQ(message, kind.element);
        EXPECT_EQ(kind.read(message.data(), size, nullptr, out.data(), stored), static_cast<int>(width));
        EXPECT_EQ(out, kind.stored(kind.value));
    }
}

TEST(SxdrSafe, AnswersEveryTruncation) {
    for (const Kind &kind : kinds())
        for (size_t size = 0; size <= kind.element.size(); size++)
            for (const uint32_t before : {0u, 3u})
                for (uint32_t capacity = 0; capacity <= kind.value.size() + 2; capacity++) {
                    SCOPED_TRACE(testing::Message() << kind.name << ", bytes " << size << ", capacity " << capacity);
                    Bytes message(before, 0x55);
                    message.insert(message.end(), kind.element.begin(), kind.element.begin() + long(size));
                    expect_answers(kind, message, before, capacity);
                    expect_answers(kind, message, before + uint32_t(size) + 1, capacity);
                    expect_answers(kind, message, UINT32_MAX, capacity);
                }
}

TEST(SxdrSafe, AnswersEveryChangeOfOneByte) {
    for (const Kind &kind : kinds())
        for (size_t changed = 0; changed < kind.element.size(); changed++)
            for (unsigned value = 0; value < 256; value++) {
                SCOPED_TRACE(testing::Message() << kind.name << ", byte " << changed << " is " << value);
                Bytes message = kind.element;
                message[changed] = static_cast<uint8_t>(value);
                const auto stored = static_cast<uint32_t>(kind.stored(kind.value).size());
                for (const uint32_t capacity : {0u, stored - 1, stored}) expect_answers(kind, message, 0, capacity);
            }
}

TEST(SxdrSafe, WritersRefuse) {
    for (const Kind &kind : kinds()) {
        SCOPED_TRACE(kind.name);
        const auto size = static_cast<uint32_t>(kind.element.size());
        const auto width = static_cast<uint32_t>(kind.value.size());
        Bytes message(size + 4, kUnused);
        const auto refused = [&](int error, const void *source, uint32_t source_size, void *to, uint32_t to_size,
                                 uint32_t at) {
            uint32_t cursor = at;
            errno = 0;
            EXPECT_EQ(kind.write(source, source_size, to, to_size, &cursor), -1);
            EXPECT_EQ(errno, error);
            EXPECT_EQ(cursor, at);
            EXPECT_EQ(message, Bytes(size + 4, kUnused));
        };
        refused(EINVAL, nullptr, width, message.data(), size, 0);
        refused(EINVAL, kind.value.data(), width, nullptr, size, 0);
        for (uint32_t room = 0; room < size; room++)
            refused(EOVERFLOW, kind.value.data(), width, message.data(), room, 0);
        refused(EOVERFLOW, kind.value.data(), width, message.data(), size, 1);
        refused(EOVERFLOW, kind.value.data(), width, message.data(), size, size + 1);
        refused(EOVERFLOW, kind.value.data(), width, message.data(), size, UINT32_MAX);
        for (uint32_t less = 0; less < kind.width; less++)
            refused(ENODATA, kind.value.data(), less, message.data(), size, 0);
        if (!kind.probe) refused(ENODATA, kind.value.data(), 0, message.data(), 0, 0);  // looked at before the room
        if (kind.probe && kind.header == 3) refused(EINVAL, kind.value.data(), 65536, message.data(), size, 0);
        if (kind.probe && kind.header == 5) {
            refused(ENODATA, kind.value.data(), 0, message.data(), size, 0);
            refused(EOVERFLOW, kind.value.data(), UINT32_MAX, message.data(), size, 0);
        }

        const auto invalid = [](int result) { EXPECT_TRUE(result == -1 && std::exchange(errno, 0) == EINVAL); };
        invalid(kind.read(nullptr, size, nullptr, message.data(), size));
        invalid(kind.read(message.data(), size, nullptr, nullptr, size));
        if (kind.probe) invalid(kind.probe(nullptr, size, 0));
    }
}

TEST(SxdrSafe, LongestText) {
    const std::string text(65535, 'y');
    Bytes message(65538);
    EXPECT_EQ(sxdr_write_str_safe(text.data(), 65535, message.data(), 65538, nullptr), 65535);
    std::string back(65536, 'z');
    EXPECT_EQ(sxdr_read_str_safe(message.data(), 65538, nullptr, back.data(), 65536), 65535);
    EXPECT_EQ(back, text + '\0');
}

TEST(SxdrSafe, SendsABoolByteAsItIs) {
    Bytes message(3);
    EXPECT_EQ(sxdr_write_bool_safe(Bytes{2}.data(), 1, message.data(), 3, nullptr), 1);
    EXPECT_EQ(message, (Bytes{7, 2, 2}));
}

TEST(SxdrSafe, NewBufferWithoutMemoryOrArguments) {
    const Bytes message = {2, 9, 8, 0, 2, 'a', 'b'};
    uint8_t unchanged, *out = &unchanged;
    uint32_t out_size = 77, cursor = 2;
    const auto read = [&](const void *from, uint32_t *at, uint8_t **to, uint32_t *size) {
        return sxdr_read_hex_malloc_safe(from, static_cast<uint32_t>(message.size()), at, to, size);
    };
    const auto nothing_done = [&] { EXPECT_TRUE(cursor == 2 && out == &unchanged && out_size == 77); };
    const auto invalid = [&](int result) {
        EXPECT_TRUE(result == -1 && std::exchange(errno, 0) == EINVAL);
        nothing_done();
    };
    invalid(read(nullptr, &cursor, &out, &out_size));
    invalid(read(message.data(), nullptr, &out, &out_size));
    invalid(read(message.data(), &cursor, nullptr, &out_size));
    invalid(read(message.data(), &cursor, &out, nullptr));
    EXPECT_EQ(quill::test::expect_failures_survived([&] { return read(message.data(), &cursor, &out, &out_size) == 2; },
                                                    nothing_done),
              1);
    EXPECT_EQ(Bytes(out, out + out_size), (Bytes{'a', 'b'}));
    free(out);
}

}  // namespace

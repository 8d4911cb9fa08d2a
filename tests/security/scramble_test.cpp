#include <gtest/gtest.h>
#include <limits.h>
#include <quill/scramble.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "support/guard_page.h"
#include "support/random.h"

namespace {

using quill::test::GuardedPage;
using quill::test::Random;
using std::string;

constexpr uint8_t kFill = 0xee;

const char *guarded(const string &text) {
    static GuardedPage page;
    return page.hold_text(text);
}

// Room that ends at a guard page, and what stands in it.
struct Room {
    explicit Room(size_t length) : size(length), bytes(page().room(length, kFill)) {}
    char *text() { return reinterpret_cast<char *>(bytes); }
    string content() const { return string(reinterpret_cast<const char *>(bytes), size); }
    static GuardedPage &page() {
        static GuardedPage page;
        return page;
    }

    size_t size;
    uint8_t *bytes;
};

string filler(size_t length) { return string(length, static_cast<char>(kFill)); }

string random_text(Random &random, size_t length, const string &often) {
    string text(length, '\0');
    for (char &c : text) {
        c = static_cast<char>(1 + random.below(255));
        if (!random.one_in(4)) c = often[random.below(static_cast<uint32_t>(often.size()))];
    }
    return text;
}

string scrambled(const string &text) {
    Room room(text.size());
    EXPECT_EQ(scrambleString(guarded(text), room.bytes), static_cast<int>(text.size()));
    return room.content();
}

TEST(Scramble, EveryByteThereAndBack) {
    const uint8_t bits[8] = {46, 40, 102, 54, 39, 42, 70, 166};  // what a byte with this bit alone becomes
    string all;
    for (unsigned byte = 1; byte < 256; byte++) {
        all += static_cast<char>(byte);
        unsigned expected = 38;
        for (unsigned bit = 0; bit < 8; bit++)
            if (byte >> bit & 1) expected += bits[bit] - 38u;
        EXPECT_EQ(scrambled(string(1, all.back())), string(1, static_cast<char>(expected))) << byte;
    }
    const string hidden = scrambled(all);
    Room room(255);
    EXPECT_EQ(unscrambleString(reinterpret_cast<const uint8_t *>(hidden.data()), room.text(), 255), 255);
    EXPECT_EQ(room.content(), all);
    for (const int n : {0, -1, INT_MIN}) EXPECT_EQ(unscrambleString(nullptr, nullptr, n), n);
}

// The whole printable form of scrambled bytes.
string printable_form(const string &hidden) {
    string form;
    for (const char c : hidden) {
        const int b = static_cast<uint8_t>(c);
        if (b == 0) continue;
        const int digit = b > 174 ? 3 : b > 125 ? 8 : b > 48 ? 0 : 5;
        form += static_cast<char>('0' + digit);
        form += static_cast<char>(digit == 3 ? b - 126 : digit == 8 ? b - 78 : digit == 5 ? b + 48 : b);
    }
    return form;
}

TEST(Scramble, PrintableFormStopsAfterThreeCharacters) {
    Random random(94);
    for (int i = 0; i < 20000; i++) {
        const string text = random_text(random, random.below(12), i % 2 ? "\x8f" : "abc");  // 0x8f becomes 0
        const uint32_t size = random.below(14);
        const string hidden = scrambled(text);
        string expected = hidden;
        expected.resize(size);
        const size_t n = std::min<size_t>(text.size(), size);
        if (n > 0) {
            const string shown = printable_form(hidden).substr(0, std::min<size_t>(n - 1, 3)) + '\0';
            expected.replace(0, shown.size(), shown);
        }
        Room room(size);
        ASSERT_EQ(scrambleStringAscii(guarded(text), room.text(), size), 1);
        ASSERT_EQ(room.content(), expected) << text << ", " << size;
    }
    EXPECT_EQ(scrambled("\x8f"), string(1, '\0'));
}

TEST(Scramble, PairsOfEveryDigitAndCharacterAreRead) {
    for (char digit = '0' - 1; digit <= '9' + 1; digit++) {
        for (int c = 0; c < 256; c++) {
            const int bytes[] = {c, -c, c, c + 126, 126 - c, c - 48, 208, c, c + 78, 78};
            const auto byte = static_cast<uint8_t>(isdigit(digit) ? bytes[digit - '0'] : c);
            string form = {digit, static_cast<char>(c)};
            if (c == 0) form.pop_back();  // a pair without its character
            char plain, read;
            unscrambleString(&byte, &plain, 1);
            EXPECT_EQ(unscrambleStringAscii(guarded(form), &read), 1);
            ASSERT_EQ(read, plain) << form;
        }
    }
}

TEST(Escaping, ResultsOfBothWays) {
    const struct {
        const char *plain;
        int ch, size;
        int result;
        const char *encoded;
        int decoding;
    } cases[] = {
        {"a,b*c", ',', 8, 0, "a*\\b*Zc", 0},
        {"a,b*c", ',', 7, 0, "a*\\b*Zc", -1},  // the NUL stands at size; a text of size is refused
        {"a,b*c", ',', 6, -4, nullptr, 0},
        {"a,b*c", ',', 5, -1, nullptr, 0},
        {"abc", ',', 4, 0, "abc", 0},  // printable: never -2
        {"abc", '\t', 4, -2, "abc", -2},
        {"", '\t', 1, -2, "", -2},
        {"a\tb", '\t', 5, 0, "a\nYb", 0},
        {"a\nb", '\t', 5, 0, "a\nZb", 0},
        {"a\xc8", 0xc8, 5, 0, "a\xcaX", 0},
        {"a\xc8", -0x38, 5, 0, "a\xcaX", 0},  // as a signed char
        {"a,", 0x100 + ',', 4, 0, "a*\\", 0},
        {"a\n", 0, 4, 0, "a\nZ", 0},
        {"a", 0, 4, -2, "a", -2},
        {"~ ", '~', 4, 0, "z^ ", 0},
        {"\x7f", 0x7f, 4, 0, "z_", 0},
        {"", ',', 0, -1, nullptr, 0},
        {"", ',', INT_MIN, -1, nullptr, 0},
        {nullptr, ',', 9, -1, nullptr, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.plain ? c.plain : "null");
        const size_t size = static_cast<size_t>(std::max(c.size, 0));
        Room dest(size + 1);
        EXPECT_EQ(string_encode(c.plain, dest.text(), c.size, static_cast<uint32_t>(c.ch)), c.result);
        if (!c.encoded) {
            EXPECT_EQ(dest.content(), filler(dest.size));
            continue;
        }
        EXPECT_STREQ(dest.text(), c.encoded);
        const string encoded = dest.text();
        Room back(size);
        EXPECT_EQ(string_decode(guarded(encoded), back.text(), c.size, c.ch), c.decoding);
        if (c.decoding == -1) {
            EXPECT_EQ(back.content(), filler(size));
        } else {
            EXPECT_STREQ(back.text(), c.plain);
        }
    }
    Room dest(9);
    EXPECT_EQ(string_decode(nullptr, dest.text(), 9, ','), -1);
    for (const char *malformed : {"a*", "*x", "*Z*", "**Z", "*,"}) {
        EXPECT_EQ(string_decode(guarded(malformed), dest.text(), 9, ','), -3) << malformed;
        EXPECT_EQ(dest.content(), filler(9)) << malformed;
    }
}

}  // namespace

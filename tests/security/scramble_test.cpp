#include <gtest/gtest.h>
#include <limits.h>
#include <quill/scramble.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "support/case_file.h"
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

constexpr auto kFunctions = QUILL_CASE_FUNCTIONS(string_encode, string_decode);

TEST(Escaping, Cases) { quill::test::expect_cases("security/escaping.cases", kFunctions); }

}  // namespace

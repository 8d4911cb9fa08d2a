#include <gtest/gtest.h>
#include <quill/argv.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "support/guard_page.h"

namespace {

using quill::test::GuardedPage;
using Texts = std::vector<std::string>;

// The words of a line that ends where access ends.
Texts split(const std::string &line, GuardedPage &page) {
    char *const text =
        reinterpret_cast<char *>(page.hold({reinterpret_cast<const uint8_t *>(line.c_str()), line.size() + 1}));
    std::vector<char *> words(line.size() + 1);
    const int count = cmdline_to_argv(static_cast<int>(words.size()), words.data(), text);
    Texts texts;
    for (int i = 0; i < count; i++) texts.push_back(words[static_cast<size_t>(i)]);
    return texts;
}

// The words joined, in a buffer of exactly the size that they need.
std::string join(const Texts &texts, GuardedPage &page) {
    std::vector<char *> words;
    for (const std::string &text : texts) words.push_back(const_cast<char *>(text.c_str()));
    const int count = static_cast<int>(words.size());
    char one;
    const int length = argv_to_cmdline(&one, 1, count, words.data());
    EXPECT_EQ(one, '\0');
    char *const room = reinterpret_cast<char *>(page.room(static_cast<size_t>(length) + 1, 'x'));
    EXPECT_EQ(argv_to_cmdline(room, length + 1, count, words.data()), length);
    EXPECT_EQ(strlen(room), static_cast<size_t>(length));
    return room;
}

TEST(Argv, LinesInWords) {
    const struct {
        const char *line;
        Texts words;
    } cases[] = {
        {"", {}},
        {" \t\r\n ", {}},
        {"  one\ttwo", {"one", "two"}},
        {"one\r\ntwo \n", {"one", "two"}},
        {"\\ ", {" "}},
        {"a\\ b \\\\ \\\" \\'", {"a b", "\\", "\"", "'"}},
        {"a\"b c\"d", {"ab cd"}},
        {"'a \"b' \"a 'b\"", {"a \"b", "a 'b"}},
        {"'a\\'b' \"a\\\"b\"", {"a'b", "a\"b"}},  // a backslash between quotes, single ones too
        {"'' \"\" x''", {"", "", "x"}},
        {"a 'b c ", {"a", "b c "}},
        {"a \"b\\", {"a", "b"}},
        {"\\", {""}},
        {"\xff\x01\x0b\x0c a", {"\xff\x01\x0b\x0c", "a"}},
    };
    GuardedPage page;
    for (const auto &c : cases) EXPECT_EQ(split(c.line, page), c.words) << c.line;
    EXPECT_EQ(cmdline_to_argv(3, nullptr, nullptr), 0);
}

TEST(Argv, WordsBeyondTheCapacityAreEndedAndCounted) {
    char line[] = "one 'two' three", untouched = 'x';
    char *words[] = {&untouched, &untouched};
    ASSERT_EQ(cmdline_to_argv(1, words, line), 3);
    EXPECT_STREQ(words[0], "one");
    EXPECT_EQ(words[1], &untouched);
    EXPECT_EQ(memcmp(line, "one\0two\0' three", sizeof line), 0);
    char again[] = "one two";
    EXPECT_EQ(cmdline_to_argv(-1, nullptr, again), 2);
}

TEST(Argv, WordsInALine) {
    const struct {
        Texts words;
        const char *line;
    } cases[] = {
        {{}, ""},
        {{""}, ""},
        {{"", ""}, " "},
        {{"echo", "a;b"}, "echo \"a;b\""},
        {{"a\"b", "a\\b", "it's", "$x`"}, "a\\\"b a\\\\b it's $x`"},
        {{"a b\"c"}, "\"a b\\\"c\""},
        {{"a\r\nb", "\n"}, "\"ab\" \"\""},
        {{"a<", ">", "&", "|", "a\tb"}, "\"a<\" \">\" \"&\" \"|\" \"a\tb\""},
    };
    GuardedPage page;
    for (const auto &c : cases) EXPECT_EQ(join(c.words, page), c.line);
}

TEST(Argv, LinesThatFindNoRoomAreCut) {
    char echo[] = "echo", hello[] = "a;b";
    char *const words[] = {echo, hello, nullptr, echo};
    const std::string whole = "echo \"a;b\"";
    for (int size = 1; size < 14; size++) {
        std::string buffer(16, 'x');
        EXPECT_EQ(argv_to_cmdline(buffer.data(), size, 4, words), 10) << "ends at a null pointer";
        const std::string stored = whole.substr(0, static_cast<size_t>(size) - 1);
        EXPECT_EQ(buffer.substr(0, stored.size() + 1), stored + '\0');
        EXPECT_EQ(buffer.substr(static_cast<size_t>(size)), std::string(16 - static_cast<size_t>(size), 'x'));

        std::string same(16, 'x');
        EXPECT_EQ(args_to_cmdline(same.data(), size, "echo", "a;b", nullptr), 10);
        EXPECT_EQ(same, buffer);
    }
    char bytes[] = "xyz";
    for (const int size : {0, -1, INT32_MIN}) {
        EXPECT_EQ(argv_to_cmdline(bytes + 1, size, 2, words), 0);
        EXPECT_EQ(args_to_cmdline(bytes + 1, size, "a", nullptr), 0);
    }
    EXPECT_EQ(args_to_cmdline(bytes, 3, static_cast<char *>(nullptr)), 0);
    EXPECT_STREQ(bytes, "xyz");
}

}  // namespace

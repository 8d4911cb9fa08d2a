#include <gtest/gtest.h>
#include <quill/argv.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/case_file.h"

namespace {

// Returns "COUNT[WORD]...", with the words that have room.
std::string split(int capacity, const char *line) {
    std::vector<char *> words(16);
    const int count = cmdline_to_argv(capacity, words.data(), const_cast<char *>(line));
    std::string shown = std::to_string(count);
    for (int i = 0; i < std::min(count, capacity); i++) shown += std::string("[") + words[static_cast<size_t>(i)] + "]";
    return shown;
}

// The words end at a null pointer. The words after it are ignored.
int join(char *line, int size, int count, const char *slashed) {
    std::string texts = slashed, same(64, '\xee');
    std::vector<char *> words = {texts.data()};
    for (size_t at; (at = texts.find('/')) != std::string::npos; words.push_back(&texts[at + 1])) texts[at] = '\0';
    const size_t given = words.size();
    words.resize(16, texts.data());
    words[given] = nullptr;
    const int length = argv_to_cmdline(line, size, count, words.data());
    if (static_cast<size_t>(count) > given) {
        EXPECT_EQ(args_to_cmdline(same.data(), size, words[0], words[1], words[2], words[3], words[4], nullptr),
                  length);
        EXPECT_TRUE(size <= 0 || same.c_str() == std::string(line)) << same;
    }
    return length;
}

TEST(Argv, Cases) { quill::test::expect_cases("proc/argv.cases", QUILL_CASE_FUNCTIONS(join, split)); }

TEST(Argv, WordsBeyondTheCapacityAreEnded) {
    char line[] = "one 'two' three", buffer[] = "x";
    EXPECT_EQ(cmdline_to_argv(0, nullptr, line), 3);
    EXPECT_EQ(memcmp(line, "one\0two\0' three", sizeof line), 0);
    EXPECT_EQ(args_to_cmdline(buffer, 2, static_cast<char *>(nullptr)), 0);
    EXPECT_STREQ(buffer, "x");
}

}  // namespace

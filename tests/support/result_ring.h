// The rings of buffers in which functions return their texts.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace quill::test {

// Expects the results of call to use that many buffers in turn. The first call of the process uses the second buffer.
template <typename Call>
void expect_ring(size_t slots, Call call) {
    std::vector<char *> results;
    for (size_t i = 0; i <= slots; i++) results.push_back(call());
    EXPECT_EQ(results.back(), results.front());
    EXPECT_EQ(std::set<char *>(results.begin(), results.end()).size(), slots);
    if (slots > 1) {
        EXPECT_EQ(results[0] - results[slots - 1], results[1] - results[0]);
    }
}

}  // namespace quill::test

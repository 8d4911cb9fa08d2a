// The rings of buffers in which functions return their texts.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace quill::test {

// The results of call go round in so many buffers, one after the other, and begin with the second: where the first
// call of the process is not among them, that last part shows nothing.
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

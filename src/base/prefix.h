// The beginning of a text, without substr(). If the compiler does not inline substr(), its exception needs the C++
// run-time library.
#pragma once

#include <stddef.h>

#include <algorithm>
#include <string_view>

namespace quill {

// Returns the first `length` characters of text, or all of them if there are fewer.
constexpr std::string_view prefix(std::string_view text, size_t length) {
    return {text.data(), std::min(length, text.size())};
}

}  // namespace quill

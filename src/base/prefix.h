// The beginning of a text, without substr(): where that is not inlined, it may throw, which takes the C++ run-time
// library.
#pragma once

#include <stddef.h>

#include <algorithm>
#include <string_view>

namespace quill {

// The first length characters of text, or all when it has fewer.
constexpr std::string_view prefix(std::string_view text, size_t length) {
    return {text.data(), std::min(length, text.size())};
}

}  // namespace quill

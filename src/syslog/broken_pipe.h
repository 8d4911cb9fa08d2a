// The process's action on a broken pipe while the library has it: what programs that are started meanwhile should have
// instead. Children of a fork put the caller's action back themselves; those that share memory look here.
#pragma once

#include <atomic>

namespace quill {

struct BrokenPipeAction {
    std::atomic<void (*)(int)> ours = nullptr;  // the library's handler, once it was in place
    std::atomic<bool> callers_ignores = false;  // what it is in place of
};

inline constinit BrokenPipeAction broken_pipe;

}  // namespace quill

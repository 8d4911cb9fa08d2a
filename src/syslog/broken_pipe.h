// The process's action on a broken pipe while the library's handler is installed. Programs that are started during that
// time must get the caller's action. Children of a fork restore it themselves; children that share memory read it here.
#pragma once

#include <atomic>

namespace quill {

struct BrokenPipeAction {
    std::atomic<void (*)(int)> ours = nullptr;  // the library's handler, once it has been installed
    std::atomic<bool> callers_ignores = false;  // whether the caller's action is to ignore
};

inline constinit BrokenPipeAction broken_pipe;

}  // namespace quill

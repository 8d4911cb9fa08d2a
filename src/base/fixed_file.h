// Files with fixed names. Other users know the names and may be able to write in the folder, so anything may be there:
// a link to a file that must not change, a pipe that blocks whoever opens it, a file with a second name.
#pragma once

#include <sys/types.h>

#include "base/descriptor.h"

namespace quill {

// Opens a regular file, never through a link, and never waits for it. On refusal errno is set. With O_CREAT, a file
// that has a second name is left to that name, and a new, empty one is made: another user may have given it, to a file
// of theirs or ours. The caller holds cancellation off, as for what follows.
Descriptor open_fixed(const char *path, int flags, mode_t mode = 0);

// Creates a temporary file that only this user can read and write, whatever the umask. It is always a new file: one
// that an interrupted run left may still be open elsewhere. Anything but a regular file stays and is a refusal.
Descriptor create_temporary(const char *path);

}  // namespace quill

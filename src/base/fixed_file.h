// Files with fixed names. Other users know the names and may be able to write in the folder. So the name may be a link
// to a file that must not change. It may also be a pipe that blocks when opened, or a file with a second name.
#pragma once

#include <sys/types.h>

#include "base/descriptor.h"

namespace quill {

// Opens a regular file, never through a link, and never waits for it. If it refuses a file, it sets errno. With
// O_CREAT, a file that has a second name is not used. A new, empty file takes its place, and the old file keeps only
// the second name. Another user may have made the second name, for a file of theirs or ours. The caller must disable
// cancellation, for this function and the next.
Descriptor open_fixed(const char *path, int flags, mode_t mode = 0);

// Creates a temporary file that only this user can read and write, whatever the umask. It is always a new file, because
// a file that an interrupted run left may still be open elsewhere. If the name exists and is not a regular file, the
// call changes nothing and fails.
Descriptor create_temporary(const char *path);

}  // namespace quill

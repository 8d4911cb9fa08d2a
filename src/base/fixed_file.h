// Files with fixed names. Other users know the names and may be able to write in the folder, so anything may stand there:
// a link to a file that must not change, a pipe that blocks whoever opens it, a file with a second name.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/descriptor.h"

namespace quill {

// Opens a regular file, never through a link, and never waits for it. On refusal errno is set. With O_CREAT, a file that has
// a second name is left to that name, and a new, empty one is made: another user may have given it, to a file of theirs or
// ours. The caller holds cancellation off, as for what follows.
inline Descriptor open_fixed(const char *path, int flags, mode_t mode = 0) {
    flags |= O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor file(clear_of_standard_descriptors(open(path, flags, mode)));
    struct stat found;
    if (!file || fstat(file.get(), &found) != 0) return {};
    if (!S_ISREG(found.st_mode)) {
        errno = EPERM;
        return {};
    }
    if (!(flags & O_CREAT) || found.st_nlink <= 1) return file;
    // Renamed over the old one: if the name were free for a moment, another user could take it.
    uint64_t random;
    char fresh[64];
    if (getrandom(&random, sizeof random, GRND_NONBLOCK) != sizeof random) return {};
    snprintf(fresh, sizeof fresh, "%s.%016" PRIx64, path, random);
    file = Descriptor(clear_of_standard_descriptors(open(fresh, flags | O_EXCL, mode)));
    if (!file || rename(fresh, path) == 0) return file;
    unlink(fresh);
    return {};
}

// Creates a temporary file that only this user can read and write, whatever the umask. It is always a new file: one that
// an interrupted run left behind may still be open elsewhere. Anything but a regular file stays and is a refusal.
inline Descriptor create_temporary(const char *path) {
    constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
    struct stat left;
    if (lstat(path, &left) == 0 && S_ISREG(left.st_mode)) unlink(path);
    Descriptor file(open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly));
    if (!file || fchmod(file.get(), kOwnerOnly) != 0) return {};
    return file;
}

}  // namespace quill

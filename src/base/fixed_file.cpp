#include "base/fixed_file.h"

#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

using quill::Descriptor;

Descriptor quill::open_fixed(const char *path, int flags, mode_t mode) {
    flags |= O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor file(clear_of_standard_descriptors(open(path, flags, mode)));
    struct stat found;
    if (!file || fstat(file.get(), &found) != 0) return {};
    if (!S_ISREG(found.st_mode)) {
        errno = EPERM;
        return {};
    }
    if (!(flags & O_CREAT) || found.st_nlink <= 1) return file;
    // The new file is renamed over the old one. If the name were free for a moment, another user could take it.
    uint64_t random;
    char fresh[64];
    if (getrandom(&random, sizeof random, GRND_NONBLOCK) != sizeof random) return {};
    snprintf(fresh, sizeof fresh, "%s.%016" PRIx64, path, random);
    file = Descriptor(clear_of_standard_descriptors(open(fresh, flags | O_EXCL, mode)));
    if (!file || rename(fresh, path) == 0) return file;
    unlink(fresh);
    return {};
}

Descriptor quill::create_temporary(const char *path) {
    constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
    struct stat left;
    if (lstat(path, &left) == 0 && S_ISREG(left.st_mode)) unlink(path);
    Descriptor file(open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly));
    if (!file || fchmod(file.get(), kOwnerOnly) != 0) return {};
    return file;
}

// The open descriptors of a process.
#pragma once

#include <fcntl.h>

namespace quill::test {

inline int open_descriptors() {
    int count = 0;
    for (int fd = 0; fd < 256; fd++) count += fcntl(fd, F_GETFD) != -1;
    return count;
}

}  // namespace quill::test

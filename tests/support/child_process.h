// Calls that may end the process, made in a child.
#pragma once

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quill::test {

// Makes the call in a child process. Returns the child's status, as waitpid gives it: the child ends with 0, or with 1
// if an expectation failed in it.
template <typename Call>
int status_of(Call call) {
    const pid_t child = fork();
    if (child == 0) {
        call();
        fflush(stdout);  // the output has the failed expectations
        _exit(testing::Test::HasFailure());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// Returns the exit code of the child, or -1 if a signal ended it.
template <typename Call>
int exit_code_of(Call call) {
    const int status = status_of(call);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Makes the call in a child for each choice of standard descriptors that can be closed.
template <typename Call>
void with_standard_descriptors_closed(Call call) {
    for (int closed = 0; closed < 8; closed++) {
        SCOPED_TRACE(testing::Message() << "closed: " << closed);
        EXPECT_EQ(exit_code_of([&] {
                      for (int fd = 0; fd < 3; fd++)
                          if (closed & 1 << fd) close(fd);
                      call();
                  }),
                  0);
    }
}

}  // namespace quill::test

// run_in_private_device [--proc | --mounts] PROGRAM [ARGUMENT...]: runs a program in a private device, for scripts.
// With --proc, /proc is private as well. With --mounts, only the mounts are private, and the rest is the machine as it
// is. If the machine allows no private device, exits with 77, which CTest counts as skipped.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "support/private_device.h"

int main(int argc, char **argv) {
    const bool proc = argc > 1 && strcmp(argv[1], "--proc") == 0;
    const bool mounts = argc > 1 && strcmp(argv[1], "--mounts") == 0;
    char **const command = argv + (proc || mounts ? 2 : 1);
    if (!*command) return 2;
    std::string why = mounts ? quill::test::enter_private_mounts() : quill::test::enter_private_device();
    if (why.empty() && proc) why = quill::test::enter_private_proc();
    if (!why.empty()) {
        printf("skipped: no private device: %s\n", why.c_str());
        return 77;
    }
    execvp(command[0], command);
    perror(command[0]);
    return 127;
}

// run_in_private_device PROGRAM [ARGUMENT...]: for scripts. Exits with 77, which CTest counts as skipped, where the
// machine allows no private device.
#include <stdio.h>
#include <unistd.h>

#include "support/private_device.h"

int main(int argc, char **argv) {
    if (argc < 2) return 2;
    if (const std::string why = quill::test::enter_private_device(); !why.empty()) {
        printf("skipped: no private device: %s\n", why.c_str());
        return 77;
    }
    execvp(argv[1], argv + 1);
    perror(argv[1]);
    return 127;
}

// Another user has put something in the place of files with fixed names.
#include <gtest/gtest.h>
#include <quill/cfgm.h>
#include <quill/flash.h>
#include <quill/identity.h>
#include <quill/syslog.h>
#include <stdlib.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <tuple>

#include "support/child_process.h"
#include "support/device_test.h"

namespace {

using quill::test::exit_code_of;
using quill::test::write_file;
using std::string;

class FixedNames : public quill::test::DeviceTest {};

bool uses_history() {
    char byte;
    return ReadApFlash(0, 1, &byte, nullptr) != 0 || flash_ophist_init();
}

int exit_code_of_use(bool (*uses)()) {
    return exit_code_of([=] {
        alarm(10);
        _exit(uses() ? 0 : 1);
    });
}

TEST_F(FixedNames, NothingPlantedIsFollowedOrWaitedFor) {
    // For each file: a function that uses it, and the exit code of a process that refuses it.
    const std::tuple<string, bool (*)(), int> use_of_all[] = {
        {"/tmp/cfgmContId", [] { return getCfgmControllerId() == 1; }, 666 % 256},
        {"/tmp/cfgmContId", [] { return incCfgmControllerId(init_cli_cfgm_sem()) == 2; }, 666 % 256},
        {"/tmp/cfgmContId", [] { return setCfgmControllerId(3, init_cli_cfgm_sem()) == 1; }, 666 % 256},
        {"/tmp/mesh_role", [] { return syslog(7, "text"), get_mesh_role() == 1; }, 1},
        {"/tmp/flashophist", uses_history, 1},
    };
    const int semaphore = init_cli_cfgm_sem();
    write_file("/dev/mtd0", "flash");
    write_file("/tmp/mtd", "");
    write_file("/tmp/victim", "1");
    for (const auto &[file, uses, refused] : use_of_all) {
        for (const string plant : {"ln -s /tmp/victim ", "ln -s /tmp/none ", "ln /tmp/victim ", "mkdir ", "mkfifo "}) {
            SCOPED_TRACE(plant + file);
            ASSERT_EQ(system((plant + file).c_str()), 0);
            // A second name of a file (ln) is accepted, and the file itself stays unchanged.
            EXPECT_EQ(exit_code_of_use(uses), plant == "ln /tmp/victim " ? 0 : refused);
            EXPECT_EQ(semctl(semaphore, 0, GETVAL), 1) << "a process that ended holds it";
            EXPECT_EQ(quill::test::read_file("/tmp/victim"), "1");
            EXPECT_EQ(system(("test ! -e /tmp/none && rm -r " + file).c_str()), 0);
        }
    }
    // Files that other users own or may write are refused: these users could shorten them while they are mapped.
    write_file("/tmp/flashophist", "");
    ASSERT_EQ(chmod("/tmp/flashophist", 0622), 0);
    EXPECT_EQ(exit_code_of_use(uses_history), 1);
    ASSERT_EQ(chmod("/tmp/flashophist", 0600), 0);
    const bool foreign = chown("/tmp/flashophist", 1, 1) == 0;
    EXPECT_EQ(exit_code_of_use(uses_history), foreign);
    ASSERT_EQ(symlink("/tmp/none", "/flash/cfgmGlobalConfigEnable"), 0);
    EXPECT_EQ(exit_code_of([] { openCfgmGlobalConfigEnableFile(); }), 777 % 256);
    EXPECT_NE(access("/tmp/none", F_OK), 0);
}

}  // namespace

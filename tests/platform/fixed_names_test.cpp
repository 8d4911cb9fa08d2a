// Files with fixed names, in whose place another user has planted something.
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

#include "support/child_process.h"
#include "support/device_test.h"

namespace {

using quill::test::exit_code_of;
using quill::test::read_file;
using quill::test::write_file;
using std::string;

constexpr int kNoId = 666 % 256, kNoFlag = 777 % 256;

struct Use {
    const char *name;
    bool (*uses)();  // whether the file is used
    int refused;     // exit code
};
const Use kUses[] = {
    {"/tmp/cfgmContId", [] { return getCfgmControllerId() == 1; }, kNoId},
    {"/tmp/cfgmContId", [] { return incCfgmControllerId(init_cli_cfgm_sem()) == 2; }, kNoId},
    {"/tmp/cfgmContId", [] { return setCfgmControllerId(3, init_cli_cfgm_sem()) == 1; }, kNoId},
    {"/tmp/mesh_role", [] { return syslog(7, "text"), get_mesh_role() == 1; }, 1},
    {"/tmp/flashophist",
     [] {
         char byte;
         return ReadApFlash(0, 1, &byte, nullptr) != 0 || flash_ophist_init();
     },
     1},
};

int exit_code_of_use(const Use &use) {
    return exit_code_of([&] {
        alarm(10);
        _exit(use.uses() ? 0 : 1);
    });
}

class FixedNames : public quill::test::DeviceTest {};

TEST_F(FixedNames, NothingPlantedIsFollowedOrWaitedFor) {
    const int semaphore = init_cli_cfgm_sem();
    write_file("/dev/mtd0", "flash");
    write_file("/tmp/mtd", "");
    write_file("/tmp/victim", "1");
    for (const Use &use : kUses) {
        for (const string plant : {"ln -s /tmp/victim ", "ln -s /tmp/none ", "ln /tmp/victim ", "mkdir ", "mkfifo "}) {
            SCOPED_TRACE(plant + use.name);
            ASSERT_EQ(system((plant + use.name).c_str()), 0);
            // A second name keeps its file.
            EXPECT_EQ(exit_code_of_use(use), plant == "ln /tmp/victim " ? 0 : use.refused);
            EXPECT_EQ(semctl(semaphore, 0, GETVAL), 1) << "a process that ended holds it";
            EXPECT_EQ(read_file("/tmp/victim"), "1");
            EXPECT_NE(access("/tmp/none", F_OK), 0);
            EXPECT_EQ(system((string("rm -r ") + use.name).c_str()), 0);
        }
    }
    // Others could cut these off while they are mapped.
    write_file("/tmp/flashophist", "");
    ASSERT_EQ(chmod("/tmp/flashophist", 0622), 0);
    EXPECT_EQ(exit_code_of_use(kUses[4]), 1);
    ASSERT_EQ(chmod("/tmp/flashophist", 0600), 0);
    if (chown("/tmp/flashophist", 1, 1) == 0) {
        EXPECT_EQ(exit_code_of_use(kUses[4]), 1);
    }
    ASSERT_EQ(symlink("/tmp/none", "/flash/cfgmGlobalConfigEnable"), 0);
    EXPECT_EQ(exit_code_of([] { openCfgmGlobalConfigEnableFile(); }), kNoFlag);
    EXPECT_NE(access("/tmp/none", F_OK), 0);
}

}  // namespace

#include <errno.h>
#include <gtest/gtest.h>
#include <quill/cfgm.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/device_test.h"

namespace {

using quill::test::exit_code_of;
using quill::test::read_file;
using quill::test::status_of;
using quill::test::write_file;
using std::string;

constexpr char kId[] = "/tmp/cfgmContId";
constexpr char kFlag[] = "/flash/cfgmGlobalConfigEnable";

class Cfgm : public quill::test::DeviceTest {};

int value(int semaphore) { return semctl(semaphore, 0, GETVAL); }

}  // namespace

TEST_F(Cfgm, SemaphoresByKeyAndForThePrivileged) {
    const struct {
        int (*init)();
        key_t key;
    } sets[] = {{init_cli_cfgm_sem, 82268220}, {init_cli_upgrade_sem, 82208220}, {dbbk_init_sem, 13221324}};
    for (const auto &set : sets) {
        EXPECT_EQ(semget(set.key, 1, 0), -1) << "not there yet";
        const int semaphore = set.init();
        EXPECT_EQ(semget(set.key, 1, 0), semaphore);
        EXPECT_EQ(value(semaphore), 1);
        union {
            int val;
            semid_ds *buf;
        } argument;
        semid_ds found = {};
        argument.buf = &found;
        EXPECT_EQ(semctl(semaphore, 0, IPC_STAT, argument), 0);
        EXPECT_EQ(found.sem_perm.mode & 0777, 0);
        EXPECT_EQ(found.sem_nsems, 1u);

        EXPECT_EQ(cli_cfgm_sem_take(semaphore), 1);
        EXPECT_EQ(exit_code_of([&] { _exit(set.init() == semaphore ? 7 : 1); }), 7);
        EXPECT_EQ(value(semaphore), 0) << "taken, and another process's init leaves it so";
        EXPECT_EQ(cli_cfgm_sem_give(semaphore), 1);
        EXPECT_EQ(value(semaphore), 1);
        status_of([&] { cli_cfgm_sem_take(semaphore); });
        EXPECT_EQ(value(semaphore), 0) << "who dies with it leaves it taken";

        semctl(semaphore, 0, IPC_RMID);
        EXPECT_EQ(cli_cfgm_sem_take(semaphore), -1);
        EXPECT_EQ(cli_cfgm_sem_give(semaphore), -1);
    }
}

TEST_F(Cfgm, ControllerIdFromTheFirstOn) {
    const int semaphore = init_cli_cfgm_sem();
    EXPECT_EQ(incCfgmControllerId(semaphore), 0) << "the first one";
    EXPECT_EQ(read_file(kId), "0");
    EXPECT_EQ(incCfgmControllerId(semaphore), 1);
    EXPECT_EQ(setCfgmControllerId(41, semaphore), 1);
    EXPECT_EQ(incCfgmControllerId(semaphore), 42);
    EXPECT_EQ(read_file(kId), "42");
    EXPECT_EQ(getCfgmControllerId(), 42);
    EXPECT_EQ(checkAndCreateControllerId(), 1);
    EXPECT_EQ(setCfgmControllerId(-7, semaphore), 1);
    EXPECT_EQ(read_file(kId), "-7");
    EXPECT_EQ(incCfgmControllerId(semaphore), -6);
    EXPECT_EQ(setCfgmControllerId(INT32_MAX, semaphore), 1);
    EXPECT_EQ(incCfgmControllerId(semaphore), INT32_MIN);
    EXPECT_EQ(value(semaphore), 1);

    ASSERT_EQ(unlink(kId), 0);
    EXPECT_EQ(checkAndCreateControllerId(), 0);
    EXPECT_EQ(checkAndCreateControllerId(), 1);
    ASSERT_EQ(unlink(kId), 0);
    EXPECT_EQ(getCfgmControllerId(), 0);
    EXPECT_EQ(read_file(kId), "0");
    ASSERT_EQ(unlink(kId), 0);
    EXPECT_EQ(setCfgmControllerId(5, semaphore), 1);
    EXPECT_EQ(read_file(kId), "5");

    const struct {
        const char *content;
        int id;
    } contents[] = {{"", 0}, {"x", 0}, {" \n\t 12 apples", 12}, {"+3", 3}, {"99999999999", INT32_MAX}, {"-", 0}};
    for (const auto &c : contents) {
        write_file(kId, c.content);
        EXPECT_EQ(getCfgmControllerId(), c.id) << c.content;
    }
    write_file(kId, "");
    EXPECT_EQ(incCfgmControllerId(semaphore), 1) << "cut off while it was written";

    semctl(semaphore, 0, IPC_RMID);
    EXPECT_EQ(incCfgmControllerId(semaphore), 0);
    EXPECT_EQ(setCfgmControllerId(9, semaphore), 0);
    EXPECT_EQ(read_file(kId), "1") << "nothing is changed without the semaphore";
}

TEST_F(Cfgm, FlagIsAFile) {
    EXPECT_EQ(isCfgmGlobalConfigEnable(), 0);
    EXPECT_EQ(closeCfgmGlobalConfigEnableFile(), 0);
    for (int twice = 0; twice < 2; twice++) {
        EXPECT_EQ(openCfgmGlobalConfigEnableFile(), 0);
        EXPECT_EQ(isCfgmGlobalConfigEnable(), 1);
        EXPECT_EQ(read_file(kFlag), "");
    }
    write_file(kFlag, "kept");
    EXPECT_EQ(openCfgmGlobalConfigEnableFile(), 0);
    EXPECT_EQ(read_file(kFlag), "kept");
    for (int twice = 0; twice < 2; twice++) {
        EXPECT_EQ(closeCfgmGlobalConfigEnableFile(), 0);
        EXPECT_EQ(isCfgmGlobalConfigEnable(), 0);
    }
}

TEST_F(Cfgm, FlagThatCannotBeHadEndsTheProcess) {
    ASSERT_EQ(mkdir(kFlag, 0755), 0);
    EXPECT_EQ(isCfgmGlobalConfigEnable(), 1);
    EXPECT_EQ(exit_code_of([] { closeCfgmGlobalConfigEnableFile(); }), 778 % 256);
}

TEST_F(Cfgm, IdsOfManyProcessesAreUnique) {
    constexpr int kProcesses = 8, kIds = 1000;
    const int semaphore = init_cli_cfgm_sem();
    const mode_t before = umask(0);
    EXPECT_EQ(incCfgmControllerId(semaphore), 0);
    EXPECT_EQ(setCfgmControllerId(-1, semaphore), 1);
    umask(before);
    struct stat file;
    EXPECT_EQ(stat(kId, &file), 0);
    EXPECT_EQ(file.st_mode & 0777u, 0644u);
    int ids[2];
    ASSERT_EQ(pipe(ids), 0);
    for (int i = 0; i < kProcesses; i++) {
        if (fork() != 0) continue;
        for (int n = 0; n < kIds; n++) {
            const int id = incCfgmControllerId(semaphore);
            if (write(ids[1], &id, sizeof id) != sizeof id) _exit(1);
        }
        _exit(0);
    }
    close(ids[1]);
    std::vector<bool> seen(kProcesses * kIds);
    int count = 0, last = -1;
    for (int id; read(ids[0], &id, sizeof id) == sizeof id; count++) {
        const int now = getCfgmControllerId();
        EXPECT_GE(now, last) << "a file that is being written";
        last = now;
        ASSERT_TRUE(id >= 0 && id < kProcesses * kIds) << id;
        ASSERT_FALSE(seen[static_cast<size_t>(id)]) << id;
        seen[static_cast<size_t>(id)] = true;
    }
    close(ids[0]);
    for (int status; wait(&status) != -1;) EXPECT_EQ(status, 0);
    EXPECT_EQ(count, kProcesses * kIds);
    EXPECT_EQ(read_file(kId), std::to_string(kProcesses * kIds - 1));
}

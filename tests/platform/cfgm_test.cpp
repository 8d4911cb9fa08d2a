#include <gtest/gtest.h>
#include <quill/cfgm.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/child_process.h"
#include "support/device_test.h"

namespace {

using quill::test::exit_code_of;
using quill::test::read_file;

constexpr char kId[] = "/tmp/cfgmContId";
constexpr char kFlag[] = "/flash/cfgmGlobalConfigEnable";

class Cfgm : public quill::test::DeviceTest {};

int value(int semaphore) { return semctl(semaphore, 0, GETVAL); }

// --- what the cases call

std::string increment() {
    const int id = incCfgmControllerId(init_cli_cfgm_sem());
    return std::to_string(id) + ", " + read_file(kId);
}

std::string set(int id) {
    const int result = setCfgmControllerId(id, init_cli_cfgm_sem());
    return std::to_string(result) + ", " + read_file(kId);
}

std::string flag() {
    EXPECT_EQ(openCfgmGlobalConfigEnableFile(), 0);
    return read_file(kFlag);
}

TEST_F(Cfgm, Cases) {
    quill::test::expect_cases(
        "platform/cfgm.cases",
        QUILL_CASE_FUNCTIONS(checkAndCreateControllerId, closeCfgmGlobalConfigEnableFile, flag, getCfgmControllerId,
                             increment, isCfgmGlobalConfigEnable, openCfgmGlobalConfigEnableFile, set));
    const int semaphore = init_cli_cfgm_sem();
    EXPECT_EQ(value(semaphore), 1);
    semctl(semaphore, 0, IPC_RMID);
    EXPECT_EQ(incCfgmControllerId(semaphore), 0);
    EXPECT_EQ(setCfgmControllerId(9, semaphore), 0);
    EXPECT_EQ(read_file(kId), "1") << "nothing is changed without the semaphore";
    ASSERT_EQ(mkdir(kFlag, 0755), 0);
    EXPECT_EQ(isCfgmGlobalConfigEnable(), 1);
    EXPECT_EQ(exit_code_of([] { closeCfgmGlobalConfigEnableFile(); }), 778 % 256) << "a flag that cannot be had";
}

TEST_F(Cfgm, SemaphoresByKeyAndForThePrivileged) {
    const std::pair<int (*)(), key_t> sets[] = {
        {init_cli_cfgm_sem, 82268220}, {init_cli_upgrade_sem, 82208220}, {dbbk_init_sem, 13221324}};
    for (const auto &[init, key] : sets) {
        EXPECT_EQ(semget(key, 1, 0), -1) << "not there yet";
        const int semaphore = init();
        EXPECT_EQ(semget(key, 1, 0), semaphore);
        EXPECT_EQ(value(semaphore), 1);
        semid_ds found = {};
        union {
            semid_ds *buf;
        } argument = {&found};
        EXPECT_EQ(semctl(semaphore, 0, IPC_STAT, argument), 0);
        EXPECT_TRUE((found.sem_perm.mode & 0777) == 0 && found.sem_nsems == 1);

        EXPECT_EQ(cli_cfgm_sem_take(semaphore), 1);
        EXPECT_EQ(exit_code_of([=, init = init] { _exit(init() == semaphore ? 7 : 1); }), 7);
        EXPECT_EQ(value(semaphore), 0) << "taken, and another process's init leaves it so";
        EXPECT_EQ(cli_cfgm_sem_give(semaphore), 1);
        EXPECT_EQ(value(semaphore), 1);
        EXPECT_EQ(exit_code_of([=] { cli_cfgm_sem_take(semaphore); }), 0);
        EXPECT_EQ(value(semaphore), 0) << "who dies with it leaves it taken";
        semctl(semaphore, 0, IPC_RMID);
        EXPECT_TRUE(cli_cfgm_sem_take(semaphore) == -1 && cli_cfgm_sem_give(semaphore) == -1);
    }
}

TEST_F(Cfgm, IdsOfManyProcessesAreUnique) {
    constexpr int kProcesses = 8, kIds = 1000;
    const int semaphore = init_cli_cfgm_sem();
    const mode_t before = umask(0);
    EXPECT_EQ(setCfgmControllerId(-1, semaphore), 1);
    umask(before);
    struct stat file;
    EXPECT_TRUE(stat(kId, &file) == 0 && (file.st_mode & 0777) == 0644);
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
    std::vector<int> seen(kProcesses * kIds);
    int last = -1;
    for (int id; read(ids[0], &id, sizeof id) == sizeof id;) {
        const int now = getCfgmControllerId();
        EXPECT_GE(now, last) << "a file that is being written";
        last = now;
        seen.at(static_cast<size_t>(id))++;
    }
    close(ids[0]);
    for (int status; wait(&status) != -1;) EXPECT_EQ(status, 0);
    EXPECT_EQ(seen, std::vector<int>(kProcesses * kIds, 1));
    EXPECT_EQ(read_file(kId), std::to_string(kProcesses * kIds - 1));
}

}  // namespace

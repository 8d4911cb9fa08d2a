#include <quill/cfgm.h>

#include <stdio.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "base/cancellation.h"
#include "base/paths.h"
#include "base/text_file.h"
#include "platform/sysv_semaphore.h"

using quill::FileNumber;
using quill::NoCancellation;
using quill::SysvSemaphore;
namespace paths = quill::paths;

namespace {

// --- semaphores

constexpr key_t kCliCfgm = 82268220, kCliUpgrade = 82208220, kDatabaseBackup = 13221324;

// Only who makes it sets it free. Permission bits 0: it is for privileged processes alone.
int make_semaphore(key_t key) {
    const auto made = SysvSemaphore::with_key(key, IPC_CREAT | IPC_EXCL);
    if (!made) return SysvSemaphore::with_key(key, IPC_CREAT).id();
    if (made.set(1)) return made.id();
    made.remove();
    return -1;
}

// Without SEM_UNDO: whoever dies with the semaphore may have left things half done.
bool change(int semaphore, short by) { return SysvSemaphore(semaphore).operate({{0, by, 0}}); }

// --- files

// What the parent of a process sees of these is their low eight bits.
enum Fatal { kNoControllerId = 666, kFlagNotMade = 777, kFlagNotRemoved = 778 };

bool exists(const char *path) {
    struct stat found;
    return stat(path, &found) == 0;
}

void replace_or_exit(const char *path, std::string_view content, Fatal status) {
    if (!quill::replace_content(path, content)) exit(status);
}

void store_id(int id) {
    char text[16];
    const int length = snprintf(text, sizeof text, "%d", id);
    replace_or_exit(paths::kControllerId, {text, static_cast<size_t>(length)}, kNoControllerId);
}

int load_id() {
    int id = 0;
    if (quill::read_number(paths::kControllerId, &id) == FileNumber::kNoFile) exit(kNoControllerId);
    return id;
}

// The result of use() while the semaphore is held; 0 when it cannot be taken or given.
template <typename Use>
int with_semaphore(int semaphore, Use use) {
    if (!change(semaphore, -1)) return 0;
    const NoCancellation no_cancellation;
    const int result = use();
    return change(semaphore, 1) ? result : 0;
}

}  // namespace

// --- semaphores

int init_cli_cfgm_sem() { return make_semaphore(kCliCfgm); }

int init_cli_upgrade_sem() { return make_semaphore(kCliUpgrade); }

int dbbk_init_sem() { return make_semaphore(kDatabaseBackup); }

int cli_cfgm_sem_take(int semaphore) { return change(semaphore, -1) ? 1 : -1; }

int cli_cfgm_sem_give(int semaphore) { return change(semaphore, 1) ? 1 : -1; }

// --- the controller id

int checkAndCreateControllerId() {
    if (exists(paths::kControllerId)) return 1;
    const NoCancellation no_cancellation;
    store_id(0);
    return 0;
}

int getCfgmControllerId() { return checkAndCreateControllerId() ? load_id() : 0; }

int incCfgmControllerId(int semaphore) {
    return with_semaphore(semaphore, [] {
        if (!checkAndCreateControllerId()) return 0;  // the first id that is handed out
        const int id = static_cast<int>(static_cast<unsigned>(load_id()) + 1);
        store_id(id);
        return id;
    });
}

int setCfgmControllerId(int id, int semaphore) {
    return with_semaphore(semaphore, [=] {
        (void)checkAndCreateControllerId();
        store_id(id);
        return 1;
    });
}

// --- the flag

int openCfgmGlobalConfigEnableFile() {
    if (exists(paths::kGlobalConfigEnabled)) return 0;
    const NoCancellation no_cancellation;
    replace_or_exit(paths::kGlobalConfigEnabled, "", kFlagNotMade);
    return 0;
}

int closeCfgmGlobalConfigEnableFile() {
    // In this order: another process may remove it at the same moment.
    if (unlink(paths::kGlobalConfigEnabled) != 0 && exists(paths::kGlobalConfigEnabled)) exit(kFlagNotRemoved);
    return 0;
}

int isCfgmGlobalConfigEnable() { return exists(paths::kGlobalConfigEnabled); }

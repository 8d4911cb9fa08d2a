#include <quill/cfgm.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <utility>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/fixed_file.h"
#include "base/paths.h"
#include "base/text_file.h"
#include "platform/sysv_semaphore.h"

using quill::Descriptor;
using quill::FileNumber;
using quill::NoCancellation;
using quill::SysvSemaphore;
namespace paths = quill::paths;

namespace {

// --- semaphores

constexpr key_t kCliCfgm = 82268220, kCliUpgrade = 82208220, kDatabaseBackup = 13221324;

// Only the process that creates the semaphore initialises it to free. Its permission bits are 0: only privileged
// processes can use it.
int make_semaphore(key_t key) {
    const auto made = SysvSemaphore::with_key(key, IPC_CREAT | IPC_EXCL);
    if (!made) return SysvSemaphore::with_key(key, IPC_CREAT).id();
    if (made.set(1)) return made.id();
    made.remove();
    return -1;
}

// Does not use SEM_UNDO: a process that dies while it holds the semaphore may have left its work half done.
bool change(int semaphore, short by) { return SysvSemaphore(semaphore).operate({{0, by, 0}}); }

// --- files

// Exit codes. The parent of the process sees only the low eight bits.
enum Fatal { kNoControllerId = 666, kFlagNotMade = 777, kFlagNotRemoved = 778 };

bool exists(const char *path) {
    struct stat found;
    return stat(path, &found) == 0;
}

// Opens a file for writing, and creates it if it is missing. Only the file's owner can write to it; other users can
// read it.
Descriptor open_to_write(const char *path) {
    return quill::open_fixed(path, O_WRONLY | O_CREAT, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
}

// Overwrites the old id in one call with the new id, padded with blanks. Then cuts the blanks off. So a process that is
// killed in between leaves an id. An empty file would make ids start again.
bool store_id(int id) {
    const Descriptor file = open_to_write(paths::kControllerId);
    if (!file) return false;
    char text[16];
    snprintf(text, sizeof text, "%-*d", static_cast<int>(sizeof "-2147483648" - 1), id);
    if (quill::write_all(file.get(), text)) (void)!ftruncate(file.get(), static_cast<off_t>(strcspn(text, " ")));
    return true;
}

// Returns 1 if there is an id, 0 if this call made it. Like the next functions, returns nothing if the file cannot be
// opened. The process then releases the semaphore before it ends. Otherwise, another user could plant a file that
// open_fixed() refuses, and so block all processes that take the semaphore.
std::optional<int> check_or_create_id() {
    if (exists(paths::kControllerId)) return 1;
    return store_id(0) ? std::optional(0) : std::nullopt;
}

std::optional<int> load_id() {
    int id = 0;
    const Descriptor file = quill::open_fixed(paths::kControllerId, O_RDONLY);
    if (quill::read_number(file, &id) == FileNumber::kNoFile) return std::nullopt;
    return id;
}

// Reads the id without the semaphore, until two reads in a row agree. A single read may find a write half done, such as
// 9990 from 999 and 1000.
std::optional<int> load_id_beside_writers() {
    std::optional<int> id = load_id();
    for (int i = 0; i < 10; i++)
        if (const auto before = std::exchange(id, load_id()); before == id) break;
    return id;
}

std::optional<int> next_id() {
    const auto there = check_or_create_id();
    if (!there || !*there) return there;  // the first id that is handed out is 0
    const auto id = load_id();
    if (!id) return id;
    const int next = static_cast<int>(static_cast<unsigned>(*id) + 1);
    return store_id(next) ? std::optional(next) : std::nullopt;
}

int value_or_exit(std::optional<int> id) {
    if (!id) exit(kNoControllerId);
    return *id;
}

// Returns the result of use(), called while the semaphore is held; 0 if the semaphore cannot be taken or released.
template <typename Use>
int with_semaphore(int semaphore, Use use) {
    if (!change(semaphore, -1)) return 0;
    const NoCancellation no_cancellation;
    const std::optional<int> used = use();
    const bool given = change(semaphore, 1);
    const int result = value_or_exit(used);
    return given ? result : 0;
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
    const NoCancellation no_cancellation;
    return value_or_exit(check_or_create_id());
}

int getCfgmControllerId() {
    const NoCancellation no_cancellation;
    return value_or_exit(check_or_create_id()) ? value_or_exit(load_id_beside_writers()) : 0;
}

int incCfgmControllerId(int semaphore) { return with_semaphore(semaphore, next_id); }

int setCfgmControllerId(int id, int semaphore) {
    return with_semaphore(semaphore,
                          [=] { return check_or_create_id() && store_id(id) ? std::optional(1) : std::nullopt; });
}

// --- the flag

int openCfgmGlobalConfigEnableFile() {
    if (exists(paths::kGlobalConfigEnabled)) return 0;
    const NoCancellation no_cancellation;
    if (!open_to_write(paths::kGlobalConfigEnabled)) exit(kFlagNotMade);
    return 0;
}

int closeCfgmGlobalConfigEnableFile() {
    // The check comes after the failed removal, because another process may remove the file at the same moment.
    if (unlink(paths::kGlobalConfigEnabled) != 0 && exists(paths::kGlobalConfigEnabled)) exit(kFlagNotRemoved);
    return 0;
}

int isCfgmGlobalConfigEnable() { return exists(paths::kGlobalConfigEnabled); }

#include "platform/flash_history.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <quill/flash.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/endian.h"
#include "base/errno.h"
#include "base/fixed_file.h"
#include "base/paths.h"

namespace paths = quill::paths;

namespace {

constexpr uint32_t kRecords = QUILL_FLASH_HISTORY_RECORDS;
constexpr size_t kSize = sizeof(quill_flash_history);
static_assert(kSize == QUILL_FLASH_HISTORY_SIZE && sizeof(quill_flash_record) == QUILL_FLASH_HISTORY_RECORD_SIZE);

// Set once, by the first thread that maps the history.
constinit std::atomic<quill_flash_history *> mapped_history = nullptr;

// Several processes change the numbers of the header at the same time, without a shared lock.
static_assert(std::atomic_ref<uint32_t>::is_always_lock_free);
std::atomic_ref<uint32_t> shared(uint8_t (&word)[4]) {
    return std::atomic_ref<uint32_t>(*reinterpret_cast<uint32_t *>(word));
}

// Turns the content of the file into a history.
void adopt(quill_flash_history &history) {
    const auto capacity = shared(history.capacity);
    const uint32_t found = capacity.load();
    // A file that another process has just made is all zeros. It is not cleared, because it may get a record at any
    // moment. The capacity is replaced last, so that a process that is killed here leaves no history of foreign
    // records.
    if (found != 0 && found != quill::big_endian(kRecords)) {
        memset(history.next, 0, sizeof history.next);
        memset(history.records, 0, sizeof history.records);
    }
    capacity.store(quill::big_endian(kRecords));
}

// Returns a record that only this caller has, even if another process claims one at the same moment.
quill_flash_record &claim_record(quill_flash_history &history) {
    const auto next = shared(history.next);
    uint32_t before = next.load(), mine;
    do {
        mine = quill::big_endian(before);
        if (mine >= kRecords) mine = 0;
    } while (!next.compare_exchange_weak(before, quill::big_endian((mine + 1) % kRecords)));
    return history.records[mine];
}

// Writes the label with its NUL. A long label overwrites the fields after it, but never memory beyond the history.
void write_label(quill_flash_history &history, const char *place, pid_t process) {
    constexpr size_t kId = sizeof "[-2147483648]";
    char path[32], program[PATH_MAX + kId];
    const char *label = "unknown";
    snprintf(path, sizeof path, paths::kProgramOf, static_cast<int>(process));
    if (const ssize_t length = readlink(path, program, PATH_MAX); length >= 0) {
        snprintf(program + length, kId, "[%d]", static_cast<int>(process));
        const char *const slash = strrchr(program, '/');
        label = slash ? slash + 1 : program;
    }
    char *const start = reinterpret_cast<char *>(&history);
    const auto at = static_cast<size_t>(place - start);
    memcpy(start + at, label, std::min(strlen(label) + 1, kSize - at));
}

// Returns whether only root and this user can truncate the file. If the file is truncated while it is mapped, the next
// write to the mapping ends the process.
bool is_safe_to_map(const struct stat &file) {
    const bool own = file.st_uid == 0 || file.st_uid == geteuid();
    return own && !(file.st_mode & (S_IWGRP | S_IWOTH));
}

// Sets the file's size and allocates its memory. Returns false if that fails. Without the memory, a write to the
// mapping on a full /tmp would end the process.
bool make_room(int file) {
    struct stat found;
    if (fstat(file, &found) != 0 || !is_safe_to_map(found)) return false;
    if (found.st_size < static_cast<off_t>(kSize) && ftruncate(file, kSize) != 0) return false;
    const int allocated = quill::repeat_if_interrupted([=] { return fallocate(file, 0, 0, kSize); });
    return allocated == 0 || errno == EOPNOTSUPP || errno == ENOSYS;
}

quill_flash_history *map_history() {
    const quill::NoCancellation no_cancellation;
    quill::Descriptor file = quill::open_fixed(paths::kFlashHistory, O_RDWR | O_CREAT, 0600);
    if (!file || !make_room(file.get())) return nullptr;
    void *const mapping = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (mapping == MAP_FAILED) return nullptr;
    auto *const history = static_cast<quill_flash_history *>(mapping);
    adopt(*history);

    quill_flash_history *first = nullptr;
    if (mapped_history.compare_exchange_strong(first, history)) {
        (void)file.release();  // stays open, to show which processes use the history
        return history;
    }
    munmap(mapping, kSize);  // another thread was faster
    return first;
}

}  // namespace

uint64_t quill::monotonic_milliseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

quill_flash_history *quill::flash_history() {
    quill_flash_history *const history = mapped_history.load(std::memory_order_acquire);
    return history ? history : map_history();
}

void quill::add_to_flash_history(const FlashTransfer &transfer) {
    quill_flash_history *const history = flash_history();
    if (!history) return;
    quill_flash_record &record = claim_record(*history);
    store_be(record.when, static_cast<uint32_t>(monotonic_milliseconds() / 1000));
    store_be(record.offset, transfer.offset);
    store_be(record.operation, static_cast<uint32_t>(transfer.operation));
    store_be(record.length, transfer.length);
    store_be(record.milliseconds, transfer.milliseconds);
    write_label(*history, record.process, getpid());
    write_label(*history, record.parent, getppid());
    msync(history, kSize, MS_SYNC);
}

#include <quill/storage.h>

#include <dirent.h>
#include <fcntl.h>
#include <libgen.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>

#include "base/bounded_text.h"
#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/paths.h"
#include "base/prefix.h"
#include "base/text_file.h"

using quill::BoundedText;
using quill::Descriptor;
using quill::NoCancellation;
using std::string_view;
namespace paths = quill::paths;

namespace {

constexpr uint32_t kUnknown = UINT32_MAX;
constexpr int kMegabyteShift = 20;
constexpr uint32_t kReservedMegabytes = 5;      // of the RAM disk
constexpr int64_t kReservedMemory = 0x1100000;  // for the system
constexpr int kExt2 = 0xEF53;
constexpr int kColonsBeforeMemory = 7;  // six in the header, one after "Mem"

// --- file systems

std::optional<struct statfs> file_system_of(const char *path) {
    struct statfs found;
    if (statfs(path, &found) != 0 || found.f_blocks == 0) return std::nullopt;
    return found;
}

// Calculated in 32 bits, even if bits are lost. Compatibility: programs compare the results with earlier ones.
template <typename Blocks, typename Size>
uint32_t bytes_of(Blocks blocks, Size size) {
    return static_cast<uint32_t>(blocks) * static_cast<uint32_t>(size);
}

uint32_t free_megabytes(const char *path) {
    const auto found = file_system_of(path);
    return found ? bytes_of(found->f_bavail, found->f_bsize) >> kMegabyteShift : kUnknown;
}

// --- memory

struct Memory {
    int64_t total, free, cached;
};

// Reads the six numbers after the colons, or as many as the row has.
Memory parse_memory(const char *text) {
    for (int colons = 0; colons < kColonsBeforeMemory; colons++) {
        text = strchr(text, ':');
        if (!text) return {};
        text++;
    }
    int64_t numbers[6] = {};
    for (int64_t &number : numbers) {
        char *end;
        number = strtoll(text, &end, 10);
        if (end == text) break;
        text = end;
    }
    const auto [total, used, free, shared, buffers, cached] = numbers;
    return {total, free, cached};
}

// Returns nothing if the file does not have the platform's form, or too little memory is free.
std::optional<Memory> usable_memory() {
    char text[1024 + 1];
    if (quill::read_start(paths::kMemory, text) <= 0) return std::nullopt;
    Memory memory = parse_memory(text);
    if (memory.cached == 0 || memory.free < kReservedMemory) return std::nullopt;
    memory.free -= kReservedMemory;
    return memory;
}

// --- a place for a download

int choose(const char **directory, const char *chosen, int code) {
    *directory = chosen;
    return code;
}

bool has_room(uint32_t megabytes, int need) { return static_cast<int>(megabytes) - 1 > need; }

// --- texts

// Passes the text to out() in pieces, as if it were a printf format without arguments. "%%" becomes one "%". Everything
// else is unchanged, even if it looks like a conversion.
template <typename Out>
void print_as_format(string_view text, Out out) {
    for (;;) {
        const size_t doubled = text.find("%%");
        if (doubled == string_view::npos) return out(text);
        out(quill::prefix(text, doubled + 1));
        text.remove_prefix(doubled + 2);
    }
}

// --- USB storage

struct CloseDirectory {
    void operator()(DIR *directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory open_directory(int parent, const char *name) {
    Descriptor descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    DIR *const directory = descriptor ? fdopendir(descriptor.get()) : nullptr;
    if (directory) (void)descriptor.release();
    return Directory(directory);
}

// Returns the first entry of that type for which wanted(name) holds, or null. "." and ".." are skipped.
template <typename Wanted>
const dirent *find_entry(const Directory &directory, unsigned char type, Wanted wanted) {
    while (const dirent *entry = readdir(directory.get())) {
        const string_view name = entry->d_name;
        if (name != "." && name != ".." && entry->d_type == type && wanted(entry->d_name)) return entry;
    }
    return nullptr;
}

// Returns whether the path name/directories/file exists in parent.
bool has_file(const Directory &parent, const char *name, const char *directories, string_view file) {
    Directory directory = open_directory(dirfd(parent.get()), name);
    string_view left = directories;
    // `directories` is "." for a file without a directory. So a path that begins with "." counts as no path. A path of
    // slashes only also counts as no path. An empty component before others is not found, because no directory has an
    // empty name.
    while (directory && !left.starts_with('.') && left.find_first_not_of('/') != string_view::npos) {
        const string_view component = quill::prefix(left, left.find('/'));
        left.remove_prefix(std::min(component.size() + 1, left.size()));
        const dirent *const entry =
            find_entry(directory, DT_DIR, [=](string_view found) { return found == component; });
        if (!entry) return false;
        directory = open_directory(dirfd(directory.get()), entry->d_name);
    }
    return directory && find_entry(directory, DT_REG, [=](string_view found) { return found == file; });
}

}  // namespace

// --- room on file systems

uint32_t freeFlash() { return free_megabytes(paths::kFlash); }

uint32_t freeFlash1() { return free_megabytes(paths::kFlash1); }

uint32_t sizeFlash() {
    const auto found = file_system_of(paths::kFlash);
    return found ? bytes_of(found->f_blocks, found->f_bsize) >> kMegabyteShift : kUnknown;
}

int freeDisk(int reserve) {
    const auto found = file_system_of(paths::kTmp);
    if (!found) return -1;
    int64_t bytes = bytes_of(found->f_bavail, found->f_bsize);
    if (const auto memory = usable_memory()) bytes = std::min(bytes, memory->free);
    const auto megabytes = static_cast<uint32_t>(bytes >> kMegabyteShift);
    if (!reserve) return static_cast<int>(megabytes);
    return static_cast<int>(megabytes - std::min(megabytes, kReservedMegabytes));
}

int get_rootfs_mem(uint32_t *bytes) {
    struct statfs found;
    if (statfs(paths::kRootFileSystem, &found) != 0 || found.f_type != kExt2) return -1;
    *bytes = bytes_of(found.f_blocks, found.f_bsize);
    return 0;
}

// --- memory

int get_free_mem_cached(int64_t *total, int64_t *usable, int64_t *cached) {
    const auto memory = usable_memory();
    if (!memory) return -1;
    *total = memory->total;
    *usable = memory->free;
    if (cached) *cached = memory->cached;
    return 0;
}

int get_free_mem(int64_t *total, int64_t *usable) { return get_free_mem_cached(total, usable, nullptr); }

// --- a place for a download

int get_temp_dir(int need, const char **directory) {
    if (has_room(freeFlash(), need)) return choose(directory, paths::kFlash, QUILL_TEMP_FLASH);
    if (freeDisk(1) < need) return choose(directory, "", QUILL_TEMP_NONE);
    return choose(directory, paths::kTmp, QUILL_TEMP_TMP);
}

int get_temp_dir2(int need, const char **directory) {
    if (is_flash1_present() && has_room(freeFlash1(), need)) {
        return choose(directory, paths::kFlash1, QUILL_TEMP_FLASH1);
    }
    return get_temp_dir(need, directory);
}

// --- files

int is_flash1_present() {
    struct stat found;
    return stat(paths::kFlash1, &found) == 0 && S_ISDIR(found.st_mode);
}

int is_flash_crash_present() { return is_file_present(paths::kCrash); }

int is_file_present(const char *path) {
    struct stat found;
    return path && stat(path, &found) == 0;
}

int write_str_to_file(const char *path, const char *text) {
    if (!path || !text) return 1;
    const NoCancellation no_cancellation;
    const Descriptor file = quill::open_to_replace(path);
    if (!file) return 1;
    print_as_format(text, [&](string_view piece) { (void)quill::write_all(file.get(), piece); });
    return 0;
}

// --- USB storage

char *chkUsbPath(const char *path, char *out) {
    const NoCancellation no_cancellation;
    const Directory partitions = open_directory(AT_FDCWD, paths::kUsb);
    if (!partitions) return nullptr;

    char for_file[QUILL_USB_PATH_SIZE], for_directories[QUILL_USB_PATH_SIZE];
    snprintf(for_file, sizeof for_file, "%s", path);
    memcpy(for_directories, for_file, sizeof for_file);
    const char *const file = basename(for_file), *const directories = dirname(for_directories);

    const dirent *const found =
        find_entry(partitions, DT_DIR, [&](const char *name) { return has_file(partitions, name, directories, file); });
    if (!found) {
        memset(out, 0, QUILL_USB_PATH_SIZE);
        return nullptr;
    }
    BoundedText full(out, QUILL_USB_PATH_SIZE);
    full.add(paths::kUsb);
    const bool at_top = string_view(directories) == ".";
    for (const char *part : {static_cast<const char *>(found->d_name), at_top ? nullptr : directories, file}) {
        if (!part) continue;
        full.add('/');
        full.add(part);
    }
    return out;
}

int chkUsbSlotPartPath(const char *name, int slot, int partition, char *out) {
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof path, "%s/slot%d/%d/%s", paths::kUsb, slot, partition, name);
    const bool fits = length >= 0 && static_cast<size_t>(length) < sizeof path;
    if (!fits || !is_file_present(path)) {
        memset(out, 0, QUILL_USB_PATH_SIZE);
        return 0;
    }
    BoundedText found(out, QUILL_USB_PATH_SIZE);
    print_as_format(path, [&](string_view piece) { found.add(piece); });
    return 1;
}

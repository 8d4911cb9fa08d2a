#include <gtest/gtest.h>
#include <quill/storage.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/case_file.h"
#include "support/device_test.h"
#include "support/guard_page.h"

namespace {

namespace fs = std::filesystem;
using quill::test::read_file;
using quill::test::write_file;
using std::string;

class Storage : public quill::test::DeviceAndProcTest {};

// Mounts a file system of a size, or one without blocks, on a folder. Null mounts nothing.
void mount_at(const char *folder, const char *size) {
    if (!size) return;
    mkdir(folder, 0755);
    const bool proc = size == string("proc");
    EXPECT_EQ(mount("none", folder, proc ? "proc" : "tmpfs", 0, proc ? nullptr : ("size=" + string(size)).c_str()), 0);
}

// --- what the cases call

string flash_room(const char *size, size_t used) {
    mount_at("/flash", size);
    write_file("/flash/data", string(used, 'd'));
    return std::to_string(freeFlash()) + " " + std::to_string(sizeFlash());
}

uint32_t flash1_room(const char *size) {
    mount_at("/flash1", size);
    return freeFlash1();
}

string memory(const char *content) {
    fs::remove("/proc/meminfo");
    if (content && *content == '/') mkdir("/proc/meminfo", 0755);
    if (content && *content != '/') write_file("/proc/meminfo", content);
    int64_t total = 1, usable = 2, cached = 3, same_total = 1, same_usable = 2;
    const int result = get_free_mem_cached(&total, &usable, &cached);
    EXPECT_EQ(get_free_mem(&same_total, &same_usable), result);
    EXPECT_TRUE(same_total == total && same_usable == usable);
    EXPECT_TRUE(result == 0 || (total == 1 && usable == 2 && cached == 3));
    string shown = std::to_string(result);
    for (const int64_t number : {total, usable, cached})
        if (result == 0) shown += (number == total ? ", " : " ") + std::to_string(number);
    return shown;
}

string ram_disk(const char *size, int64_t free) {
    memory(free ? ("a: b: c: d: e: f:\nMem: 67108864 2 " + std::to_string(free) + " 4 5 1").c_str() : nullptr);
    mount_at("/tmp", size);
    return std::to_string(freeDisk(0)) + " " + std::to_string(freeDisk(1));
}

string place(int need, const char *flash_size, const char *tmp_size, const char *flash1_size) {
    memory(nullptr);
    mount_at("/flash", flash_size);
    mount_at("/tmp", tmp_size);
    mount_at("/flash1", flash1_size);
    const char *directory = nullptr, *without_second = nullptr;
    const int code = get_temp_dir2(need, &directory), code_without = get_temp_dir(need, &without_second);
    EXPECT_EQ(is_flash1_present(), flash1_size != nullptr);
    EXPECT_TRUE(code == QUILL_TEMP_FLASH1 || (code == code_without && directory == without_second));
    return std::to_string(code) + directory;
}

string written(const char *text) {
    write_file("/tmp/text", "longer than what is written into it");
    EXPECT_TRUE(write_str_to_file("/tmp/text", text) == 0 && write_str_to_file("/tmp/new", text) == 0);
    struct stat file;
    EXPECT_TRUE(stat("/tmp/new", &file) == 0 && (file.st_mode & 0777) == 0644);
    EXPECT_EQ(read_file("/tmp/new"), read_file("/tmp/text"));
    return read_file("/tmp/text");
}

// Returns the found path after /mnt/usbdisk/, or nothing. If nothing is found, the whole buffer must be zero.
template <typename Find>
string behind_usb(Find find) {
    static quill::test::GuardedPage page;
    char *const out = reinterpret_cast<char *>(page.room(QUILL_USB_PATH_SIZE, 'x'));
    const bool found = find(out);
    EXPECT_EQ(string(out, 13), found ? "/mnt/usbdisk/" : string(13, '\0'));
    EXPECT_TRUE(found || string(out, QUILL_USB_PATH_SIZE) == string(QUILL_USB_PATH_SIZE, '\0'));
    return found ? out + 13 : "";
}

string on_usb(const char *path) {
    return behind_usb([=](char *out) { return chkUsbPath(path, out) == out; });
}

string in_slot(const char *name, int slot, int partition) {
    return behind_usb([=](char *out) { return chkUsbSlotPartPath(name, slot, partition, out); });
}

TEST_F(Storage, Cases) {
    const string usb = "/mnt/usbdisk/", longest(255, 'n');
    for (const char *folder : {"sda1/d/e", "sdb1/d/a.bin", "sdb1/100%s%n", "slot1/2/folder"})
        fs::create_directories(usb + folder);
    for (const char *file : {"a.bin", "sda1/d/e/a.bin", "sda1/b.bin", "sdb1/c.bin", "sdb1/100%s%n/%d", "slot1/2/a.bin",
                             "slot1/2/100%", "slot1/2/%s%s%n", "slot1/2/5%%", "slot1/2/folder/b"})
        write_file(usb + file, "");
    fs::create_symlink("b.bin", usb + "sda1/link.bin");
    fs::create_directory_symlink("d", usb + "sda1/link");
    umask(022);
    quill::test::expect_cases(
        "platform/storage.cases",
        QUILL_CASE_FUNCTIONS(flash1_room, flash_room, in_slot, is_file_present, is_flash1_present,
                             is_flash_crash_present, memory, on_usb, place, ram_disk, write_str_to_file, written));
    while (umount2("/tmp", MNT_DETACH) == 0) continue;  // tests built in /tmp save counters there

    // With the longest names, the written path is cut.
    fs::create_directories(usb + longest);
    write_file(usb + longest + "/" + longest, "");
    write_file(usb + "slot1/2/" + longest, "");
    EXPECT_EQ(on_usb(longest.c_str()), (longest + "/").substr(0, 255 - usb.size()));
    EXPECT_EQ(on_usb((longest + "x").c_str()), longest.substr(0, 255 - usb.size())) << "255 characters count";
    EXPECT_EQ(on_usb(("d/" + longest).c_str()), "");
    EXPECT_EQ(in_slot(longest.c_str(), 1, 2), ("slot1/2/" + longest).substr(0, 255 - usb.size()));
    EXPECT_EQ(in_slot(string(5000, 'n').c_str(), 1, 2), "");
    fs::remove_all("/mnt/usbdisk");
    char out[QUILL_USB_PATH_SIZE] = "as it was";
    EXPECT_EQ(chkUsbPath("b.bin", out), nullptr);
    EXPECT_STREQ(out, "as it was");
}

TEST_F(Storage, RootFileSystem) {
    struct statfs bin;
    ASSERT_EQ(statfs("/bin", &bin), 0);
    uint32_t bytes = 7;
    const bool ext2 = bin.f_type == 0xEF53;
    EXPECT_EQ(get_rootfs_mem(&bytes), ext2 ? 0 : -1);
    EXPECT_EQ(bytes, ext2 ? static_cast<uint32_t>(bin.f_blocks) * static_cast<uint32_t>(bin.f_bsize) : 7u);
}

}  // namespace

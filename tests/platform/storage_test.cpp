#include <gtest/gtest.h>
#include <quill/storage.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/device_test.h"
#include "support/private_device.h"

namespace {

using quill::test::read_file;
using quill::test::write_file;
using std::string;

constexpr int64_t kMegabyte = 1 << 20;

class Storage : public quill::test::DeviceAndProcTest {
protected:
    // A file system of that size in the folder's place.
    static void mount_at(const string &folder, const string &size) {
        ASSERT_EQ(mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()), 0) << strerror(errno);
    }
    // As the platform's kernel writes it.
    static void publish_memory(int64_t total, int64_t free, int64_t cached) {
        write_file("/proc/meminfo", "        total:    used:    free:  shared: buffers:  cached:\nMem:  " +
                                        std::to_string(total) + " 5000000000 " + std::to_string(free) + " 0 1234 " +
                                        std::to_string(cached) + "\nSwap:        0        0        0\n");
    }
};

string find_on_usb(const string &path) {
    char out[QUILL_USB_PATH_SIZE];
    memset(out, 'x', sizeof out);
    const char *const found = chkUsbPath(path.c_str(), out);
    if (found) return found == out ? out : "another pointer";
    return string(out, sizeof out) == string(sizeof out, '\0') ? "" : "not zeroed";
}

string find_in_slot(const string &name, int slot, int partition) {
    char out[QUILL_USB_PATH_SIZE];
    memset(out, 'x', sizeof out);
    if (chkUsbSlotPartPath(name.c_str(), slot, partition, out)) return out;
    return string(out, sizeof out) == string(sizeof out, '\0') ? "" : "not zeroed";
}

}  // namespace

TEST_F(Storage, RoomInMegabytes) {
    EXPECT_EQ(freeFlash1(), UINT32_MAX) << "no such folder";
    mkdir("/flash1", 0755);
    mount_at("/flash", "10m");
    mount_at("/flash1", "20m");
    EXPECT_EQ(freeFlash(), 10u);
    EXPECT_EQ(sizeFlash(), 10u);
    EXPECT_EQ(freeFlash1(), 20u);
    write_file("/flash/data", string(kMegabyte + 1, 'd'));
    EXPECT_EQ(freeFlash(), 8u);
    EXPECT_EQ(sizeFlash(), 10u);
    mount_at("/flash", "5g");
    EXPECT_EQ(sizeFlash(), 1024u) << "in 32 bits";
    EXPECT_EQ(freeFlash(), 1024u);
    ASSERT_EQ(mount("proc", "/flash", "proc", 0, nullptr), 0);
    EXPECT_EQ(sizeFlash(), UINT32_MAX) << "without blocks";
    EXPECT_EQ(freeFlash(), UINT32_MAX);
}

TEST_F(Storage, RootFileSystem) {
    struct statfs bin;
    ASSERT_EQ(statfs("/bin", &bin), 0);
    uint32_t bytes = 7;
    const bool ext2 = bin.f_type == 0xEF53;
    EXPECT_EQ(get_rootfs_mem(&bytes), ext2 ? 0 : -1);
    EXPECT_EQ(bytes, ext2 ? static_cast<uint32_t>(bin.f_blocks) * static_cast<uint32_t>(bin.f_bsize) : 7u);
    mount_at(std::filesystem::canonical("/bin"), "1m");
    ASSERT_EQ(statfs("/bin", &bin), 0);
    if (bin.f_type == 0xEF53) GTEST_SKIP() << "the emulator's own /bin cannot be hidden";
    bytes = 7;
    EXPECT_EQ(get_rootfs_mem(&bytes), -1);
    EXPECT_EQ(bytes, 7u);
}

TEST_F(Storage, MemoryOfThePlatformsForm) {
    int64_t total = 1, usable = 2, cached = 3;
    const auto refused = [&] {
        return get_free_mem_cached(&total, &usable, &cached) == -1 && get_free_mem(&total, &usable) == -1 &&
               total == 1 && usable == 2 && cached == 3;
    };
    EXPECT_TRUE(refused()) << "no file";
    for (const char *content : {
             "",
             "a:b:c:d:e:f:", "MemTotal: 1000 kB\nMemFree: 50000000 kB\nBuffers: 2 kB\nCached: 8 kB\nA: 1\nB: 2\nC: 3\n",
             "a: b: c: d: e: f:\nMem: 1 2 99999999 4 5",            // five numbers
             "a: b: c: d: e: f:\nMem: 1 2 x 4 5 6",                 // the third is none
             "a: b: c: d: e: f:\nMem: 90000000 2 80000000 4 5 0",   // nothing cached
             "a: b: c: d: e: f:\nMem: 90000000 2 -80000000 4 5 6",  // less than nothing free
         }) {
        write_file("/proc/meminfo", content);
        EXPECT_TRUE(refused()) << content;
    }
    publish_memory(64 * kMegabyte, 17 * kMegabyte - 1, 1);
    EXPECT_TRUE(refused()) << "less than the reserve";
    publish_memory(64 * kMegabyte, 17 * kMegabyte, 9);
    EXPECT_EQ(get_free_mem_cached(&total, &usable, &cached), 0);
    EXPECT_EQ(total, 64 * kMegabyte);
    EXPECT_EQ(usable, 0);
    EXPECT_EQ(cached, 9);
    publish_memory(1 << 30, int64_t{6} << 32, 9);
    EXPECT_EQ(get_free_mem(&total, &usable), 0);
    EXPECT_EQ(usable, (int64_t{6} << 32) - 17 * kMegabyte);
    unlink("/proc/meminfo");
    mkdir("/proc/meminfo", 0755);
    total = 1, usable = 2, cached = 3;
    EXPECT_TRUE(refused());
}

TEST_F(Storage, RamDiskIsLimitedByMemory) {
    const auto expect = [](const char *size, int all, int unreserved) {
        mount_at("/tmp", size);
        EXPECT_EQ(freeDisk(0), all) << size;
        EXPECT_EQ(freeDisk(1), unreserved) << size;
        ASSERT_EQ(umount2("/tmp", MNT_DETACH), 0);
    };
    expect("12m", 12, 7);  // nothing is known of memory
    publish_memory(64 * kMegabyte, 40 * kMegabyte, 1);
    expect("12m", 12, 7);
    expect("6m", 6, 1);
    expect("5m", 5, 0);
    expect("1m", 1, 0);
    expect("4104m", 8, 3);  // in 32 bits, and still less than the memory
    publish_memory(64 * kMegabyte, (17 + 9) * kMegabyte - 1, 1);
    expect("12m", 8, 3);
    publish_memory(64 * kMegabyte, 17 * kMegabyte, 1);
    expect("12m", 0, 0);
    publish_memory(64 * kMegabyte, 16 * kMegabyte, 1);  // no answer, so it does not count
    expect("12m", 12, 7);
    ASSERT_EQ(mount("proc", "/tmp", "proc", 0, nullptr), 0);
    EXPECT_EQ(freeDisk(0), -1);
    EXPECT_EQ(freeDisk(1), -1);
}

TEST_F(Storage, PlaceForADownload) {
    const auto place = [](int (*choose)(int, const char **), int need) {
        const char *directory = nullptr;
        const int code = choose(need, &directory);
        return std::to_string(code) + directory;
    };
    mount_at("/flash", "10m");
    mount_at("/tmp", "17m");
    EXPECT_EQ(place(get_temp_dir, 8), "1/flash");
    EXPECT_EQ(place(get_temp_dir, 9), "2/tmp");
    EXPECT_EQ(place(get_temp_dir, 12), "2/tmp");
    EXPECT_EQ(place(get_temp_dir, 13), "0");
    EXPECT_EQ(place(get_temp_dir2, 12), "2/tmp") << "there is no second flash";
    write_file("/flash1", "");
    EXPECT_EQ(is_flash1_present(), 0) << "which is a directory";
    EXPECT_EQ(place(get_temp_dir2, 12), "2/tmp");
    unlink("/flash1");
    mkdir("/flash1", 0755);
    mount_at("/flash1", "5m");
    EXPECT_EQ(is_flash1_present(), 1);
    EXPECT_EQ(place(get_temp_dir2, 3), "3/flash1");
    EXPECT_EQ(place(get_temp_dir2, 4), "1/flash");
    EXPECT_EQ(place(get_temp_dir2, 13), "0");
    ASSERT_EQ(mount("proc", "/flash", "proc", 0, nullptr), 0);
    EXPECT_EQ(place(get_temp_dir, 0), "2/tmp") << "what is not known has no room";
}

TEST_F(Storage, FilesThere) {
    EXPECT_EQ(is_flash_crash_present(), 0);
    write_file("/flash/crash", "");
    EXPECT_EQ(is_flash_crash_present(), 1);
    EXPECT_EQ(is_file_present("/flash/crash"), 1);
    EXPECT_EQ(is_file_present("/flash"), 1);
    EXPECT_EQ(is_file_present("/flash/none"), 0);
    EXPECT_EQ(is_file_present(""), 0);
    EXPECT_EQ(is_file_present(nullptr), 0);
}

TEST_F(Storage, TextsThatLookLikeFormats) {
    const struct {
        const char *text, *written;
    } cases[] = {
        {"plain\n", "plain\n"},
        {"", ""},
        {"100%% of %%%%", "100% of %%"},
        {"%s%n%d %5$s%", "%s%n%d %5$s%"},
        {"%%%s", "%%s"},
        {"%%%%%", "%%%"},
        {"%", "%"},
        {"50%%", "50%"},
    };
    umask(022);
    for (const auto &c : cases) {
        write_file("/tmp/text", "longer than what is written into it");
        EXPECT_EQ(write_str_to_file("/tmp/text", c.text), 0);
        EXPECT_EQ(read_file("/tmp/text"), c.written);
    }
    EXPECT_EQ(write_str_to_file("/tmp/new", "x"), 0);
    struct stat file;
    ASSERT_EQ(stat("/tmp/new", &file), 0);
    EXPECT_EQ(file.st_mode & 0777u, 0644u);
    EXPECT_EQ(write_str_to_file(nullptr, "x"), 1);
    EXPECT_EQ(write_str_to_file("/tmp/new", nullptr), 1);
    EXPECT_EQ(write_str_to_file("/tmp/none/new", "x"), 1);
    EXPECT_EQ(read_file("/tmp/new"), "x");
}

TEST_F(Storage, FilesOnUsb) {
    namespace fs = std::filesystem;
    fs::create_directories("/mnt/usbdisk/sda1/images/old");
    fs::create_directories("/mnt/usbdisk/sdb1/images/a.bin");  // a directory
    fs::create_directories("/mnt/usbdisk/sdb1/100%s%n");
    write_file("/mnt/usbdisk/a.bin", "");
    write_file("/mnt/usbdisk/sda1/images/old/a.bin", "");
    write_file("/mnt/usbdisk/sda1/b.bin", "");
    write_file("/mnt/usbdisk/sdb1/c.bin", "");
    write_file("/mnt/usbdisk/sdb1/100%s%n/%d", "");
    fs::create_symlink("b.bin", "/mnt/usbdisk/sda1/link.bin");
    fs::create_directory_symlink("images", "/mnt/usbdisk/sda1/link");
    const struct {
        const char *path, *found;
    } cases[] = {
        {"b.bin", "/mnt/usbdisk/sda1/b.bin"},
        {"c.bin", "/mnt/usbdisk/sdb1/c.bin"},
        {"images/old/a.bin", "/mnt/usbdisk/sda1/images/old/a.bin"},
        {"100%s%n/%d", "/mnt/usbdisk/sdb1/100%s%n/%d"},
        {"a.bin", ""},         // beside the partitions
        {"images/a.bin", ""},  // a directory
        {"images/b.bin", ""},
        {"images/old", ""},
        {"B.bin", ""},
        {"link.bin", ""},
        {"link/old/a.bin", ""},
        {"b.bin/b.bin", ""},
        {"", ""},
        {".", ""},
        {"..", ""},
        {"/", ""},
        {"../sdb1/c.bin", "/mnt/usbdisk/sdb1/../sdb1/c.bin"},  // what begins with "." is no directory part
        {"./b.bin", "/mnt/usbdisk/sda1/b.bin"},
        {".x/b.bin", "/mnt/usbdisk/sda1/.x/b.bin"},
        {"/none/b.bin", ""},
        {"none//b.bin", ""},
        {"images//c.bin", ""},
        {"/b.bin", "/mnt/usbdisk/sda1///b.bin"},
        {"images//old/a.bin", ""},
        {"b.bin/", "/mnt/usbdisk/sda1/b.bin"},
    };
    for (const auto &c : cases) EXPECT_EQ(find_on_usb(c.path), c.found) << c.path;

    // The longest names: what is written is cut.
    const string name(255, 'n');
    fs::create_directories("/mnt/usbdisk/" + name);
    write_file("/mnt/usbdisk/" + name + "/" + name, "");
    EXPECT_EQ(find_on_usb(name), ("/mnt/usbdisk/" + name + "/").substr(0, 255));
    EXPECT_EQ(find_on_usb(name + "x"), ("/mnt/usbdisk/" + name + "/").substr(0, 255)) << "255 characters count";
    EXPECT_EQ(find_on_usb("d/" + name), "");

    fs::remove_all("/mnt/usbdisk");
    char out[QUILL_USB_PATH_SIZE] = "as it was";
    EXPECT_EQ(chkUsbPath("b.bin", out), nullptr);
    EXPECT_STREQ(out, "as it was");
}

TEST_F(Storage, FilesInSlots) {
    namespace fs = std::filesystem;
    fs::create_directories("/mnt/usbdisk/slot1/2/folder");
    for (const char *name : {"a.bin", "100%", "%s%s%n", "5%%", "folder/b"}) {
        write_file(string("/mnt/usbdisk/slot1/2/") + name, "");
    }
    EXPECT_EQ(find_in_slot("a.bin", 1, 2), "/mnt/usbdisk/slot1/2/a.bin");
    EXPECT_EQ(find_in_slot("folder/b", 1, 2), "/mnt/usbdisk/slot1/2/folder/b");
    EXPECT_EQ(find_in_slot("", 1, 2), "/mnt/usbdisk/slot1/2/");
    EXPECT_EQ(find_in_slot("100%", 1, 2), "/mnt/usbdisk/slot1/2/100%");
    EXPECT_EQ(find_in_slot("%s%s%n", 1, 2), "/mnt/usbdisk/slot1/2/%s%s%n");
    EXPECT_EQ(find_in_slot("5%%", 1, 2), "/mnt/usbdisk/slot1/2/5%") << "a doubled one is one";
    EXPECT_EQ(find_in_slot("a.bin", 1, 1), "");
    EXPECT_EQ(find_in_slot("a.bin", -1, 2), "");
    EXPECT_EQ(find_in_slot(string(5000, 'n'), 1, 2), "");
    const string name(250, 'n');
    write_file("/mnt/usbdisk/slot1/2/" + name, "");
    EXPECT_EQ(find_in_slot(name, 1, 2), ("/mnt/usbdisk/slot1/2/" + name).substr(0, 255));
}

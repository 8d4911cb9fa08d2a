// Every function that opens something, with room for no more descriptor, for one more, and so on: it says that it could
// not, or does all of it; leaves none open; and succeeds once there is room.
#include <gtest/gtest.h>
#include <quill/quill.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <iostream>
#include <string>

#include "support/device_test.h"

namespace {

using quill::test::open_descriptors;
using quill::test::read_file;
using quill::test::write_file;

class DescriptorsRunOut : public quill::test::DeviceAndProcTest {
protected:
    void SetUp() override {
        DeviceAndProcTest::SetUp();
        if (IsSkipped()) return;
        write_file("/proc/uptime", "12.5 1\n");
        write_file("/proc/osbuild", "quill version 8.10\n");
        write_file("/tmp/from", "content");
        write_file("/tmp/signed", "-----BEGIN VERSION-----\n1\n");
        write_file("/dev/mtd0", "ffffffff");
        write_file("/tmp/signed.gz", "no archive");
        mkdir("/mnt/usbdisk/slot0", 0755);
        mkdir("/mnt/usbdisk/slot0/0", 0755);
        write_file("/mnt/usbdisk/slot0/0/a", "");
    }

    // Runs the call while only so many more descriptors can be open, in it and in what it starts.
    static bool with_room_for(int room, const std::function<bool()> &call) {
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        rlimit tight = {0, limit.rlim_max};
        for (int fd = 0;; fd++) {
            if (fcntl(fd, F_GETFD) == -1 && room-- == 0) break;
            tight.rlim_cur++;
        }
        setrlimit(RLIMIT_NOFILE, &tight);
        const bool succeeded = call();
        setrlimit(RLIMIT_NOFILE, &limit);
        return succeeded;
    }
};

TEST_F(DescriptorsRunOut, CallsFailAsAWholeOrNotAtAll) {
    static char bytes[8];
    struct Call {
        const char *name;
        std::function<bool()> call;                             // whether it says that it has succeeded
        std::function<bool()> is_done = [] { return true; };    // whether all of it has been done
        std::function<bool()> is_undone = [] { return true; };  // whether nothing has
        int kept = 0;                                           // descriptors that a success keeps on purpose
    };
    const auto missing = [](const char *file) { return [=] { return access(file, F_OK) != 0; }; };
    const auto holds = [](const char *file, const char *content) { return [=] { return read_file(file) == content; }; };
    const Call calls[] = {
        {"execute_command", [] { return execute_command("true") == 1; }},
        {"execute_command_status", [] { return execute_command_status("exit 3") == 0x300; }},
        {"execute_command_status_no_io",
         [] {
             char line[] = "echo word";
             return execute_command_status_no_io(line, "/tmp/out", nullptr) == 0;
         },
         holds("/tmp/out", "word\n")},
        {"execute_command_status_no_io_nowait",
         [] { return execute_command_status_no_io_nowait("exit 0", nullptr, nullptr, nullptr, nullptr) == 0; }},
        {"quill_popen_thr",
         [] {
             int child;
             FILE *const stream = quill_popen_thr("echo word", "r", &child);
             if (!stream) {
                 EXPECT_EQ(child, -1);
             }
             return stream && fgets(bytes, sizeof bytes, stream) && quill_pclose_thr(stream, child) == 0;
         },
         [] { return strcmp(bytes, "word\n") == 0; }},
        {"execute_command_proc",
         [] { return execute_command_proc('1', "/tmp/switch") && access("/tmp/switch", F_OK) == 0; },
         holds("/tmp/switch", "1")},
        {"cp_file_to_from", [] { return cp_file_to_from("/tmp/to", "/tmp/from") == 1; }, holds("/tmp/to", "content"),
         missing("/tmp/to")},
        {"ReadApFlash", [] { return ReadApFlash(0, 8, bytes, nullptr) == 0 && bytes[7] == 'f'; },
         holds("/dev/mtd0", "ffffffff"), [] { return bytes[7] != 'f'; }, 1},
        {"getSysUptime", [] { return getSysUptime() == 12; }},
        {"get_os_version", [] { return strcmp(get_os_version(), "8.10\n") == 0; }},
        {"chkUsbPath",
         [] {
             char out[QUILL_USB_PATH_SIZE];
             return chkUsbPath("0/a", out) != nullptr;
         }},
        {"write_str_to_file", [] { return write_str_to_file("/tmp/text", "x") == 0; }, holds("/tmp/text", "x"),
         missing("/tmp/text")},
        {"get_reg_tbl_file_ver",
         [] {
             char *version;
             return get_reg_tbl_file_ver("/tmp/signed", &version) == 0;
         }},
        {"decrypt_decompress_reg_tbl_file",
         [] { return decrypt_decompress_reg_tbl_file("/tmp/signed.gz", "/tmp/unpacked") == 0; },
         holds("/tmp/unpacked", ""), missing("/quill/reg_table/temp_parsed_file.bin")},
    };
    for (const Call &call : calls) {
        SCOPED_TRACE(call.name);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int before = open_descriptors();
        int room = 0;
        for (; room < 20 && !with_room_for(room, call.call); room++) {
            EXPECT_EQ(open_descriptors(), before);
            EXPECT_TRUE(call.is_undone()) << "with room for " << room;
        }
        EXPECT_LT(room, 20) << "it never succeeds";
        EXPECT_TRUE(call.is_done());
        EXPECT_EQ(open_descriptors(), before + call.kept);
        kept_descriptors_ += call.kept;
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        std::cout << call.name << ": " << room << "\n";
    }
}

}  // namespace

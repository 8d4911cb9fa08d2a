// Calls all functions that open or allocate something, also inside the C library. They first run with room for no
// further descriptor, then for one, and so on. Then their first allocation fails, then their second, and so on. Each
// function reports the failure or does all of its work. It leaves nothing open, allocated or half done, and succeeds
// once there is room.
#include <gtest/gtest.h>
#include <quill/quill.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "support/child_process.h"
#include "support/device_test.h"
#include "support/failing_alloc.h"
#include "support/log_daemon.h"

namespace {

using quill::test::open_descriptors;
using quill::test::read_file;
using quill::test::write_file;

struct Call {
    const char *name;
    std::function<bool()> call;                             // returns whether the call reports success
    std::function<bool()> is_done = [] { return true; };    // whether the work is complete
    std::function<bool()> is_undone = [] { return true; };  // whether nothing was done
    int kept = 0;                                           // descriptors that a success keeps on purpose
};

const auto missing = [](const char *file) { return [=] { return access(file, F_OK) != 0; }; };
const auto holds = [](const char *file, const char *text) { return [=] { return read_file(file) == text; }; };

// Arguments and results of the calls.
char bytes[8], echo[] = "echo word", path[QUILL_USB_PATH_SIZE], *version;
int64_t total, usable;
ip_af_addr address;
int child, device;

// The controller's functions end the process when they fail, so the call is made in a child. No allocation fails after
// the call: saving the child's coverage counters allocates, and does not survive a failure.
template <typename Call>
bool returns(Call call) {
    return quill::test::status_of([&] {
               call();
               const quill::test::NthAllocation none(0);
           }) == 0;
}

int log_socket;
char record[1024];

bool log_record() {
    openlog("runs_out", 0, 0);
    syslog(LOG_USER | LOG_INFO, "text");
    closelog();
    return recv(log_socket, record, sizeof record, MSG_DONTWAIT) > 0;
}

bool read_by_pipe() {
    FILE *const stream = quill_popen_thr("echo word", "r", &child);
    EXPECT_TRUE(stream || child == -1);
    return stream && fgets(bytes, sizeof bytes, stream) && quill_pclose_thr(stream, child) == 0;
}

constexpr char kParsed[] = "/quill/reg_table/temp_parsed_file.bin";

const Call kCalls[] = {
    {"execute_command", [] { return execute_command("true") == 1; }},
    {"execute_command_status", [] { return execute_command_status("exit 3") == 0x300; }},
    {"execute_command_status_no_io", [] { return execute_command_status_no_io(echo, "/tmp/out", nullptr) == 0; },
     holds("/tmp/out", "word\n")},
    {"execute_command_status_no_io_nowait",
     [] { return execute_command_status_no_io_nowait("exit 0", nullptr, nullptr, nullptr, nullptr) == 0; }},
    {"quill_popen_thr", read_by_pipe, [] { return strcmp(bytes, "word\n") == 0; }},
    {"execute_command_proc",
     [] { return execute_command_proc('1', "/tmp/switch") && access("/tmp/switch", F_OK) == 0; },
     holds("/tmp/switch", "1")},
    {"cp_file_to_from", [] { return cp_file_to_from("/tmp/to", "/tmp/from") == 1; }, holds("/tmp/to", "content"),
     missing("/tmp/to")},
    {"ReadApFlash", [] { return ReadApFlash(0, 8, bytes, nullptr) == 0; }, [] { return bytes[7] == 'f'; },
     [] { return bytes[7] == 0; }, 1},
    {"quill_open_device", [] { return (device = quill_open_device(O_RDONLY)) >= 0 && close(device) == 0; }},
    {"WriteApFlash", [] { return WriteApFlash(0, 8, "written!", nullptr) == 0; }, holds("/dev/mtd0", "written!"),
     holds("/dev/mtd0", "ffffffff")},
    {"get_free_mem", [] { return get_free_mem(&total, &usable) == 0; }},
    {"getApType", [] { return (ApType = 0, getApType()) == 7; }, [] { return ApType == 7; },
     [] { return ApType == 0; }},
    {"checkAndCreateControllerId", [] { return returns(checkAndCreateControllerId); }, holds("/tmp/cfgmContId", "7")},
    {"getCfgmControllerId", [] { return returns([] { getCfgmControllerId() == 7 || (abort(), 0); }); }},
    {"setCfgmControllerId", [] { return returns([] { setCfgmControllerId(8, init_cli_cfgm_sem()); }); },
     holds("/tmp/cfgmContId", "8"), holds("/tmp/cfgmContId", "7")},
    {"openCfgmGlobalConfigEnableFile", [] { return returns(openCfgmGlobalConfigEnableFile); },
     holds("/flash/cfgmGlobalConfigEnable", ""), missing("/flash/cfgmGlobalConfigEnable")},
    {"get_mesh_role", [] { return get_mesh_role() == 7; }},
    {"get_ap_installation_type", [] { return get_ap_installation_type("/tmp/installation") == 7; }},
    {"syslog", log_record, [] { return strcmp(strstr(record, "runs_out"), "runs_out: text") == 0; }},
    // The table has no signature, so the function ends early.
    {"parse_validate_encrypted_signed_reg_tbl_file",
     [] { return parse_validate_encrypted_signed_reg_tbl_file("/tmp/table") == QUILL_REG_TABLE_NOT_VALID; },
     missing(kParsed), missing(kParsed)},
    {"getSysUptime", [] { return getSysUptime() == 12; }},
    {"get_os_version", [] { return strcmp(get_os_version(), "8.10\n") == 0; }},
    // The address is a number in an old form. The resolver is called for it, but needs no file of this machine.
    {"quill_inet_pton", [] { return quill_inet_pton("127.1", &address) == 1; }},
    {"chkUsbPath", [] { return chkUsbPath("0/a", path) != nullptr; }},
    {"write_str_to_file", [] { return write_str_to_file("/tmp/text", "x") == 0; }, holds("/tmp/text", "x"),
     missing("/tmp/text")},
    {"get_reg_tbl_file_ver", [] { return get_reg_tbl_file_ver("/tmp/signed", &version) == 0; }},
    {"decrypt_decompress_reg_tbl_file",
     [] { return decrypt_decompress_reg_tbl_file("/tmp/signed.gz", "/tmp/unpacked") == 0; }, holds("/tmp/unpacked", ""),
     missing(kParsed)},
};

class ResourcesRunOut : public quill::test::DeviceAndProcTest {
protected:
    struct Outcome {
        bool succeeded;
        bool was_short;  // whether a resource was refused
    };

    static void prepare() {
        tzset();  // the C library keeps the time zone that it reads
        const std::pair<const char *, std::string> files[] = {
            {"/proc/uptime", "12.5 1\n"},
            {"/proc/meminfo", "a: b: c: d: e: f:\nMem: 100000000 20000000 80000000 0 0 5000000\n"},
            {"/tmp/table",
             "-----BEGIN FILE-----\nUS\n-----END FILE-----\n-----BEGIN VERSION-----\n1\n-----END VERSION-----\n"},
            {"/proc/osbuild", "quill version 8.10\n"},
            {"/tmp/from", "content"},
            {"/tmp/signed", "-----BEGIN VERSION-----\n1\n"},
            {"/tmp/signed.gz", "no archive"},
            {"/dev/mtd0", "ffffffff"}};
        for (const auto &[file, content] : files) write_file(file, content);
        for (const char *file :
             {"/proc/ap_model", "/tmp/cfgmContId", "/tmp/mesh_role", "/tmp/installation", "/dev/mxc"})
            write_file(file, "7");
        mkdir("/mnt/usbdisk/slot0", 0755);
        mkdir("/mnt/usbdisk/slot0/0", 0755);
        write_file("/mnt/usbdisk/slot0/0/a", "");
        for (const char *const result :
             {"/tmp/out", "/tmp/switch", "/tmp/to", "/tmp/text", "/tmp/unpacked", "/flash/cfgmGlobalConfigEnable"})
            unlink(result);
        memset(bytes, 0, sizeof bytes);
    }

    // Makes each call with more and more room, until no resource is refused.
    void give_more_and_more(bool call_once_before, Outcome (*attempt)(int room, const std::function<bool()> &call)) {
        const quill::test::LogDaemon daemon;  // a child that exits does not end this daemon
        log_socket = daemon.socket();
        for (const Call &call : kCalls) {
            SCOPED_TRACE(call.name);
            prepare();
            EXPECT_TRUE(!call_once_before || call.call());
            kept_descriptors_ += call.kept;
            int descriptors = open_descriptors();
            const long live = quill::test::live_allocations();
            int room = 0;
            for (Outcome outcome = {false, true}; outcome.was_short && room < 50; room++) {
                prepare();
                outcome = attempt(room, call.call);
                EXPECT_TRUE(outcome.succeeded ? call.is_done() : outcome.was_short && call.is_undone())
                    << "with room for " << room;
                EXPECT_EQ(live, quill::test::live_allocations()) << "with room for " << room;
                if (outcome.succeeded && !call_once_before) descriptors += call.kept;
                EXPECT_EQ(descriptors, open_descriptors()) << "with room for " << room;
            }
            EXPECT_LT(room, 50) << "it never succeeds";
        }
    }
};

// Descriptors run out in the call and in the processes that it starts.
TEST_F(ResourcesRunOut, Descriptors) {
    give_more_and_more(false, [](int room, const std::function<bool()> &call) {
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
        return Outcome{succeeded, !succeeded};
    });
}

// One allocation fails, and later ones succeed. Each call is made once before, because the C library keeps some
// allocations of the first call, for example the time zone.
TEST_F(ResourcesRunOut, Memory) {
    give_more_and_more(true, [](int room, const std::function<bool()> &call) {
        const quill::test::NthAllocation failing(room + 1);
        const bool succeeded = call();
        return Outcome{succeeded, failing.reached()};
    });
}

}  // namespace

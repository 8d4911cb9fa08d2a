#include <gtest/gtest.h>
#include <quill/machine_info.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/device_test.h"

namespace {

using quill::test::read_file;
using quill::test::write_file;
using std::string;

// Replaces the tools of the device. Each tool prints its command line on standard output, and "NAME fails" on standard
// error. For files in /flash, cat is the real one.
class MachineInfo : public quill::test::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (IsSkipped()) return;
        for (const char *folder : {"/tmp/bin", "/flash/config", "/tmp/folder"}) mkdir(folder, 0755);
        for (const string tool : {"softwareVersion", "showVersion", "hwMon", "dmesg", "netstat", "ps", "df", "sysmgr",
                                  "lsof", "ls", "mysqladmin", "cat"}) {
            write_file("/tmp/bin/" + tool,
                       "#!/bin/sh\n"
                       "case $0$1 in */cat/flash/*) exec /bin/cat \"$@\" ;; esac\n"
                       "echo \"${0##*/} $*\"; echo \"${0##*/} fails\" >&2; exit 1\n");
            chmod(("/tmp/bin/" + tool).c_str(), 0755);
        }
        setenv("PATH", (string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
        ASSERT_EQ(chdir("/tmp/folder"), 0);
    }
};

string ran(const string &command) { return command + "\n" + command.substr(0, command.find(' ')) + " fails\n"; }

string dump(const string &config, const string &boc) {
    string all;
    for (const char *command :
         {"softwareVersion 1", "showVersion 1", "hwMon -i", "cat /proc/meminfo", "cat /proc/slabinfo",
          "cat /proc/loadavg", "dmesg -s 500000", "netstat -a -n",
          "ps -awxo %cpu,state,pid,ppid,rss,vsz,flags,nice,start,nwchan,stime,time,command", "df ", "cat /proc/meminfo",
          "sysmgr -m", "lsof -n", "ls -l /tmp/.vesk", "cat /proc/ksyms"})
        all += ran(command);
    return all + config + boc + "mysqladmin processlist\n" + ran("mysqladmin processlist");
}

TEST_F(MachineInfo, TheSectionsInTheirOrder) {
    string expected;
    const auto expect_dump = [&](const string &config, const string &boc) {
        EXPECT_EQ(saveMachineInfo("/tmp/dump"), 1);
        expected += dump(config, boc);  // repeated dumps are appended
        EXPECT_EQ(read_file("/tmp/dump"), expected);
    };
    write_file("/flash/config/.config", "");
    write_file("/flash/config/.boc_config.1", "");  // not listed while .boc_config.list is missing
    expect_dump("", "");
    write_file("/flash/config/.config", "/flash/config/running");
    write_file("/flash/config/running", "vlan 20\n");
    write_file("/flash/config/.boc_config.list", "");
    expect_dump("vlan 20\n", "ls -lrt /flash/config/.boc_config.*\n" +
                                 ran("ls -lrt /flash/config/.boc_config.1 /flash/config/.boc_config.list"));
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(MachineInfo, AnyPathThatFitsIsOneFile) {
    for (const string path : {"dump", "$(touch y)", "it's; touch y", "-n\xff"}) {
        EXPECT_EQ(saveMachineInfo(path.c_str()), 1);
        EXPECT_EQ(read_file("/tmp/folder/" + path), dump("", "")) << path;
        unlink(("/tmp/folder/" + path).c_str());
    }
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(rmdir("/tmp/folder"), 0) << "something else was made";
    EXPECT_EQ(saveMachineInfo(nullptr), 0);
    EXPECT_EQ(saveMachineInfo((string(167, '/') + "d").c_str()), 0);
    EXPECT_EQ(saveMachineInfo((string(166, '/') + "d").c_str()), 1);
    EXPECT_EQ(read_file("/d").substr(0, 17), "softwareVersion 1");
    // Nothing can be written, but the last command is still started.
    EXPECT_EQ(saveMachineInfo("/no-such-folder/dump"), 1);
}

}  // namespace

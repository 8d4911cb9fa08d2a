#include <gtest/gtest.h>
#include <quill/machine_info.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "support/descriptors.h"
#include "support/private_device.h"

namespace {

using quill::test::open_descriptors;
using quill::test::read_file;
using quill::test::write_file;

// The tools of the device: each says, on both of its outputs, what it was run as. cat shows files of the device for
// real.
class MachineInfo : public testing::Test {
protected:
    void SetUp() override {
        ENTER_PRIVATE_DEVICE();
        mkdir("/tmp/bin", 0755);
        for (const char *tool : {"softwareVersion", "showVersion", "hwMon", "dmesg", "netstat", "ps", "df", "sysmgr",
                                 "lsof", "ls", "mysqladmin", "cat"}) {
            const std::string file = std::string("/tmp/bin/") + tool, exec = "#!/bin/sh\n";
            write_file(file, exec +
                                 "case $0$1 in */cat/flash/*) exec /bin/cat \"$@\" ;; esac\n"
                                 "echo \"${0##*/} $*\"; echo \"${0##*/} fails\" >&2; exit 1\n");
            chmod(file.c_str(), 0755);
        }
        path_ = getenv("PATH");
        setenv("PATH", ("/tmp/bin:" + path_).c_str(), 1);
        mkdir("/flash/config", 0755);
        mkdir("/tmp/folder", 0755);
        ASSERT_EQ(chdir("/tmp/folder"), 0);
    }
    void TearDown() override {
        if (IsSkipped()) return;
        setenv("PATH", path_.c_str(), 1);
        ASSERT_EQ(chdir("/"), 0);
    }

private:
    std::string path_;
};

std::string ran(const std::string &tool, const std::string &arguments) {
    return tool + " " + arguments + "\n" + tool + " fails\n";
}

std::string dump(const std::string &config, const std::string &boc) {
    return ran("softwareVersion", "1") + ran("showVersion", "1") + ran("hwMon", "-i") + ran("cat", "/proc/meminfo") +
           ran("cat", "/proc/slabinfo") + ran("cat", "/proc/loadavg") + ran("dmesg", "-s 500000") +
           ran("netstat", "-a -n") +
           ran("ps", "-awxo %cpu,state,pid,ppid,rss,vsz,flags,nice,start,nwchan,stime,time,command") + ran("df", "") +
           ran("cat", "/proc/meminfo") + ran("sysmgr", "-m") + ran("lsof", "-n") + ran("ls", "-l /tmp/.vesk") +
           ran("cat", "/proc/ksyms") + config + boc + "mysqladmin processlist\n" + ran("mysqladmin", "processlist");
}

TEST_F(MachineInfo, TheSectionsInTheirOrder) {
    const std::string files = "/flash/config/.boc_config.1 /flash/config/.boc_config.list";
    const std::string boc = "ls -lrt /flash/config/.boc_config.*\n" + ran("ls", "-lrt " + files);
    const int descriptors = open_descriptors();
    std::string expected;
    const auto expect_dump = [&](const std::string &config, const std::string &boc_listing) {
        EXPECT_EQ(saveMachineInfo("/tmp/dump"), 1);
        expected += dump(config, boc_listing);  // repeated dumps are appended
        EXPECT_EQ(read_file("/tmp/dump"), expected);
    };
    expect_dump("", "");
    write_file("/flash/config/.config", "");
    write_file("/flash/config/.boc_config.1", "");  // not listed without the list
    expect_dump("", "");
    write_file("/flash/config/.config", "/flash/config/running");
    write_file("/flash/config/running", "vlan 20\n");
    write_file("/flash/config/.boc_config.list", "");
    expect_dump("vlan 20\n", boc);
    EXPECT_EQ(open_descriptors(), descriptors);
    std::cout << dump("vlan 20\n", boc);
}

TEST_F(MachineInfo, AnyPathIsOneFile) {
    for (const std::string path :
         {"dump", "a b", "x;touch y", "$(touch y)", "it's", "&1", "~", "\\", "-n", "\xff", "9"}) {
        EXPECT_EQ(saveMachineInfo(path.c_str()), 1);
        EXPECT_EQ(read_file("/tmp/folder/" + path), dump("", "")) << path;
        unlink(("/tmp/folder/" + path).c_str());
    }
    EXPECT_EQ(rmdir("/tmp/folder"), 0) << "something else was made";
}

TEST_F(MachineInfo, PathsThatAreRefused) {
    EXPECT_EQ(saveMachineInfo(nullptr), 0);
    const std::string longest(167, '/');
    EXPECT_EQ(saveMachineInfo((longest + "d").c_str()), 0);
    EXPECT_EQ(saveMachineInfo((longest.substr(1) + "d").c_str()), 1);
    EXPECT_EQ(read_file("/d").substr(0, 17), "softwareVersion 1");
    // Nothing can be written, and the last command is started nevertheless.
    EXPECT_EQ(saveMachineInfo("/no-such-folder/dump"), 1);
}

}  // namespace

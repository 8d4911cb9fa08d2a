#include <gtest/gtest.h>
#include <quill/identity.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "support/device_test.h"
#include "support/private_device.h"

namespace {

using quill::test::write_file;
using std::string;

class Identity : public quill::test::DeviceAndProcTest {};

template <typename Call>
string messages(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

int installation_type() { return get_ap_installation_type("/tmp/installation"); }

// The model as a process that has not asked yet sees it.
int fresh_model() {
    ApType = 0;
    const int model = getApType();
    EXPECT_EQ(ApType, model);
    return model;
}

}  // namespace

TEST_F(Identity, NumbersOfPublishedFiles) {
    const struct {
        int (*query)();
        const char *file;
        int missing, empty, unread;  // unread: there, but no reading it
        bool one_line;
    } queries[] = {
        {fresh_model, "/proc/ap_model", 0, 0, 0, true},
        {getApFlashVariant, "/proc/fl_var", -1, -1, -1, true},
        {get_ap_booted_partition, "/proc/booted", -2, -2, -2, true},
        {get_mesh_role, "/tmp/mesh_role", 0, 0, 0, false},
        {installation_type, "/tmp/installation", -1, 0, 0, false},
    };
    const struct {
        string content;
        int in_line, in_file;
    } contents[] = {
        {"42\n", 42, 42},
        {"17", 17, 17},
        {" \t-3 of 4", -3, -3},
        {"+5x", 5, 5},
        {"x", 0, 0},
        {"\n", 0, 0},
        {"- 1", 0, 0},
        {"\n\n 7\n", 0, 7},               // the first line has none
        {string(30, ' ') + "89", 8, 89},  // a line is 31 characters
        {string(200, '\n') + "6", 0, 6},
        {string(300, ' ') + "6", 0, 0},  // not looked for without end
        {"2147483647", INT32_MAX, INT32_MAX},
        {"-2147483648", INT32_MIN, INT32_MIN},
        {"99999999999999999999999999", INT32_MAX, INT32_MAX},
        {"-99999999999999999999999999", INT32_MIN, INT32_MIN},
        {string("4\0002", 3), 4, 4},
    };
    for (const auto &q : queries) {
        EXPECT_EQ(q.query(), q.missing) << q.file;
        write_file(q.file, "");
        EXPECT_EQ(q.query(), q.empty) << q.file;
        for (const auto &c : contents) {
            write_file(q.file, c.content);
            EXPECT_EQ(q.query(), q.one_line ? c.in_line : c.in_file) << q.file << ": " << c.content;
        }
        unlink(q.file);
        ASSERT_EQ(mkdir(q.file, 0755), 0);
        EXPECT_EQ(q.query(), q.unread) << q.file;
    }
    EXPECT_EQ(get_ap_installation_type(nullptr), 0);
}

TEST_F(Identity, ModelIsReadOnce) {
    EXPECT_EQ(ApType, 0);
    EXPECT_EQ(getApType(), 0);
    write_file("/proc/ap_model", "0\n");
    EXPECT_EQ(getApType(), 0);
    write_file("/proc/ap_model", "42\n");
    EXPECT_EQ(getApType(), 42);
    write_file("/proc/ap_model", "43\n");
    EXPECT_EQ(getApType(), 42);
    EXPECT_EQ(ApType, 42);
    for (const uint32_t model : {0u, 16u, 17u, 18u, 19u, 0x80000011u}) {
        EXPECT_EQ(isHalvoraAp(model), model == 17 || model == 18) << model;
    }
}

TEST_F(Identity, MeshIsAnyRoleButNone) {
    EXPECT_EQ(is_mesh_ap(), 0);
    for (const auto &[content, mesh] : {std::pair{"0", 0}, {"1", 1}, {"2", 1}, {"-1", 1}, {"", 0}, {"mesh", 0}}) {
        write_file("/tmp/mesh_role", content);
        EXPECT_EQ(is_mesh_ap(), mesh) << content;
    }
}

TEST_F(Identity, Uptime) {
    EXPECT_EQ(messages([] { EXPECT_EQ(getSysUptime(), -1); }), "fopen: No such file or directory\n");
    EXPECT_EQ(getSysUptime_d(), -1.0);
    write_file("/proc/uptime", "12345.67 54321.00\n");
    EXPECT_EQ(messages([] { EXPECT_EQ(getSysUptime(), 12345); }), "");
    EXPECT_EQ(getSysUptime_d(), -1.0) << "shorter than what it wants";
    write_file("/proc/uptime", "");
    EXPECT_EQ(getSysUptime(), 0);
    write_file("/proc/uptime", "12345.5 " + string(247, 'x'));
    EXPECT_EQ(getSysUptime_d(), -1.0);
    write_file("/proc/uptime", "12345.5 " + string(248, 'x'));
    EXPECT_EQ(getSysUptime_d(), 12345.5);
    write_file("/proc/uptime", "6.25 " + string(4000, 'x'));
    EXPECT_EQ(getSysUptime(), 6);
    EXPECT_EQ(getSysUptime_d(), 6.25);
    write_file("/proc/uptime", string(300, '1'));
    EXPECT_EQ(getSysUptime(), INT32_MAX);

    unlink("/proc/uptime");
    ASSERT_EQ(symlink("/proc/self/mem", "/proc/uptime"), 0);  // opens, and cannot be read at its start
    EXPECT_EQ(messages([] { EXPECT_EQ(getSysUptime(), -1); }), std::string("fread: ") + strerror(EIO) + "\n");
    EXPECT_EQ(getSysUptime_d(), -1.0);
    unlink("/proc/uptime");
    ASSERT_EQ(mkdir("/proc/uptime", 0755), 0);
    EXPECT_EQ(messages([] { EXPECT_EQ(getSysUptime(), -1); }), "fopen: Is a directory\n") << "opened for writing, too";
    EXPECT_EQ(getSysUptime_d(), -1.0);
}

TEST(IdentityTime, ClockIsMonthDayYear) {
    setenv("TZ", "XYZ-5:30", 1);
    tzset();
    char text[QUILL_RTC_TIME_SIZE], expected[QUILL_RTC_TIME_SIZE];
    time_t before, after;
    int length;
    do {
        before = time(nullptr);
        length = getRtcTime(text);
        after = time(nullptr);
    } while (before != after);
    tm now;
    localtime_r(&before, &now);
    strftime(expected, sizeof expected, "%m-%d-%Y@%H-%M-%S", &now);
    string plain = expected;
    if (plain[3] == '0') plain.erase(3, 1);
    if (plain[0] == '0') plain.erase(0, 1);
    EXPECT_EQ(text, plain);
    EXPECT_EQ(length, static_cast<int>(strlen(text)));
}

TEST(IdentityTime, BuildIsInThePast) {
    setenv("TZ", "UTC", 1);
    tzset();
    const time_t built = get_build_time(), day = 24 * 60 * 60;
    EXPECT_GT(built, time_t{1767225600}) << "2026";
    EXPECT_LT(built, time(nullptr) + day) << "built in a time zone ahead of ours at most";
    // The same reading of clocks, wherever it is asked.
    setenv("TZ", "ABC+3", 1);
    tzset();
    EXPECT_EQ(get_build_time(), built + 3 * 60 * 60);
}

TEST(IdentityRadios, VirtualAccessPointsOfBssids) {
    for (int type = 0; type < 256; type++) {
        const quill_vap vap = {static_cast<uint8_t>(type)};
        const bool mesh = type == 25 || type == 30;
        for (const uint32_t selector : {0u, 2u, 0xffffffffu}) EXPECT_EQ(get_mesh_vap_id(&vap, selector), mesh) << type;
        EXPECT_EQ(get_mesh_vap_id(&vap, 1), !mesh) << type;
    }
    const uint8_t bssid[6] = {0, 0x1a, 0x1e, 0xff, 0xff, 0x2b};
    quill_radio first = {}, second = {};
    first.vap_count = 16;
    EXPECT_EQ(bssid_to_wifi_vap(&first, bssid), 11);
    first.vap_count = 1;
    EXPECT_EQ(bssid_to_wifi_vap(&first, bssid), 0);
    second.bssid_mask = 0xf0;
    second.bssid_base = 0x20;
    EXPECT_EQ(bssid_to_wifi_dev(&first, &second, bssid), 0);
    second.bssid_base = 0x30;
    EXPECT_EQ(bssid_to_wifi_dev(&first, &second, bssid), 1);
    first.mode = 1;
    EXPECT_EQ(bssid_to_wifi_dev(&first, &second, bssid), 0);
    first.mode = 2;
    EXPECT_EQ(bssid_to_wifi_dev(&first, &second, bssid), 1);
}

TEST(IdentityPlatform, WhatItDoesNotHave) {
    char buffer[8] = "version";
    EXPECT_EQ(getSwVersion(buffer), 0);
    EXPECT_EQ(string(buffer, 8), string("\0\0\0\0\0on\0", 8));
    EXPECT_EQ(getEnv("bootargs", buffer), -1);
    EXPECT_EQ(forceGetEnv("bootargs", buffer), -1);
    EXPECT_EQ(string(buffer + 5), "on");
    EXPECT_EQ(dpi_is_enabled(), 0);
    EXPECT_EQ(isinitdifn, 0);
    EXPECT_EQ(gettid(), getpid());
    pid_t other = 0;
    std::thread([&] { other = gettid(); }).join();
    EXPECT_NE(other, 0);
    EXPECT_NE(other, getpid());
}

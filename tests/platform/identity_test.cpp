#include <gtest/gtest.h>
#include <quill/identity.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "support/case_file.h"
#include "support/device_test.h"

namespace {

using std::string;

class Identity : public quill::test::DeviceAndProcTest {};

// Writes the content of a file. Null removes the file, and "/" makes a folder in its place.
void put(const char *file, const char *content, size_t size = 0) {
    std::filesystem::remove(file);
    if (content && *content == '/') mkdir(file, 0755);
    if (!content || *content == '/') return;
    string filled = content;
    filled.resize(std::max(filled.size(), size), 'x');
    quill::test::write_file(file, filled);
}

string numbers(const char *content) {
    for (const char *file : {"/proc/ap_model", "/proc/fl_var", "/proc/booted", "/tmp/mesh_role", "/tmp/installation"})
        put(file, content);
    ApType = 0;  // as in a process before its first call
    string shown = std::to_string(getApType());
    for (const int number : {getApFlashVariant(), get_ap_booted_partition(), get_mesh_role(),
                             get_ap_installation_type("/tmp/installation")})
        shown += " " + std::to_string(number);
    return shown;
}

// Returns the model. A process reads the model only once.
int model(const char *content) {
    put("/proc/ap_model", content);
    EXPECT_EQ(getApType(), ApType);
    return ApType;
}

string uptime(const char *content, size_t size) {
    put("/proc/uptime", content, size);
    char both[64];
    testing::internal::CaptureStderr();
    snprintf(both, sizeof both, "%d %g", getSysUptime(), getSysUptime_d());
    return testing::internal::GetCapturedStderr() + both;
}

int mesh_vap(uint8_t type, uint32_t selector) {
    const quill_vap vap = {type};
    return get_mesh_vap_id(&vap, selector);
}

int wifi_vap(uint32_t count, uint8_t last_byte) {
    const uint8_t bssid[6] = {0, 0x1a, 0x1e, 0xff, 0xff, last_byte};
    quill_radio radio = {};
    radio.vap_count = count;
    return bssid_to_wifi_vap(&radio, bssid);
}

int wifi_dev(int mode, uint8_t mask, uint8_t base, uint8_t last_byte) {
    const uint8_t bssid[6] = {0, 0x1a, 0x1e, 0xff, 0xff, last_byte};
    quill_radio first = {}, second = {};
    first.mode = static_cast<decltype(first.mode)>(mode);
    second.bssid_mask = mask;
    second.bssid_base = base;
    return bssid_to_wifi_dev(&first, &second, bssid);
}

TEST_F(Identity, Cases) {
    EXPECT_EQ(get_ap_installation_type(nullptr), 0);
    quill::test::expect_cases("platform/identity.cases",
                              QUILL_CASE_FUNCTIONS(dpi_is_enabled, forceGetEnv, getEnv, is_mesh_ap, isHalvoraAp,
                                                   mesh_vap, model, numbers, uptime, wifi_dev, wifi_vap));
    put("/proc/uptime", nullptr);
    ASSERT_EQ(symlink("/proc/self/mem", "/proc/uptime"), 0);  // opens, and cannot be read at its start
    testing::internal::CaptureStderr();
    EXPECT_TRUE(getSysUptime() == -1 && getSysUptime_d() == -1.0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), string("fread: ") + strerror(EIO) + "\n");
}

TEST(IdentityTime, ClockIsMonthDayYear) {
    setenv("TZ", "XYZ-5:30", 1);
    tzset();
    char text[QUILL_RTC_TIME_SIZE], expected[2 * QUILL_RTC_TIME_SIZE];
    time_t before;
    int length;
    do {
        before = time(nullptr);
        length = getRtcTime(text);
    } while (before != time(nullptr));
    const tm now = *localtime(&before);
    snprintf(expected, sizeof expected, "%d-%d-%d@%02d-%02d-%02d", now.tm_mon + 1, now.tm_mday, now.tm_year + 1900,
             now.tm_hour, now.tm_min, now.tm_sec);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(length, static_cast<int>(strlen(text)));
}

TEST(IdentityTime, BuildIsInThePast) {
    setenv("TZ", "UTC", 1);
    tzset();
    const time_t built = get_build_time(), day = 24 * 60 * 60;
    EXPECT_GT(built, time_t{1767225600}) << "2026";
    EXPECT_LT(built, time(nullptr) + day) << "built in a time zone ahead of ours at most";
    // The date and time of the build are read as local time of the process.
    setenv("TZ", "ABC+3", 1);
    tzset();
    EXPECT_EQ(get_build_time(), built + 3 * 60 * 60);
}

TEST(IdentityPlatform, WhatItDoesNotHave) {
    char buffer[8] = "version";
    EXPECT_EQ(getSwVersion(buffer), 0);
    EXPECT_EQ(string(buffer, 8), string("\0\0\0\0\0on\0", 8));
    EXPECT_TRUE(isinitdifn == 0 && gettid() == getpid());
    pid_t other = 0;
    std::thread([&] { other = gettid(); }).join();
    EXPECT_TRUE(other != 0 && other != getpid());
}

}  // namespace

#include <quill/identity.h>

#include <quill/types.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <string_view>

#include "base/cancellation.h"
#include "base/decimal.h"
#include "base/descriptor.h"
#include "base/fixed_file.h"
#include "base/paths.h"
#include "base/text_file.h"

using quill::FileNumber;
using quill::Overflow;
namespace paths = quill::paths;

// The cached model. Threads may set it at the same time, to the same number.
constinit int ApType = 0;
constinit int isinitdifn = 0;

namespace {

constexpr size_t kLine = 32;     // a line of a published file, with its NUL
constexpr size_t kUptime = 256;  // what is read of the uptime

// Returns the number at the start of the file's first line; `other` if there is no line.
int number_of_line(const char *path, int other) {
    char line[kLine];
    if (quill::read_start(path, line) <= 0) return other;
    line[strcspn(line, "\n")] = '\0';
    return quill::int_of<Overflow::kClamps>(line);
}

int number_of_file(const quill::Descriptor &file, int without_file, int without_number) {
    int number;
    switch (quill::read_number(file, &number)) {
        case FileNumber::kNoFile: return without_file;
        case FileNumber::kNoNumber: return without_number;
        case FileNumber::kRead: break;
    }
    return number;
}

uint8_t last_byte(const uint8_t *bssid) { return bssid[5]; }

// --- the moment of the build, from the compiler's texts: "Oct 23 2023" and "01:22:56"

constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

constexpr int month_index(std::string_view name) {
    const auto *const found = std::find(std::begin(kMonths), std::end(kMonths), name);
    return found == std::end(kMonths) ? 0 : static_cast<int>(found - std::begin(kMonths));
}

// Reads a number whose first digit may be a blank.
constexpr int number_at(const char *text, size_t at) {
    const char *from = text + at;
    if (*from == ' ') from++;
    return static_cast<int>(quill::read_digits<Overflow::kWraps>(from));
}

constexpr tm broken_down(const char *date, const char *time) {
    tm moment = {};
    moment.tm_mon = month_index({date, 3});
    moment.tm_mday = number_at(date, 4);
    moment.tm_year = number_at(date, 7) - 1900;
    moment.tm_hour = number_at(time, 0);
    moment.tm_min = number_at(time, 3);
    moment.tm_sec = number_at(time, 6);
    return moment;
}

constexpr tm kBuild = broken_down(__DATE__, __TIME__);
static_assert(broken_down("Oct  3 2023", "01:22:56").tm_mday == 3 && month_index("Oct") == 9 &&
              month_index("???") == 0);

}  // namespace

// --- the model

int getApType() {
    const std::atomic_ref cached(ApType);
    int model = cached;
    if (model != 0) return model;
    model = number_of_line(paths::kApModel, 0);
    // A failure is not stored: another thread may have read the model successfully.
    if (model != 0) cached = model;
    return model;
}

int isHalvoraAp(uint32_t model) { return model == 17 || model == 18; }

int getApFlashVariant() { return number_of_line(paths::kFlashVariant, -1); }

int get_ap_booted_partition() { return number_of_line(paths::kBootedPartition, -2); }

int get_ap_installation_type(const char *path) {
    if (!path) return 0;
    const quill::NoCancellation no_cancellation;
    return number_of_file(quill::Descriptor(open(path, O_RDONLY | O_CLOEXEC)), -1, 0);
}

// --- mesh

int get_mesh_role() {
    const quill::NoCancellation no_cancellation;
    return number_of_file(quill::open_fixed(paths::kMeshRole, O_RDONLY), 0, 0);
}

int is_mesh_ap() { return get_mesh_role() != 0; }

// --- radios

int get_mesh_vap_id(const quill_vap *vap, uint32_t selector) {
    const bool mesh = vap->type == 25 || vap->type == 30;
    return mesh != (selector == 1);
}

int bssid_to_wifi_vap(const quill_radio *radio, const uint8_t *bssid) {
    return static_cast<int>(last_byte(bssid) & (radio->vap_count - 1));
}

int bssid_to_wifi_dev(const quill_radio *first, const quill_radio *second, const uint8_t *bssid) {
    if (first->mode == 1) return 0;
    return (last_byte(bssid) & second->bssid_mask) != second->bssid_base;
}

// --- time

int getRtcTime(char *buf) {
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    return snprintf(buf, QUILL_RTC_TIME_SIZE, "%d-%d-%d@%02d-%02d-%02d", local.tm_mon + 1, local.tm_mday,
                    local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec);
}

int getSysUptime() {
    const quill::NoCancellation no_cancellation;
    const quill::Descriptor file(open(paths::kUptime, O_RDWR | O_CLOEXEC));
    if (!file) {
        perror("fopen");
        return -1;
    }
    char text[kUptime + 1];
    if (quill::read_start(file.get(), text) < 0) {
        perror("fread");
        return -1;
    }
    return quill::int_of<Overflow::kClamps>(text);
}

double getSysUptime_d() {
    char text[kUptime + 1];
    // Only a full buffer counts, so a file of the usual length gives -1. Compatibility: programs expect -1.
    if (quill::read_start(paths::kUptime, text) < static_cast<ssize_t>(kUptime)) return -1.0;
    return atof(text);
}

time_t get_build_time() {
    tm moment = kBuild;
    return mktime(&moment);
}

// --- functions for features that this platform lacks

int getSwVersion(char *buf) {
    memset(buf, 0, 5);
    return 0;
}

int forceGetEnv(const char *, char *) { return -1; }

int getEnv(const char *name, char *buf) { return forceGetEnv(name, buf); }

int dpi_is_enabled() {
    char arguments[1024] = "";
    return forceGetEnv("bootargs", arguments) != -1 && strstr(arguments, "dpi_enabled") != nullptr;
}

// --- threads

pid_t gettid() QUILL_THROWS_NOTHING { return static_cast<pid_t>(syscall(SYS_gettid)); }

// quill info.
#include <quill/ap_version.h>
#include <quill/identity.h>
#include <quill/storage.h>
#include <stdio.h>
#include <string.h>
#include <sys/statfs.h>
#include <time.h>
#include <unistd.h>

#include "command.h"
#include "report.h"

namespace quill::cli {

constexpr char kInfoHelp[] =
    "usage: quill info [--json]\n"
    "\n"
    "Shows what this device is and has. Values that cannot be determined are shown as\n"
    "unknown, and as null in JSON. Sizes on a file system of 4 GiB and more are also\n"
    "unknown, because the library returns them only modulo 4 GiB.\n"
    "\n"
    "  --json  print a JSON object\n"
    "\n"
    "example: quill info --json | jq .system.version\n";

namespace {

void number(Report &report, const Name &name, bool is_known, int64_t value, const char *unit = "") {
    char shown[40];
    snprintf(shown, sizeof shown, "%lld%s", static_cast<long long>(value), unit);
    if (is_known)
        report.number(name, value, shown);
    else
        report.unknown(name);
}

void text(Report &report, const Name &name, const char *value) {
    if (value)
        report.text(name, value);
    else
        report.unknown(name);
}

void report_device(Report &report) {
    const int model = getApType(), variant = getApFlashVariant(), partition = get_ap_booted_partition();
    report.begin_object("device", "Device");
    number(report, "model", model != 0, model);
    report.boolean({"partner_branded", "partner-branded"}, isHalvoraAp(static_cast<uint32_t>(model)) != 0);
    number(report, {"flash_variant", "flash variant"}, variant >= 0, variant);
    number(report, {"booted_partition", "booted partition"}, partition >= 0, partition);
    number(report, {"mesh_role", "mesh role"}, true, get_mesh_role());
    report.boolean("mesh", is_mesh_ap() != 0);
    report.end_object();
}

void report_system(Report &report) {
    char now[QUILL_RTC_TIME_SIZE], built[32];
    getRtcTime(now);
    const time_t when = get_build_time();
    struct tm local;
    const bool known = localtime_r(&when, &local) && strftime(built, sizeof built, "%Y-%m-%d %H:%M:%S", &local) > 0;
    const char *version = get_os_version();
    // getSysUptime() also opens the file for writing. For users who may not do that, it would print an error on
    // standard error.
    const int uptime = access("/proc/uptime", R_OK | W_OK) == 0 ? getSysUptime() : -1;
    report.begin_object("system", "System");
    text(report, "version", strcmp(version, "Unknown") == 0 ? nullptr : version);
    text(report, {"library_built", "library built"}, known ? built : nullptr);
    text(report, "clock", now);
    number(report, {"uptime_seconds", "uptime"}, uptime >= 0, uptime, " s");
    report.end_object();
}

void report_memory(Report &report) {
    int64_t total = 0, usable = 0, cached = 0;
    const bool known = get_free_mem_cached(&total, &usable, &cached) == 0;
    report.begin_object("memory", "Memory");
    number(report, {"total_bytes", "total"}, known, total, " bytes");
    number(report, {"usable_bytes", "usable"}, known, usable, " bytes");
    number(report, {"cached_bytes", "cached"}, known, cached, " bytes");
    report.end_object();
}

bool is_beyond_32_bits(const char *path) {
    struct statfs found;
    return statfs(path, &found) == 0 && uint64_t{found.f_blocks} * static_cast<uint64_t>(found.f_bsize) > UINT32_MAX;
}

void report_storage(Report &report) {
    const auto megabytes = [&](const Name &name, const char *path, uint32_t size) {
        number(report, name, size != UINT32_MAX && !is_beyond_32_bits(path), size, " MB");
    };
    uint32_t bytes = 0;
    const bool root_known = get_rootfs_mem(&bytes) == 0;
    const char *directory;
    const int place = get_temp_dir2(1, &directory);
    report.begin_object("storage", "Storage");
    megabytes({"flash_size_mb", "/flash size"}, "/flash", sizeFlash());
    megabytes({"flash_free_mb", "/flash free"}, "/flash", freeFlash());
    report.boolean({"flash1_present", "/flash1"}, is_flash1_present() != 0);
    megabytes({"flash1_free_mb", "/flash1 free"}, "/flash1", freeFlash1());
    megabytes({"tmp_free_mb", "/tmp free"}, "/tmp", static_cast<uint32_t>(freeDisk(0)));
    number(report, {"root_bytes", "root file system"}, root_known && !is_beyond_32_bits("/bin"), bytes, " bytes");
    report.boolean({"crash_files", "crash files"}, is_flash_crash_present() != 0);
    text(report, {"scratch_directory", "scratch directory"}, place == QUILL_TEMP_NONE ? nullptr : directory);
    report.end_object();
}

}  // namespace

int info(Arguments &arguments) {
    const bool as_json = arguments.take("--json");
    arguments.operands(0, 0);
    Report report(as_json);
    report.begin_object();
    report_device(report);
    report_system(report);
    report_memory(report);
    report_storage(report);
    report.end_object();
    return kDone;
}

}  // namespace quill::cli

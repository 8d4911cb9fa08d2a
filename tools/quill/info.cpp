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
#include "console.h"

namespace quill::cli {

constexpr char kInfoHelp[] =
    "usage: quill info [--json]\n"
    "\n"
    "Shows what this device is and has. What cannot be found out is unknown, and\n"
    "null in JSON; so is room of 4 GiB and more, of which the library tells only\n"
    "what is left of whole 4 GiB.\n"
    "\n"
    "  --json  print a JSON object\n"
    "\n"
    "example: quill info --json | jq .system.version\n";

namespace {

// Sections of rows, or objects in an object.
class Report {
public:
    explicit Report(bool as_json) : as_json_(as_json) {
        if (as_json_) json_.begin('{');
    }
    void section(const char *title, const char *key) {
        if (as_json_) {
            if (open_) json_.end('}');
            json_.begin('{', key);
        } else {
            printf("%s%s%s%s\n", open_ ? "\n" : "", bold(), title, plain());
        }
        open_ = true;
    }
    void number(const char *name, const char *key, bool known, int64_t value, const char *unit = "") {
        if (as_json_)
            known ? json_.number(key, value) : json_.null(key);
        else if (known)
            printf("  %-18s %lld%s\n", name, static_cast<long long>(value), unit);
        else
            printf("  %-18s unknown\n", name);
    }
    void text(const char *name, const char *key, const char *value) {
        if (as_json_) {
            value ? json_.text(key, value) : json_.null(key);
            return;
        }
        printf("  %-18s ", name);
        print_escaped(value ? value : "unknown");
        putchar('\n');
    }
    void yes(const char *name, const char *key, bool value) {
        if (as_json_)
            json_.boolean(key, value);
        else
            printf("  %-18s %s\n", name, value ? "yes" : "no");
    }
    void finish() {
        if (!as_json_) return;
        json_.end('}');
        json_.end('}');
        json_.finish();
    }

private:
    bool as_json_, open_ = false;
    Json json_;
};

void report_device(Report &report) {
    const int model = getApType(), variant = getApFlashVariant(), partition = get_ap_booted_partition();
    report.section("Device", "device");
    report.number("model", "model", model != 0, model);
    report.yes("partner-branded", "partner_branded", isHalvoraAp(static_cast<uint32_t>(model)) != 0);
    report.number("flash variant", "flash_variant", variant >= 0, variant);
    report.number("booted partition", "booted_partition", partition >= 0, partition);
    report.number("mesh role", "mesh_role", true, get_mesh_role());
    report.yes("mesh", "mesh", is_mesh_ap() != 0);
}

void report_system(Report &report) {
    char now[QUILL_RTC_TIME_SIZE], built[32];
    getRtcTime(now);
    const time_t when = get_build_time();
    struct tm local;
    const bool known = localtime_r(&when, &local) && strftime(built, sizeof built, "%Y-%m-%d %H:%M:%S", &local) > 0;
    const char *version = get_os_version();
    // It is opened for writing too; who may not would be told so on standard error.
    const int uptime = access("/proc/uptime", R_OK | W_OK) == 0 ? getSysUptime() : -1;
    report.section("System", "system");
    report.text("version", "version", strcmp(version, "Unknown") == 0 ? nullptr : version);
    report.text("library built", "library_built", known ? built : nullptr);
    report.text("clock", "clock", now);
    report.number("uptime", "uptime_seconds", uptime >= 0, uptime, " s");
}

void report_memory(Report &report) {
    int64_t total = 0, usable = 0, cached = 0;
    const bool known = get_free_mem_cached(&total, &usable, &cached) == 0;
    report.section("Memory", "memory");
    report.number("total", "total_bytes", known, total, " bytes");
    report.number("usable", "usable_bytes", known, usable, " bytes");
    report.number("cached", "cached_bytes", known, cached, " bytes");
}

bool is_beyond_32_bits(const char *path) {
    struct statfs found;
    return statfs(path, &found) == 0 && uint64_t{found.f_blocks} * static_cast<uint64_t>(found.f_bsize) > UINT32_MAX;
}

void report_storage(Report &report) {
    const auto megabytes = [&](const char *name, const char *key, const char *path, uint32_t size) {
        report.number(name, key, size != UINT32_MAX && !is_beyond_32_bits(path), size, " MB");
    };
    uint32_t bytes = 0;
    const bool root_known = get_rootfs_mem(&bytes) == 0;
    const char *directory;
    const int place = get_temp_dir2(1, &directory);
    report.section("Storage", "storage");
    megabytes("/flash size", "flash_size_mb", "/flash", sizeFlash());
    megabytes("/flash free", "flash_free_mb", "/flash", freeFlash());
    report.yes("/flash1", "flash1_present", is_flash1_present() != 0);
    megabytes("/flash1 free", "flash1_free_mb", "/flash1", freeFlash1());
    megabytes("/tmp free", "tmp_free_mb", "/tmp", static_cast<uint32_t>(freeDisk(0)));
    report.number("root file system", "root_bytes", root_known && !is_beyond_32_bits("/bin"), bytes, " bytes");
    report.yes("crash files", "crash_files", is_flash_crash_present() != 0);
    report.text("scratch directory", "scratch_directory", place == QUILL_TEMP_NONE ? nullptr : directory);
}

}  // namespace

int info(Arguments &arguments) {
    const bool json = arguments.take("--json");
    arguments.operands(0, 0);
    Report report(json);
    report_device(report);
    report_system(report);
    report_memory(report);
    report_storage(report);
    report.finish();
    return kDone;
}

}  // namespace quill::cli

// quill flash-history. The command reads the file itself, because the library's function would create a missing file.
#include <errno.h>
#include <fcntl.h>
#include <quill/flash.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <span>
#include <string_view>

#include "command.h"
#include "report.h"

namespace quill::cli {

constexpr char kFlashHistoryHelp[] =
    "usage: quill flash-history [--follow] [--json] [FILE]\n"
    "\n"
    "Shows the transfers to and from the flash, newest last: time since boot,\n"
    "operation, offset, length, duration, process and parent process. The default\n"
    "FILE is /tmp/flashophist.\n"
    "\n"
    "  --follow  also show each new transfer, until interrupted\n"
    "  --json    print an array of JSON objects; with --follow one object a line\n"
    "\n"
    "example: quill flash-history --json | jq '.[] | select(.operation == \"write\")'\n";

namespace {

constexpr char kHistory[] = "/tmp/flashophist";
constexpr uint32_t kRecords = QUILL_FLASH_HISTORY_RECORDS;
constexpr useconds_t kPoll = 200'000;

using Record = quill_flash_record;

uint32_t number(const uint8_t (&big_endian)[4]) {
    const uint8_t *const b = big_endian;
    return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
}

std::string_view text(const char (&label)[32]) { return {label, strnlen(label, sizeof label)}; }

// A history as it was at one moment.
struct Snapshot : quill_flash_history {
    // Returns the place of the next record. Once all records are in use, this is the place of the oldest one.
    uint32_t next_record() const { return number(next) < kRecords ? number(next) : 0; }
    bool is_used(uint32_t record) const { return *records[record].process != '\0'; }
    // The parent is written last.
    bool is_whole(uint32_t record) const { return *records[record].parent != '\0'; }
    bool same(const Snapshot &other, uint32_t record) const {
        return memcmp(&records[record], &other.records[record], sizeof(Record)) == 0;
    }
};

class History {
public:
    explicit History(const char *path) : path_(path) { open_file(); }
    History(const History &) = delete;
    ~History() { close(fd_); }

    // Reads the current content of the file. A file that was just created is empty, or has only zeros.
    void read(Snapshot &out) const {
        out = {};
        const ssize_t got = pread(fd_, &out, sizeof out, 0);
        if (got < 0) fail("cannot read %s: %s", path_, strerror(errno));
        const uint32_t capacity = number(out.capacity);
        if (got == 0 || capacity == 0) {
            out = {};
            return;
        }
        if (static_cast<size_t>(got) < sizeof out) fail("%s: expected %zu bytes, found %zd", path_, sizeof out, got);
        if (capacity != kRecords) fail("%s: offset 0: expected a capacity of %u, found %u", path_, kRecords, capacity);
    }
    // Returns whether another file has replaced this one. The new file is then open.
    bool was_replaced() {
        struct stat ours, now;
        if (fstat(fd_, &ours) != 0 || stat(path_, &now) != 0) return false;
        if (ours.st_ino == now.st_ino && ours.st_dev == now.st_dev) return false;
        close(fd_);
        open_file();
        return true;
    }

private:
    void open_file() {
        // Another user may have put a pipe, or a link to a device, in the history's own place.
        const int never_elsewhere = strcmp(path_, kHistory) == 0 ? O_NOFOLLOW : 0;
        fd_ = open(path_, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | never_elsewhere);
        if (fd_ < 0) fail("cannot open %s: %s", path_, strerror(errno));
    }

    const char *path_;
    int fd_ = -1;
};

const char *operation_of(const Record &record) {
    switch (number(record.operation)) {
        case 0: return "write";
        case 1: return "read";
        default: return "unknown";
    }
}

constexpr Column kColumns[] = {{"when", 12}, {"what", -7},     {"offset", -10}, {"length", 10},
                               {"took", 10}, {"process", -22}, {"parent", 0}};

void show(const Record &r, Report &report) {
    const uint32_t seconds = number(r.when), offset = number(r.offset), took = number(r.milliseconds);
    char when[24], place[12], duration[16];
    snprintf(when, sizeof when, "%u:%02u:%02u", seconds / 3600, seconds / 60 % 60, seconds % 60);
    snprintf(place, sizeof place, "0x%08x", offset);
    snprintf(duration, sizeof duration, "%u ms", took);
    report.begin_row();
    report.number("seconds", seconds, when);
    report.text("operation", operation_of(r));
    report.number("offset", offset, place);
    report.number("length", number(r.length));
    report.number("milliseconds", took, duration);
    report.text("process", text(r.process));  // the name may have any characters
    report.text("parent", text(r.parent));
    report.end_row();
}

void show_all(const Snapshot &history, Report &report) {
    const bool has_gone_round = history.is_used(kRecords - 1);
    const uint32_t next = history.next_record();
    const uint32_t oldest = has_gone_round ? next : 0, count = has_gone_round ? kRecords : next;
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t record = (oldest + i) % kRecords;
        if (history.is_used(record)) show(history.records[record], report);
    }
}

// Shows the records that are written from now on. The library advances to the next record before it fills one in. So a
// record is shown once it is complete and has not changed between two reads. A record whose writer has died is left
// out.
class Follower {
public:
    explicit Follower(const Snapshot &history) : shown_(history), before_(history), seen_(history.next_record()) {}

    void forget() {
        shown_ = {};
        seen_ = 0;
    }
    void look(const Snapshot &now, Report &report) {
        uint32_t pending = (now.next_record() + kRecords - seen_) % kRecords;
        const uint32_t last = (seen_ + kRecords - 1) % kRecords;
        if (pending == 0 && !now.same(shown_, last)) pending = kRecords;  // all records are new since the last read
        uint32_t ready = pending;
        while (ready > 0 && !is_ready(now, (seen_ + ready - 1) % kRecords)) ready--;
        for (; ready > 0; ready--, seen_ = (seen_ + 1) % kRecords) {
            if (!is_ready(now, seen_)) continue;
            show(now.records[seen_], report);
            shown_.records[seen_] = now.records[seen_];
        }
        before_ = now;
    }

private:
    bool is_ready(const Snapshot &now, uint32_t record) const {
        return now.is_whole(record) && now.same(before_, record) && !now.same(shown_, record);
    }
    Snapshot shown_, before_;
    uint32_t seen_;
};

[[noreturn]] void follow(History &history, Snapshot &now, Report &report) {
    Follower follower(now);
    for (;;) {
        flush_output();
        usleep(kPoll);
        if (history.was_replaced()) follower.forget();
        history.read(now);
        follower.look(now, report);
    }
}

}  // namespace

int flash_history(Arguments &arguments) {
    const bool follows = arguments.take("--follow"), as_json = arguments.take("--json");
    const auto operands = arguments.operands(0, 1);
    History file(operands.empty() ? kHistory : operands[0]);
    Snapshot history;
    file.read(history);

    Report report(as_json);
    report.columns(kColumns);
    if (!follows) report.begin_list();  // with --follow, each record is a JSON document
    show_all(history, report);
    if (follows) follow(file, history, report);
    report.end_list();
    return kDone;
}

}  // namespace quill::cli

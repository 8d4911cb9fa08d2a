// quill flash-history. Reads the file itself: the library's function would make one where there is none.
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
#include "console.h"

namespace quill::cli {

constexpr char kFlashHistoryHelp[] =
    "usage: quill flash-history [--follow] [--json] [FILE]\n"
    "\n"
    "Shows the transfers to and from the flash, the newest last: when (since boot),\n"
    "what, where, how much, how long it took, and which process did it, started by\n"
    "which. FILE is /tmp/flashophist unless it is said.\n"
    "\n"
    "  --follow  go on with each new transfer, until interrupted\n"
    "  --json    print an array of JSON objects; with --follow one object a line\n"
    "\n"
    "example: quill flash-history --json | jq '.[] | select(.operation == \"write\")'\n";

namespace {

constexpr char kHistory[] = "/tmp/flashophist";
constexpr uint32_t kRecords = QUILL_FLASH_HISTORY_RECORDS;
constexpr useconds_t kPoll = 200'000;
constexpr size_t kWhoWidth = 22;

struct Record {
    uint32_t when, offset, is_read, length, took;
    std::string_view who, parent;
};

constexpr size_t kWho = 20, kParent = 52, kLabel = 32;  // in a record

// A history as it was at one moment.
struct Snapshot {
    uint8_t bytes[QUILL_FLASH_HISTORY_SIZE];

    uint32_t word(size_t at) const {
        return static_cast<uint32_t>(bytes[at] << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3]);
    }
    // Where the next record will stand, which is where the oldest one is once all are in use.
    uint32_t next() const { return word(4) < kRecords ? word(4) : 0; }
    static size_t start_of(uint32_t record) { return 8 + size_t{record} * QUILL_FLASH_HISTORY_RECORD_SIZE; }
    bool is_used(uint32_t record) const { return bytes[start_of(record) + kWho] != 0; }
    // The parent is written last.
    bool is_whole(uint32_t record) const { return bytes[start_of(record) + kParent] != 0; }
    bool same(const Snapshot &other, uint32_t record) const {
        const size_t at = start_of(record);
        return memcmp(bytes + at, other.bytes + at, QUILL_FLASH_HISTORY_RECORD_SIZE) == 0;
    }
    std::string_view label(size_t at) const {
        const char *text = reinterpret_cast<const char *>(bytes + at);
        return {text, strnlen(text, kLabel)};
    }
    Record record(uint32_t number) const {
        const size_t at = start_of(number);
        return {word(at),      word(at + 4),     word(at + 8),       word(at + 12),
                word(at + 16), label(at + kWho), label(at + kParent)};
    }
};

class History {
public:
    explicit History(const char *path) : path_(path) { open_file(); }
    History(const History &) = delete;
    ~History() { close(fd_); }

    // As the file is now. A file that was just made is empty, or zeros.
    void read(Snapshot &out) const {
        memset(out.bytes, 0, sizeof out.bytes);
        const ssize_t got = pread(fd_, out.bytes, sizeof out.bytes, 0);
        if (got < 0) fail("cannot read %s: %s", path_, strerror(errno));
        if (got == 0 || out.word(0) == 0) return memset(out.bytes, 0, sizeof out.bytes), void();
        if (static_cast<size_t>(got) < sizeof out.bytes)
            fail("%s: expected %zu bytes, found %zd", path_, sizeof out.bytes, got);
        if (out.word(0) != kRecords)
            fail("%s: offset 0: expected a capacity of %u, found %u", path_, kRecords, out.word(0));
    }
    // Whether another file has taken its place, which is then open.
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
    return record.is_read == 1 ? "read" : record.is_read == 0 ? "write" : "unknown";
}

void print_row(const Record &r) {
    char when[24];
    snprintf(when, sizeof when, "%u:%02u:%02u", r.when / 3600, r.when / 60 % 60, r.when % 60);
    printf("%12s  %-7s  0x%08x  %10u  %7u ms  ", when, operation_of(r), r.offset, r.length, r.took);
    print_escaped(r.who);  // a process may be called anything
    printf("%*s", r.who.size() < kWhoWidth ? static_cast<int>(kWhoWidth - r.who.size()) : 0, "");
    fputs("  ", stdout);
    print_escaped(r.parent);
    putchar('\n');
}

void print_json(const Record &r, Json &json) {
    json.begin('{');
    json.number("seconds", uint64_t{r.when});
    json.text("operation", operation_of(r));
    json.number("offset", uint64_t{r.offset});
    json.number("length", uint64_t{r.length});
    json.number("milliseconds", uint64_t{r.took});
    json.text("process", r.who);
    json.text("parent", r.parent);
    json.end('}');
}

template <typename Show>
void show_all(const Snapshot &history, Show show) {
    const bool has_gone_round = history.is_used(kRecords - 1);
    const uint32_t oldest = has_gone_round ? history.next() : 0, count = has_gone_round ? kRecords : history.next();
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t record = (oldest + i) % kRecords;
        if (history.is_used(record)) show(history.record(record));
    }
}

// Shows what is written from now on. The library moves on to the next record before it fills one in, so a record counts
// once it is whole and did not change between two looks. One that nobody goes on to fill in is passed over.
class Follower {
public:
    explicit Follower(const Snapshot &history) : shown_(history), before_(history), seen_(history.next()) {}

    void forget() {
        memset(&shown_, 0, sizeof shown_);
        seen_ = 0;
    }
    template <typename Show>
    void look(const Snapshot &now, Show show) {
        uint32_t pending = (now.next() + kRecords - seen_) % kRecords;
        const uint32_t last = (seen_ + kRecords - 1) % kRecords;
        if (pending == 0 && !now.same(shown_, last)) pending = kRecords;  // once round since the last look
        uint32_t ready = pending;
        while (ready > 0 && !is_ready(now, (seen_ + ready - 1) % kRecords)) ready--;
        for (; ready > 0; ready--, seen_ = (seen_ + 1) % kRecords) {
            if (!is_ready(now, seen_)) continue;
            show(now.record(seen_));
            const size_t at = Snapshot::start_of(seen_);
            memcpy(shown_.bytes + at, now.bytes + at, QUILL_FLASH_HISTORY_RECORD_SIZE);
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

template <typename Show>
[[noreturn]] void follow(History &history, Snapshot &now, Show show) {
    Follower follower(now);
    for (;;) {
        if (fflush(stdout) != 0 || ferror(stdout)) fail("cannot write what was asked for");
        usleep(kPoll);
        if (history.was_replaced()) follower.forget();
        history.read(now);
        follower.look(now, show);
    }
}

}  // namespace

int flash_history(Arguments &arguments) {
    const bool follows = arguments.take("--follow"), as_json = arguments.take("--json");
    const auto operands = arguments.operands(0, 1);
    History file(operands.empty() ? kHistory : operands[0]);
    Snapshot history;
    file.read(history);

    Json json;
    const auto show_line = [&](const Record &record) { print_json(record, json), json.finish(); };
    if (as_json && follows) {
        show_all(history, show_line);
        follow(file, history, show_line);
    }
    if (as_json) {
        json.begin('[');
        show_all(history, [&](const Record &record) { print_json(record, json); });
        json.end(']');
        json.finish();
        return kDone;
    }
    printf("%s%12s  %-7s  %-10s  %10s  %10s  %-22s  %s%s\n", bold(), "when", "what", "offset", "length", "took",
           "process", "parent", plain());
    show_all(history, print_row);
    if (follows) follow(file, history, print_row);
    return kDone;
}

}  // namespace quill::cli

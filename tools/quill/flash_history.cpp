// quill flash-history. Reads the file itself: the library's function would make one where there is none.
#include <errno.h>
#include <fcntl.h>
#include <quill/flash.h>
#include <stdio.h>
#include <string.h>
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

class History {
public:
    explicit History(const char *path) : path_(path), fd_(open(path, O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) fail("cannot open %s: %s", path, strerror(errno));
    }
    History(const History &) = delete;
    ~History() { close(fd_); }

    // As the file is now. It is written to meanwhile, so the newest record may be incomplete.
    void refresh() {
        const ssize_t got = pread(fd_, bytes_, sizeof bytes_, 0);
        if (got < 0) fail("cannot read %s: %s", path_, strerror(errno));
        if (static_cast<size_t>(got) < sizeof bytes_)
            fail("%s: expected %zu bytes, found %zd", path_, sizeof bytes_, got);
        if (word(0) != kRecords) fail("%s: offset 0: expected a capacity of %u, found %u", path_, kRecords, word(0));
    }
    // Where the next record will stand, which is where the oldest one is once all are in use.
    uint32_t next() const { return word(4) < kRecords ? word(4) : 0; }
    bool is_used(uint32_t record) const { return bytes_[start_of(record) + kWho] != 0; }
    Record record(uint32_t number) const {
        const size_t at = start_of(number);
        return {word(at),      word(at + 4),     word(at + 8),       word(at + 12),
                word(at + 16), label(at + kWho), label(at + kParent)};
    }

private:
    static constexpr size_t kWho = 20, kParent = 52, kLabel = 32;
    static size_t start_of(uint32_t record) { return 8 + size_t{record} * QUILL_FLASH_HISTORY_RECORD_SIZE; }
    uint32_t word(size_t at) const {
        return static_cast<uint32_t>(bytes_[at] << 24 | bytes_[at + 1] << 16 | bytes_[at + 2] << 8 | bytes_[at + 3]);
    }
    std::string_view label(size_t at) const {
        const char *text = reinterpret_cast<const char *>(bytes_ + at);
        return {text, strnlen(text, kLabel)};
    }

    const char *path_;
    int fd_;
    uint8_t bytes_[QUILL_FLASH_HISTORY_SIZE] = {};
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

// Shows the records from one to before another, round the end of the file.
template <typename Show>
void show_range(const History &history, uint32_t from, uint32_t to, Show show) {
    for (uint32_t i = from; i != to; i = (i + 1) % kRecords)
        if (history.is_used(i)) show(history.record(i));
}

template <typename Show>
void show_all(const History &history, Show show) {
    const uint32_t oldest = history.next();
    if (history.is_used(oldest)) show(history.record(oldest));
    show_range(history, (oldest + 1) % kRecords, oldest, show);
}

template <typename Show>
[[noreturn]] void follow(History &history, Show show) {
    for (uint32_t seen = history.next();;) {
        fflush(stdout);
        usleep(kPoll);
        history.refresh();
        const uint32_t next = history.next();
        show_range(history, seen, next, show);
        seen = next;
    }
}

}  // namespace

int flash_history(Arguments &arguments) {
    const bool follows = arguments.take("--follow"), as_json = arguments.take("--json");
    const auto operands = arguments.operands(0, 1);
    History history(operands.empty() ? kHistory : operands[0]);
    history.refresh();

    Json json;
    const auto show_line = [&](const Record &record) { print_json(record, json), json.finish(); };
    if (as_json && follows) {
        show_all(history, show_line);
        follow(history, show_line);
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
    if (follows) follow(history, print_row);
    return kDone;
}

}  // namespace quill::cli

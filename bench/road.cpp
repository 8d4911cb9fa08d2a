// The whole road: 100,000 events of a log, told to a receiver. 400 stations come, come again and go; at the end all are
// gone, so each run finds what the first one found.
#include "road.h"

#include <cstdio>
#include <memory>

#include "bench.h"

namespace {

constexpr size_t kEvents = 100000;

const std::string &log_text() {
    static const std::string text = [] {
        std::string made;
        std::vector<bool> there(400);
        const auto add = [&](uint32_t station, bool associated) {
            char line[128];
            snprintf(line, sizeof line,
                     "Nov 22 10:00:00 ap hostapd: wlan%u: STA 00:1b:63:%02x:%02x:%02x IEEE 802.11: %s\n", station % 3,
                     station >> 8, station & 0xff, station * 37 & 0xff,
                     associated ? "associated (aid 1)" : "disassociated");
            made += line;
            there[station] = associated;
        };
        for (uint32_t i = 0; i < kEvents - there.size(); i++) {
            const uint32_t station = bench::scatter(i) % there.size();
            add(station, !there[station] || bench::scatter(i + kEvents) % 4 == 0);
        }
        for (uint32_t station = 0; station < there.size(); station++) add(station, false);
        return made;
    }();
    return text;
}

void add_road(const char *contender, void (*open)(const char *), unsigned long (*handle)(const char *, size_t),
              void (*close)()) {
    bench::add("whole road: an event from its line to its message", contender, 0, kEvents, [=] {
        open("10-20,30");
        auto closing = std::shared_ptr<void>(nullptr, [close](void *) { close(); });
        return bench::Work{[closing, handle]() -> uint64_t { return handle(log_text().data(), log_text().size()); }};
    });
}

const bool added = [] {
    add_road("quill", quill_road_open, quill_road, quill_road_close);
    add_road("GLib and msgpack-c", glib_road_open, glib_road, glib_road_close);
    return true;
}();

}  // namespace

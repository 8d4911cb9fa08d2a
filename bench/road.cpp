// The whole road: 1,000,000 events of a log become messages. 400 stations associate, associate again and disassociate.
// At the end, all stations are disassociated, so each run starts like the first one. The row with 1,000 events is for
// counting instructions.
#include "road.h"

#include <cstdio>
#include <map>
#include <memory>

#include "bench.h"

namespace {

std::string make_log(size_t events) {
    std::string made;
    std::vector<bool> there(400);
    const auto add = [&](uint32_t station, bool associated) {
        char line[128];
        snprintf(line, sizeof line, "Nov 22 10:00:00 ap hostapd: wlan%u: STA 00:1b:63:%02x:%02x:%02x IEEE 802.11: %s\n",
                 station % 3, station >> 8, station & 0xff, station * 37 & 0xff,
                 associated ? "associated (aid 1)" : "disassociated");
        made += line;
        there[station] = associated;
    };
    for (uint32_t i = 0; i < events - there.size(); i++) {
        const uint32_t station = bench::scatter(i) % there.size();
        add(station, !there[station] || bench::scatter(i + 1'000'000) % 4 == 0);
    }
    for (uint32_t station = 0; station < there.size(); station++) add(station, false);
    return made;
}

// Made once for both contenders.
const std::string &log_of(size_t events) {
    static std::map<size_t, std::string> logs;
    const auto [log, is_new] = logs.try_emplace(events);
    if (is_new) log->second = make_log(events);
    return log->second;
}

void add_road(const char *contender, size_t events, void (*open)(const char *),
              unsigned long (*handle)(const char *, size_t), void (*close)()) {
    bench::add("whole road: an event from its line to its message", contender, events, events, [=] {
        open("10-20,30");
        auto closing = std::shared_ptr<void>(nullptr, [close](void *) { close(); });
        const std::string &log = log_of(events);
        return bench::Work{[closing, handle, &log]() -> uint64_t { return handle(log.data(), log.size()); }};
    });
}

const bool added = [] {
    for (const size_t events : {1000u, 1'000'000u}) {
        add_road("quill", events, quill_road_open, quill_road, quill_road_close);
        add_road("GLib and msgpack-c", events, glib_road_open, glib_road, glib_road_close);
    }
    return true;
}();

}  // namespace

// The multi-criteria search: filters 100,000 stations by VLAN and by a text in the name, sorts them by site and rate,
// and returns a page of 50.
#include <quill/smss.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench.h"

namespace {

constexpr size_t kStations = 100000, kPage = 50;

struct Station {
    uint32_t id, vlan, rate;
    char name[24], site[16];
};

const std::vector<Station> &stations() {
    static const std::vector<Station> all = [] {
        std::vector<Station> made(kStations);
        const auto rates = bench::shuffled(kStations);  // all rates are different, so only one order is correct
        for (uint32_t i = 0; i < kStations; i++) {
            Station &s = made[i];
            s.id = i + 1;
            s.vlan = 1 + bench::scatter(i) % 10;
            s.rate = rates[i];
            snprintf(s.name, sizeof s.name, "%s-%05x", i % 4 ? "Laptop" : "Phone", bench::scatter(i) >> 12);
            snprintf(s.site, sizeof s.site, "Site %u", bench::scatter(i * 7) % 50);
        }
        return made;
    }();
    return all;
}

// --- ours

int field_type(const void *, const char *field) { return field[0] == 'v' || field[0] == 'r' ? SMSS_NUMBER : SMSS_TEXT; }

uint32_t number(const void *object, const char *field) {
    const auto *station = static_cast<const Station *>(object);
    return field[0] == 'v' ? station->vlan : station->rate;
}

void text(char *buffer, const void *object, const char *field) {
    const auto *station = static_cast<const Station *>(object);
    strcpy(buffer, field[0] == 'n' ? station->name : station->site);
}

class Quill {
public:
    Quill() {
        smss_init(&context_);
        context_.field_type = field_type;
        context_.number = number;
        context_.text = text;
        for (const Station &s : stations()) smss_add_object(&context_, const_cast<Station *>(&s));
        smss_add_search_criterion(&context_, "vlan", "3");
        smss_add_search_criterion(&context_, "name", "phone");
        smss_add_sort_criterion(&context_, "site", "asc");
        smss_add_sort_criterion(&context_, "rate", "desc");
    }
    Quill(const Quill &) = delete;
    ~Quill() { smss_deinit(&context_); }
    uint64_t page() {
        context_.result_count = 0;
        smss_search(&context_, 0, kPage);
        uint64_t digest = static_cast<uint64_t>(context_.total);
        for (int32_t i = 0; i < context_.result_count; i++)
            digest = digest * 31 + static_cast<const Station *>(context_.results[i])->id;
        return digest;
    }

private:
    smss_ctx context_;
};

// --- SQLite's

void must(int result) {
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) abort();
}

class Sqlite {
public:
    explicit Sqlite(bool indexed) {
        must(sqlite3_open(":memory:", &db_));
        run("create table s(id int, vlan int, rate int, name text, site text)");
        run("begin");
        sqlite3_stmt *row = prepare("insert into s values(?,?,?,?,?)");
        for (const Station &s : stations()) {
            sqlite3_bind_int(row, 1, static_cast<int>(s.id));
            sqlite3_bind_int(row, 2, static_cast<int>(s.vlan));
            sqlite3_bind_int64(row, 3, s.rate);
            sqlite3_bind_text(row, 4, s.name, -1, SQLITE_STATIC);
            sqlite3_bind_text(row, 5, s.site, -1, SQLITE_STATIC);
            must(sqlite3_step(row));
            sqlite3_reset(row);
        }
        sqlite3_finalize(row);
        run("commit");
        if (indexed) run("create index by_vlan on s(vlan)");
        page_ = prepare(
            "select id, count(*) over () from s where vlan = 3 and name like '%phone%' "
            "order by site collate nocase, rate desc limit 50");
    }
    Sqlite(const Sqlite &) = delete;
    ~Sqlite() {
        sqlite3_finalize(page_);
        sqlite3_close(db_);
    }
    uint64_t page() {
        uint64_t digest = 0;
        sqlite3_reset(page_);
        while (sqlite3_step(page_) == SQLITE_ROW) {
            if (digest == 0) digest = static_cast<uint64_t>(sqlite3_column_int(page_, 1));
            digest = digest * 31 + static_cast<uint64_t>(sqlite3_column_int(page_, 0));
        }
        return digest;
    }

private:
    void run(const char *command) { must(sqlite3_exec(db_, command, nullptr, nullptr, nullptr)); }
    sqlite3_stmt *prepare(const char *command) {
        sqlite3_stmt *statement;
        must(sqlite3_prepare_v2(db_, command, -1, &statement, nullptr));
        return statement;
    }
    sqlite3 *db_;
    sqlite3_stmt *page_;
};

// The database is filled once, because its rows stay. A program with the library makes a new search for each page.
Sqlite &database(bool indexed) {
    static Sqlite plain(false), with_index(true);
    return indexed ? with_index : plain;
}

const bool added = [] {
    const char *row = "multi-criteria search: a page of 50";
    bench::add(row, "quill", kStations, 1, [] {
        auto search = std::make_shared<Quill>();
        return bench::Work{[search] { return search->page(); }};
    });
    bench::add(row, "SQLite, full scan", kStations, 1,
               [] { return bench::Work{[] { return database(false).page(); }}; });
    bench::add(row, "SQLite, index", kStations, 1, [] { return bench::Work{[] { return database(true).page(); }}; });
    return true;
}();

}  // namespace

#include <gtest/gtest.h>
#include <quill/smss.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_alloc.h"
#include "support/random.h"

namespace {

using quill::test::live_allocations;
using quill::test::NthAllocation;
using quill::test::Random;

struct Station {
    uint32_t vlan, rate;
    std::string name, site;
};

// Which accessor was called for which object and field, how often.
std::map<std::pair<const Station *, std::string>, int> types, numbers, texts;
const std::string kUnwritten = "-";  // a text field that the accessor writes nothing for
bool overlong;                       // text fields are written without a terminator, to the last byte

std::pair<const Station *, std::string> call(const void *object, const char *field) {
    return {static_cast<const Station *>(object), field};
}

int field_type(const void *object, const char *field) {
    types[call(object, field)]++;
    const std::string name = field;
    return name == "vlan" || name == "rate" ? SMSS_NUMBER : name == "name" || name == "site" ? SMSS_TEXT : 2;
}

uint32_t number_of(const Station &s, const std::string &field) { return field == "vlan" ? s.vlan : s.rate; }
const std::string &text_of(const Station &s, const std::string &field) { return field == "name" ? s.name : s.site; }

uint32_t number(const void *object, const char *field) {
    numbers[call(object, field)]++;
    return number_of(*static_cast<const Station *>(object), field);
}

void text(char *buffer, const void *object, const char *field) {
    texts[call(object, field)]++;
    const std::string &value = text_of(*static_cast<const Station *>(object), field);
    if (value == kUnwritten) return;
    if (overlong)
        memset(buffer, value[0], SMSS_TEXT_SIZE + 1);
    else
        strcpy(buffer, value.c_str());
}

class Query {
public:
    explicit Query(std::vector<Station> &stations) {
        start();
        for (Station &s : stations) smss_add_object(&context, &s);
        types.clear();
        numbers.clear();
        texts.clear();
    }
    explicit Query(int) { start(); }
    ~Query() { smss_deinit(&context); }

    Query &search(const char *name, const char *value) {
        return smss_add_search_criterion(&context, name, value), *this;
    }
    Query &sort(const char *name, const char *order) { return smss_add_sort_criterion(&context, name, order), *this; }
    std::vector<const Station *> page(int start, int size) {
        EXPECT_EQ(smss_search(&context, start, size), 0);
        std::vector<const Station *> stations;
        for (int i = 0; i < context.result_count; i++) stations.push_back(static_cast<Station *>(context.results[i]));
        return stations;
    }

    smss_ctx context;

private:
    void start() {
        memset(&context, 0xff, sizeof context);
        smss_init(&context);
        context.field_type = field_type;
        context.number = number;
        context.text = text;
    }
};

std::vector<Station> random_stations(size_t count) {
    static constexpr const char *kNames[] = {"ETH0", "eth0", "Eth1", "wlan0", "WLAN", "", "mesh-eth"};
    Random random(count);
    std::vector<Station> stations(count);
    for (Station &s : stations)
        s = {random.below(4), random.one_in(4) ? 0x80000000u + random.below(2) : random.below(5),
             kNames[random.below(7)], std::string(random.below(129), static_cast<char>('A' + random.below(26)))};
    return stations;
}

bool contains(std::string text, std::string part) {
    for (std::string *s : {&text, &part})
        for (char &c : *s) c = static_cast<char>(tolower(c));
    return text.find(part) != std::string::npos;
}

// --- filters

struct Filter {
    const char *name, *value;
};

bool meets(const Station &s, const Filter &f) {
    if (std::string("vlan rate").find(f.name) != std::string::npos)
        return number_of(s, f.name) == static_cast<uint32_t>(atoll(f.value));
    return std::string("name site").find(f.name) != std::string::npos && contains(text_of(s, f.name), f.value);
}

TEST(Smss, FiltersByAllCriteriaOrByAny) {
    const std::vector<std::vector<Filter>> cases = {
        {},
        {{"vlan", "2"}},
        {{"rate", "-2147483648"}},
        {{"rate", "2147483649"}},
        {{"vlan", "4294967297"}},
        {{"vlan", "x"}},
        {{"name", "eth"}},
        {{"name", ""}},
        {{"name", "eth00"}},
        {{"site", "zZ"}, {"vlan", "1"}},
        {{"nothing", "1"}},
        {{"vlan", "3"}, {"nothing", "1"}, {"name", "LAN"}},
        {{"vlan", "1 "}, {"rate", "3"}, {"name", "th"}},
    };
    std::vector<Station> stations = random_stations(700);
    for (const auto &filters : cases)
        for (const bool any : {false, true}) {
            Query query(stations);
            query.context.match_any = any;
            std::vector<const Station *> expected;
            std::map<std::pair<const Station *, std::string>, int> asked;
            for (const Filter &f : filters) query.search(f.name, f.value);
            for (const Station &s : stations) {
                size_t met = 0;
                for (const Filter &f : filters) {
                    asked[{&s, f.name}]++;
                    met += meets(s, f);
                    if (meets(s, f) == any) break;  // decided
                }
                if (any ? met > 0 || filters.empty() : met == filters.size()) expected.push_back(&s);
            }
            SCOPED_TRACE((filters.empty() ? "none" : filters[0].name) + std::string(any ? ", any" : ", all"));
            EXPECT_EQ(query.page(0, 1000), expected);
            EXPECT_EQ(query.context.total, static_cast<int32_t>(expected.size()));
            // Each field once for each criterion that is looked at, and no other.
            EXPECT_EQ(types, asked);
            numbers.merge(texts);
            for (const auto &[field, count] : numbers) EXPECT_EQ(count, asked[field]) << field.second;
        }
}

TEST(Smss, CriteriaBeyond16AreIgnored) {
    std::vector<Station> stations = {{1, 2, "b", ""}, {1, 1, "a", ""}};
    Query query(stations);
    for (int i = 0; i < 16; i++) query.search("vlan", "1").sort("vlan", "asc");
    query.search("vlan", "2").sort("rate", "asc");
    EXPECT_EQ(query.page(0, 10).size(), 2u);
    EXPECT_EQ(query.context.search_words, 32u);
    EXPECT_EQ(query.context.sort_words, 32u);
    EXPECT_EQ(numbers.count({&stations[0], "rate"}), 0u);
}

// --- sorting and pages

struct SortKey {
    const char *name, *order;
};

int order_by_rule(const Station &a, const Station &b, const std::vector<SortKey> &keys) {
    for (const auto &[name, order] : keys) {
        const int type = field_type(&a, name);
        const int c = type == SMSS_NUMBER ? static_cast<int32_t>(number_of(a, name) - number_of(b, name))
                      : type == SMSS_TEXT ? strcasecmp(text_of(a, name).c_str(), text_of(b, name).c_str())
                                          : 0;
        if (c != 0) return strcasecmp(order, "desc") == 0 ? static_cast<int>(0u - static_cast<uint32_t>(c)) : c;
    }
    return 0;
}

const std::vector<std::vector<SortKey>> kSorts = {
    {},
    {{"vlan", "asc"}},
    {{"vlan", "DESC"}},
    {{"name", "down"}},
    {{"name", "desc"}, {"vlan", "asc"}},
    {{"nothing", "desc"}, {"site", "descending"}},
    {{"vlan", "desc"}, {"name", "asc"}, {"site", "dEsC"}},
};

void expect_sorted(const std::vector<const Station *> &page, const std::vector<SortKey> &keys) {
    for (size_t i = 1; i < page.size(); i++)
        EXPECT_LE(order_by_rule(*page[i - 1], *page[i], keys), 0) << "at " << i << " by " << keys[0].name;
}

TEST(Smss, SortsByEachKey) {
    std::vector<Station> stations = random_stations(1500);
    std::vector<const Station *> all;
    for (const Station &s : stations) all.push_back(&s);
    for (const auto &keys : kSorts) {
        Query query(stations);
        for (const auto &[name, order] : keys) query.sort(name, order);
        std::vector<const Station *> page = query.page(0, 10000);
        expect_sorted(page, keys);
        if (!keys.empty()) std::sort(page.begin(), page.end());
        EXPECT_EQ(page, all);
    }
}

TEST(Smss, ALaterKeyIsAskedForOnlyWhereEarlierOnesTie) {
    std::vector<Station> stations = {{1, 1, "", ""}, {2, 2, "", ""}, {3, 3, "", ""}, {3, 4, "", ""}};
    Query query(stations);
    EXPECT_EQ(query.sort("vlan", "desc").sort("rate", "desc").page(0, 1)[0], &stations[3]);
    EXPECT_EQ(numbers.count({&stations[0], "rate"}) + numbers.count({&stations[1], "rate"}), 0u);
}

// The wrapped difference: far enough apart, the greater number comes first.
TEST(Smss, NumbersSortByTheirWrappedDifference) {
    std::vector<Station> stations = {{0, 0xc0000000u, "", ""}, {0, 1, "", ""}};
    EXPECT_EQ(Query(stations).sort("rate", "asc").page(0, 1)[0], &stations[0]);
    std::swap(stations[0], stations[1]);
    EXPECT_EQ(Query(stations).sort("rate", "asc").page(0, 1)[0], &stations[1]);
}

TEST(Smss, PagesStartAtMultiplesOfTheirSize) {
    struct {
        size_t objects;
        int start, size;
        int page_start, count;
    } static constexpr kCases[] = {
        {35, 0, 10, 0, 10},
        {35, 25, 10, 20, 10},
        {35, 30, 10, 30, 5},
        {35, -25, 10, 0, 10},
        {35, 35, 10, 30, 5},
        {35, 40, 10, 40, 0},
        {35, 7, 0, 0, 10},
        {35, 17, -1, 10, 10},
        {35, INT32_MAX, 10, INT32_MAX / 10 * 10, 0},
        {0, 0, 10, 0, 0},
        {100001, 99999, 200000, 0, 100000},
        {100001, 100000, 200000, 100000, 1},
        {35, 34, 1, 34, 1},
    };
    for (const auto &c : kCases) {
        std::vector<Station> stations(c.objects);
        Query query(stations);
        const auto page = query.page(c.start, c.size);
        SCOPED_TRACE(std::to_string(c.start) + " of size " + std::to_string(c.size));
        EXPECT_EQ(page.size(), static_cast<size_t>(c.count));
        EXPECT_EQ(query.context.total, static_cast<int32_t>(c.objects));
        EXPECT_EQ(query.context.page_start, c.page_start);
        for (size_t i = 0; i < page.size(); i++) EXPECT_EQ(page[i], &stations[static_cast<size_t>(c.page_start) + i]);
    }
}

TEST(Smss, ASecondSearchAppendsToThePage) {
    std::vector<Station> stations(7);
    Query query(stations);
    EXPECT_EQ(query.page(0, 3).size(), 3u);
    EXPECT_EQ(query.page(0, 100).size(), 10u);
}

// --- texts, pool and memory

TEST(Smss, ATextWithoutTerminatorEndsWithItsBuffer) {
    std::vector<Station> stations = {{0, 0, "b", ""}, {0, 0, "a", ""}};
    overlong = true;
    Query query(stations);
    EXPECT_EQ(query.search("name", std::string(128, 'A').c_str()).sort("name", "asc").page(0, 9).size(), 1u);
    Query longer(stations);
    EXPECT_EQ(longer.search("name", std::string(129, 'a').c_str()).page(0, 9).size(), 0u);
    overlong = false;
}

TEST(Smss, ATextThatIsNotWrittenIsEmptyAndNotTheOneBefore) {
    std::vector<Station> stations = {{0, 0, "a", ""}, {0, 0, kUnwritten, ""}};
    EXPECT_EQ(Query(stations).search("name", "a").page(0, 9).size(), 1u);
}

TEST(Smss, StringsStayWhereTheyAreWhileThePoolGrows) {
    Query query(0);
    smss_ctx &context = query.context;
    EXPECT_EQ(context.pool_capacity, 512);
    EXPECT_EQ(context.pool_used, 2 * 129);
    Random random(1);
    std::vector<std::pair<char *, std::string>> strings;
    for (int i = 0; i < 2000; i++) {
        const int length = static_cast<int>(random.one_in(20) ? random.below(3000) : random.below(40));
        const std::string wanted(static_cast<size_t>(length), static_cast<char>('a' + i % 26));
        int32_t capacity = context.pool_capacity;
        if (capacity <= context.pool_used + length + 1) capacity = (capacity + length + 1) / 512 * 512 + 512;
        const int32_t used = context.pool_used + length + 1;
        char *string = smss_add_string(&context, random.one_in(10) ? nullptr : wanted.c_str(), length);
        ASSERT_NE(string, nullptr);
        EXPECT_EQ(string[length], '\0');
        memcpy(string, wanted.data(), wanted.size());
        strings.emplace_back(string, wanted);
        ASSERT_EQ(context.pool_capacity, capacity);
        ASSERT_EQ(context.pool_used, used);
    }
    for (const auto &[string, wanted] : strings) EXPECT_EQ(string, wanted);
    EXPECT_EQ(smss_add_string(&context, "x", -1), nullptr);
    EXPECT_EQ(smss_add_string(&context, nullptr, INT32_MAX), nullptr);
}

// The n-th allocation fails: nothing is worse than objects that are left out and criteria that do not hold.
TEST(Smss, FailedAllocationsOnlyLeaveThingsOut) {
    std::vector<Station> stations = random_stations(1100);
    const long live = live_allocations();
    for (int i = 2, reached = 1; reached; i++) {
        const int n = i / 2;
        SCOPED_TRACE(n);
        NthAllocation failing(n);
        {
            Query query(stations);
            // Of the pool's first block, room is left for nothing, or for the criterion's word alone.
            const int room = query.context.pool_capacity - query.context.pool_used;
            smss_add_string(&query.context, nullptr, i % 2 ? room + 1 : std::max(room - 4, 0));
            query.search("name", "E").sort("site", "desc").sort("rate", "asc");
            const bool lost_criterion = !query.context.search[0] || !query.context.search[1];
            const bool sorts = query.context.text1 && query.context.text2 && query.context.sort[0] &&
                               query.context.sort[1] && query.context.sort[2] && query.context.sort[3];
            const auto page = query.page(0, 10000);
            reached = failing.reached();
            size_t matches = 0;
            for (const Station &s : stations) matches += contains(s.name, "e");
            EXPECT_LE(page.size(), matches);
            if (!reached) {
                EXPECT_EQ(page.size(), matches);
            }
            if (lost_criterion || !query.context.text1) {
                EXPECT_EQ(page.size(), 0u);
            }
            for (const Station *s : page) EXPECT_TRUE(contains(s->name, "e"));
            if (sorts) expect_sorted(page, {{"site", "desc"}});
        }
        EXPECT_EQ(live_allocations(), live);
    }
}

TEST(Smss, InitAndDeinitLeaveARecordOfZeros) {
    std::vector<Station> stations(3);
    smss_ctx zeros = {};
    Query query(stations);
    query.search("vlan", "0").page(0, 1);
    smss_deinit(&query.context);
    EXPECT_EQ(memcmp(&query.context, &zeros, sizeof zeros), 0);
}

}  // namespace

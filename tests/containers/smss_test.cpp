#include <gtest/gtest.h>
#include <quill/smss.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/failing_alloc.h"

namespace quill::test {
namespace {

// The names of the members are also the names of the fields.
struct Station {
    char id;
    uint32_t v, r;      // numbers
    const char *n, *s;  // texts
};
constexpr const char *kUnwritten = "-", *kOverlong = "!";  // text() writes nothing, or 129 times A without a NUL

constexpr Station kStations[] = {
    {'a', 1, 0x80000000u, "ETH0", "zZz"}, {'b', 2, 3, "eth0", "Azz"},
    {'c', 1, 0x80000001u, "wlan0", ""},   {'d', 3, 3, "", "zz"},
    {'e', 0, 4, "Mesh-Eth", "b"},         {'f', 9, 1, "f", "f"},
    {'g', 9, 0xc0000000u, "gx", "g"},     {'h', 8, 0, kUnwritten, "h"},
    {'i', 7, 0, kOverlong, "i"},
};

std::string asked;  // the id at each call of field_type, and the field at each call for a value

int field_type(const void *object, const char *field) {
    asked += static_cast<const Station *>(object)->id;
    return strchr("vr", *field) ? SMSS_NUMBER : strchr("ns", *field) ? SMSS_TEXT : 2;
}

uint32_t number(const void *object, const char *field) {
    asked += field;
    const Station &station = *static_cast<const Station *>(object);
    return *field == 'v' ? station.v : station.r;
}

void text(char *buffer, const void *object, const char *field) {
    asked += field;
    const Station &station = *static_cast<const Station *>(object);
    const char *const value = *field == 'n' ? station.n : station.s;
    if (value == kOverlong)
        memset(buffer, 'A', SMSS_TEXT_SIZE + 1);
    else if (value != kUnwritten)
        strcpy(buffer, value);
}

struct Query {
    smss_ctx context;

    explicit Query(std::span<const Station> stations) {
        memset(&context, 0xff, sizeof context);
        smss_init(&context);
        context.field_type = field_type;
        context.number = number;
        context.text = text;
        for (const Station &s : stations) smss_add_object(&context, const_cast<Station *>(&s));
        asked.clear();
    }
    ~Query() { smss_deinit(&context); }

    // Reads pairs such as "v=1,n=eth".
    void add(void (*add_pair)(smss_ctx *, const char *, const char *), const char *pairs) {
        std::istringstream words(pairs);
        for (std::string word; std::getline(words, word, ',');)
            add_pair(&context, word.substr(0, 1).c_str(), word.substr(2).c_str());
    }
    std::string ids(int start, int size) {
        EXPECT_EQ(smss_search(&context, start, size), 0);
        EXPECT_TRUE(context.search_words <= 32 && context.sort_words <= 32);
        std::string found;
        for (int i = 0; i < context.result_count; i++) found += static_cast<Station *>(context.results[i])->id;
        return found;
    }
};

std::string found(int any, const char *filters, const char *sorts) {
    Query query(kStations);
    query.context.match_any = static_cast<uint32_t>(any);
    query.add(smss_add_search_criterion, filters);
    query.add(smss_add_sort_criterion, sorts);
    return query.ids(0, 100);
}

// Returns the calls of the accessors: the object's id and the field for each criterion that is examined.
std::string asks(int any, const char *filters) {
    found(any, filters, "");
    return asked;
}

// Returns start, number of results and total of a page.
std::string page(int objects, int start, int size) {
    std::vector<Station> stations(static_cast<size_t>(objects));
    Query query(stations);
    const auto count = static_cast<int32_t>(query.ids(start, size).size()), from = query.context.page_start;
    for (int i = 0; i < count; i++) EXPECT_EQ(query.context.results[i], &stations[static_cast<size_t>(from + i)]);
    return std::to_string(from) + " " + std::to_string(count) + " " + std::to_string(query.context.total);
}

TEST(Smss, Cases) { expect_cases("containers/smss.cases", QUILL_CASE_FUNCTIONS(found, asks, page)); }

TEST(Smss, ALaterKeyIsAskedForOnlyWhereEarlierOnesTie) {
    found(0, "", "v=desc,n=desc");
    EXPECT_NE(asked.find("ann") + asked.find("cnn"), 2 * std::string::npos);
    for (const char *alone : {"bn", "dn", "en", "hn", "in"}) EXPECT_EQ(asked.find(alone), std::string::npos) << alone;
}

TEST(Smss, ATextWithoutTerminatorEndsWithItsBuffer) {
    for (const size_t length : {128u, 129u})
        EXPECT_EQ(found(0, ("n=" + std::string(length, 'a')).c_str(), "n=asc"), length == 128 ? "i" : "");
}

TEST(Smss, ASecondSearchAppendsToThePage) {
    Query query({kStations, 7});
    EXPECT_EQ(query.ids(0, 3), "abc");
    EXPECT_EQ(query.ids(0, 100), "abcabcdefg");
}

TEST(Smss, StringsStayWhereTheyAreWhileThePoolGrows) {
    Query query({});
    smss_ctx &context = query.context;
    EXPECT_EQ(context.pool_capacity, 512);
    EXPECT_EQ(context.pool_used, 2 * 129);
    std::vector<char *> strings;
    for (int i = 0; i < 500; i++) {
        const int length = i % 20 == 7 ? i * 6 : i % 40, used = context.pool_used + length + 1;
        int32_t capacity = context.pool_capacity;
        if (capacity <= used) capacity = (capacity + length + 1) / 512 * 512 + 512;
        const std::string wanted(static_cast<size_t>(length), static_cast<char>('a' + i % 26));
        strings.push_back(smss_add_string(&context, i % 10 ? wanted.c_str() : nullptr, length));
        EXPECT_EQ(strings.back()[length], '\0');
        memcpy(strings.back(), wanted.data(), wanted.size());
        EXPECT_EQ(std::pair(context.pool_capacity, context.pool_used), std::pair(capacity, used));
    }
    for (size_t i = 0; i < strings.size(); i++)
        EXPECT_EQ(strings[i], std::string(i % 20 == 7 ? i * 6 : i % 40, static_cast<char>('a' + i % 26)));
    EXPECT_EQ(smss_add_string(&context, "x", -1), nullptr);
    EXPECT_EQ(smss_add_string(&context, nullptr, INT32_MAX), nullptr);
}

// The n-th allocation fails. At worst, objects are left out, search criteria match nothing, and sort criteria have no
// effect.
TEST(Smss, FailedAllocationsOnlyLeaveThingsOut) {
    std::vector<Station> stations;
    for (uint32_t i = 0; i < 1100; i++) stations.push_back({'x', i * 7 % 1100, 0, i % 3 ? "Eth" : "", ""});
    const size_t matches = 733;
    // Only left[i] bytes of the pool's first block are left. Each string in turn is thus the first string that needs
    // another block.
    for (int i = 0, left[] = {1, 3, 5, 7, 12, 14}, n = 1; i < 6; n++) {
        SCOPED_TRACE(testing::Message() << n << " with " << left[i]);
        const long live = live_allocations();
        {
            const NthAllocation failing(n);
            Query query(stations);
            smss_ctx &context = query.context;
            smss_add_string(&context, nullptr, context.pool_capacity - context.pool_used - left[i] - 1);
            query.add(smss_add_search_criterion, "n=E");
            query.add(smss_add_sort_criterion, "s=desc,v=asc");
            const size_t count = query.ids(0, 10000).size();
            EXPECT_TRUE(failing.reached() ? count <= matches : count == matches) << count;
            const bool finds = context.search[0] && context.search[1] && context.text1;
            EXPECT_TRUE(finds || count == 0);
            const auto *results = reinterpret_cast<const Station *const *>(context.results);
            for (size_t at = 0; at < count; at++) {
                EXPECT_STREQ(results[at]->n, "Eth");
                EXPECT_TRUE(at == 0 || !context.sort[2] || results[at - 1]->v < results[at]->v) << at;
            }
            if (!failing.reached()) i++, n = 0;
        }
        EXPECT_EQ(live_allocations(), live);
    }
}

TEST(Smss, DeinitLeavesARecordOfZeros) {
    const smss_ctx zeros = {};
    Query query(kStations);
    query.add(smss_add_search_criterion, "v=0");
    EXPECT_EQ(query.ids(0, 1), "e");
    smss_deinit(&query.context);
    EXPECT_EQ(memcmp(&query.context, &zeros, sizeof zeros), 0);
}

}  // namespace
}  // namespace quill::test

#include <quill/names.h>

#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <string_view>
#include <type_traits>

#include "base/ascii.h"
#include "base/decimal.h"
#include "text/text_ring.h"

// How it works
//
// The tables come first. A conversion and its inverse use the same table: find() searches by the content of a row,
// row_or() selects a row by its place.

namespace {

using quill::Overflow;

struct FrameSubtype {
    uint32_t ids;
    uint32_t wifi;  // IEEE 802.11, subtypes of management frames
};

constexpr FrameSubtype kFrameSubtypes[] = {
    {1, 10},  // disassociation
    {2, 12},  // deauthentication
    {3, 4},   // probe request
    {4, 5},   // probe response
    {5, 11},  // authentication
};

constexpr uint32_t kXsec = 0x100;
constexpr uint32_t kOpen = 0x1;

struct Encryption {
    uint32_t flag;
    const char *name;
};

constexpr Encryption kEncryptions[] = {
    // in print order, which is not bit order. Compatibility: programs compare the whole text.
    {0x2, "Static WEP"},      {0x4, "Dynamic WEP"},     {0x8, "Static WPA"},          {0x10, "Dynamic WPA"},
    {0x400, "WPA 8021X AES"}, {0x200, "WPA PSK AES"},   {0x800, "WPA2 PSK TKIP"},     {0x1000, "WPA2 8021X TKIP"},
    {0x20, "WPA2 PSK AES"},   {0x40, "WPA2 8021X AES"}, {0x2000, "WPA2 AES GCM 128"}, {0x4000, "WPA2 AES GCM 256"},
};

struct Protocol {
    int number;
    const char *name;
};

constexpr Protocol kProtocols[] = {
    // IANA, Assigned Internet Protocol Numbers; the names are our own
    {0, "any"},    {1, "icmp"},  {2, "igmp"},   {4, "ipip"},    {6, "tcp"},       {8, "egp"},       {12, "pup"},
    {17, "udp"},   {22, "idp"},  {29, "tp"},    {41, "ipv6"},   {43, "routing"},  {44, "fragment"}, {46, "rsvp"},
    {47, "gre"},   {50, "esp"},  {51, "ah"},    {58, "icmpv6"}, {59, "ipv6none"}, {60, "dsopts"},   {92, "mtp"},
    {98, "encap"}, {103, "pim"}, {108, "comp"}, {255, "raw"},
};

constexpr uint32_t kNoRate = 255;

// 11 is a rate of 802.11b, but is among those of 802.11g, because the offsets follow the ascending order of the rates.
constexpr const char *kMixedRates[] = {"1 mbps",  "2 mbps",  "5.5 mbps", "6 mbps",  "9 mbps",  "11 mbps",
                                       "12 mbps", "18 mbps", "24 mbps",  "36 mbps", "48 mbps", "54 mbps"};
constexpr const char *kOfdmRates[] = {"6 mbps",  "9 mbps",  "12 mbps", "18 mbps",
                                      "24 mbps", "36 mbps", "48 mbps", "54 mbps"};

// The two scales disagree (6 dBm a level here, 3 dBm there). Compatibility: programs rely on both.
struct PowerLevel {
    uint32_t dbm;
    uint32_t dbm_up_to;  // the highest power that still converts to this level
    int tenths;
    int tenths_up_to;
};

constexpr PowerLevel kPowerLevels[] = {
    {0, 4, 0, 20},      {6, 10, 30, 50},    {12, 16, 60, 80},   {18, 22, 90, 110},
    {24, 28, 120, 140}, {30, 34, 150, 170}, {36, 40, 180, 200}, {42, 46, 210, 230},
    {48, 52, 240, 260}, {54, 58, 270, 290}, {60, 64, 300, 320}, {66, 70, 330, 350},
};

constexpr PowerLevel kNoLevel = {254, 0, 1270, 0};

// These conversions are not inverse to each other: see the header.
constexpr uint32_t kNewLevels[] = {0, 4, 5, 6}, kNewLevelOfOthers = 9;
constexpr uint32_t kOldLevels[] = {0, 1, 1, 1, 2, 3}, kOldLevelOfOthers = 4;

constexpr const char *kTrueWords[] = {"true", "yes", "1"};
constexpr const char kTruePrefix[] = "enable";

// --- walks

// Returns the first row for which matches(row) holds, or null.
template <typename Row, size_t n, typename Matches>
const Row *find(const Row (&rows)[n], Matches matches) {
    for (const Row &row : rows)
        if (matches(row)) return &row;
    return nullptr;
}

template <typename Row, size_t n>
Row row_or(const Row (&rows)[n], uint32_t index, std::type_identity_t<Row> other) {
    return index < n ? rows[index] : other;
}

template <typename Power>
uint32_t level_of(Power power, Power PowerLevel::*up_to) {
    uint32_t level = 0;
    for (const PowerLevel &row : kPowerLevels) {
        if (power <= row.*up_to) break;
        level++;
    }
    return level;
}

// --- text out

// Returns the size of all names, each with a comma. The NUL replaces the last comma.
constexpr size_t encryption_text_size() {
    size_t size = 0;
    for (const Encryption &row : kEncryptions) size += std::string_view(row.name).size() + 1;
    return size;
}

constinit quill::TextRing<2, 16> power_texts;  // the longest is "-214748368.0"

// Returns the number of tenths that printf's "%.1f" shows for tenths / 10 in single precision.
uint32_t shown_tenths(uint32_t tenths) {
    const float quotient = static_cast<float>(tenths) / 10.0f;
    const double exact = static_cast<double>(quotient) * 10.0;  // exact: 24 bits plus 4 fit a double
    const auto whole = static_cast<uint32_t>(exact);
    const double rest = exact - whole;
    const bool up = rest > 0.5 || (rest == 0.5 && whole % 2 != 0);  // ties go to the even digit
    return whole + up;
}

// --- text in

bool read_dot(const char *&text) {
    if (*text != '.') return false;
    text++;
    return true;
}

bool at_end(const char *text) { return *text == '\0' || *text == '\n'; }

bool begins_ignoring_case(const char *text, const char *prefix) {
    for (; *prefix; text++, prefix++)
        if (quill::fold_case(*text) != *prefix) return false;
    return true;
}

}  // namespace

// --- frames

uint32_t ids_stype_to_wifi_stype(uint32_t ids_stype) {
    const auto *row = find(kFrameSubtypes, [=](const FrameSubtype &r) { return r.ids == ids_stype; });
    return row ? row->wifi : 0;
}

uint32_t wifi_stype_to_ids_stype(uint32_t wifi_stype) {
    const auto *row = find(kFrameSubtypes, [=](const FrameSubtype &r) { return r.wifi == wifi_stype; });
    return row ? row->ids : 0;
}

// --- durations

const char *sec_to_str(uint32_t seconds) {
    static char text[sizeof "49710d:23h:59m:59s"];
    const unsigned s = seconds % 60, m = seconds / 60 % 60, h = seconds / 3600 % 24, d = seconds / 86400;
    if (d)
        snprintf(text, sizeof text, "%ud:%uh:%um:%us", d, h, m, s);
    else if (h)
        snprintf(text, sizeof text, "%uh:%um:%us", h, m, s);
    else if (m)
        snprintf(text, sizeof text, "%um:%us", m, s);
    else
        snprintf(text, sizeof text, "%us", s);
    return text;
}

// --- encryption

const char *encr_to_str(uint32_t encr_flags) {
    static char text[encryption_text_size()];
    if (encr_flags & kXsec) return strcpy(text, "xsec");
    if (encr_flags & kOpen) return strcpy(text, "Open");
    char *end = text;
    for (const Encryption &row : kEncryptions) {
        if (!(encr_flags & row.flag)) continue;
        end = stpcpy(end, row.name);
        *end++ = ',';
    }
    (end == text ? text : end - 1)[0] = '\0';
    return text;
}

// --- locations

const char *loc_to_str(uint32_t loc) {
    static char text[sizeof "255.255.65535"];
    if (loc == 0xffffffff) return strcpy(text, "Not set");
    snprintf(text, sizeof text, "%u.%u.%u", loc >> 24, loc >> 16 & 0xff, loc & 0xffff);
    return text;
}

uint32_t str_to_loc(const char *text) {
    if (!text) return 0;
    int parts[3];
    for (int &part : parts)
        if ((&part > parts && !read_dot(text)) || !quill::read_int<Overflow::kWraps>(text, part)) return 0;
    const auto [a, b, c] = parts;
    return static_cast<uint32_t>((a & 0xff) << 24 | (b & 0xff) << 16 | (c & 0xffff));
}

// --- IP protocols

const char *proto_to_str(int proto) {
    static char text[sizeof "-2147483648"];
    if (const auto *row = find(kProtocols, [=](const Protocol &r) { return r.number == proto; })) return row->name;
    snprintf(text, sizeof text, "%d", proto);
    return text;
}

int str_to_proto(const char *text) {
    if (!text) return 0;
    const auto named = [=](const Protocol &r) { return quill::compare_ignoring_case(r.name, text) == 0; };
    if (const auto *row = find(kProtocols, named)) return row->number;
    return quill::int_of<Overflow::kWraps>(text) & 0xffff;
}

// --- rates

const char *rate_offset_to_str(uint32_t offset, int ofdm_only) {
    if (offset == kNoRate) return "N/A";
    return ofdm_only ? row_or(kOfdmRates, offset, "-") : row_or(kMixedRates, offset, "-");
}

// --- power

const char *dbm_pwr_to_str(int tenths) {
    char *text = power_texts.next();
    memset(text, 0, power_texts.size);
    if (tenths == DBM_PWR_NOT_SET) return strcpy(text, "INV");
    // printf's "%f" is not used, because its decimal point depends on the locale.
    const bool negative = tenths < 0;
    const uint32_t shown = shown_tenths(negative ? 0 - static_cast<uint32_t>(tenths) : static_cast<uint32_t>(tenths));
    snprintf(text, power_texts.size, "%s%u.%u", negative ? "-" : "", shown / 10, shown % 10);
    return text;
}

int str_to_pwr_dbm(const char *text) {
    if (!text || *text == '\0') return DBM_PWR_NOT_SET;
    const bool negative = *text == '-';
    if (negative) text++;
    int64_t number = quill::read_digits<Overflow::kClamps>(text, uint32_t{INT_MAX} + 1);
    if (*text == '\n') {
        // The number is returned without sign and factor. Compatibility: callers rely on that.
        return number <= INT_MAX ? static_cast<int>(number) : DBM_PWR_NOT_SET;
    }
    number *= 10;
    if (*text == '.') {
        if (!quill::is_digit(text[1]) || !at_end(text + 2)) return DBM_PWR_NOT_SET;
        number += text[1] - '0';
    } else if (*text != '\0') {
        return DBM_PWR_NOT_SET;
    }
    if (negative) number = -number;
    return INT_MIN <= number && number <= INT_MAX ? static_cast<int>(number) : DBM_PWR_NOT_SET;
}

uint32_t radio_tpl_to_dbm_power(uint32_t level) { return row_or(kPowerLevels, level, kNoLevel).dbm; }

int radio_tpl_to_dbm_10x_power(uint32_t level) { return row_or(kPowerLevels, level, kNoLevel).tenths; }

uint32_t radio_dbm_to_tpl_power(uint32_t dbm) { return level_of(dbm, &PowerLevel::dbm_up_to); }

uint32_t radio_dbm_10x_to_tpl_power(int tenths) { return level_of(tenths, &PowerLevel::tenths_up_to); }

uint32_t radio_tpl_old_to_new_power(uint32_t old_level) { return row_or(kNewLevels, old_level, kNewLevelOfOthers); }

uint32_t radio_tpl_new_to_old_power(uint32_t new_level) { return row_or(kOldLevels, new_level, kOldLevelOfOthers); }

// --- switches

int get_boolean_value(const char *text) {
    if (!text) return 0;
    const auto equals = [=](const char *word) { return quill::compare_ignoring_case(text, word) == 0; };
    return begins_ignoring_case(text, kTruePrefix) || find(kTrueWords, equals);
}

const char *get_boolean_str(int value) { return value ? "enable" : "disable"; }

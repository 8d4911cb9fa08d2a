#include <quill/web_category.h>

#include <stddef.h>

#include <bit>
#include <iterator>

// How it works
//
// There are three tables. A row's place gives its number: categories and bands count from 1, threat bits from 0.

namespace {

constexpr char kUnknown[] = "unknown";

constexpr const char *kCategories[] = {
    "real-estate",  // 1
    "computer/internet-security",
    "financial-services",
    "business-economy",
    "computer/internet-info",
    "auctions",
    "shopping",
    "cult-and-occult",
    "travel",
    "abused-drugs",
    "adult/pornography",  // 11
    "home/garden",
    "military",
    "social-networking",
    "dead-sites",
    "Indv-stock-advice-tools",
    "training-tools",
    "dating",
    "sex-education",
    "religion",
    "entertainment/arts",  // 21
    "personal-sites/blogs",
    "legal",
    "local-info",
    "streaming-media",
    "job-search",
    "gambling",
    "translation",
    "reference/research",
    "shareware/freeware",
    "peer-to-peer",  // 31
    "marijuana",
    "hacking",
    "games",
    "philosophy/political-advocacy",
    "weapons",
    "pay-to-surf",
    "hunting/fishing",
    "society",
    "educational-institutions",
    "online-greeting-cards",  // 41
    "sports",
    "swimsuits/intimate-apparels",
    "questionable",
    "kids",
    "hate/racism",
    "personal-storage",
    "violence",
    "keyloggers/monitoring",
    "search-engines",
    "internet-portals",  // 51
    "web-advertisements",
    "cheating",
    "gross",
    "web-based-email",
    "malware-sites",
    "phishing",
    "proxy-avoidance/anonymizers",
    "spyware/adware",
    "music",
    "government",  // 61
    "nudity",
    "news/media",
    "illegal",
    "content-delivery-networks",
    "internet-communications",
    "bot-nets",
    "abortion",
    "health/medicine",
    kUnknown,     // no category
    "SPAM-URLs",  // 71
    kUnknown,     // no category
    kUnknown,     // no category
    "dynamically-generated-content",
    "parked-domains",
    "alcohol/tobacco",
    "private-IP-addresses",
    "image/video-search",
    "fashion/beauty",
    "recreation/hobbies",
    "motor-vehicles",  // 81
    "web-hosting",
};

constexpr const char *kThreats[] = {
    "spam source",            // 0x1
    "windows exploits",       // 0x2
    "web attacks",            // 0x4
    "botnets",                // 0x8
    "scanners",               // 0x10
    "denial of service",      // 0x20
    "malware-infected",       // 0x40
    "phishing",               // 0x80
    "anonymous proxy",        // 0x100
    "reserved",               // 0x200
    "cloud providers",        // 0x400
    "malicious mobile apps",  // 0x800
};

static_assert(std::size(kCategories) == 82);
static_assert(sizeof(web_cc_cat_rep_range) == 72);

}  // namespace

constinit const web_cc_cat_rep_range web_cc_cat_rep_ranges[WEB_CC_BANDS] = {
    {1, 20, "high-risk"},       // 1
    {21, 40, "suspicious"},     // 2
    {41, 60, "moderate-risk"},  // 3
    {61, 80, "low-risk"},       // 4
    {81, 100, "trustworthy"},   // 5
};

constinit const uint32_t num_web_cc_rep_map_size = WEB_CC_BANDS;

const char *web_cc_cat_string(uint32_t category) {
    return 1 <= category && category <= std::size(kCategories) ? kCategories[category - 1] : kUnknown;
}

int web_cc_get_cat_rep_id(int score) {
    int id = 0;
    for (const web_cc_cat_rep_range &band : web_cc_cat_rep_ranges) {
        id++;
        if (band.minimum <= score && score <= band.maximum) return id;
    }
    return 0;
}

const char *ip_rep_threat_mask_string(uint32_t threat_mask) {
    // Returns only the name of the lowest bit, even if several are set, because a log line has room for only one.
    const auto bit = static_cast<size_t>(std::countr_zero(threat_mask));
    return bit < std::size(kThreats) ? kThreats[bit] : "N/A";
}

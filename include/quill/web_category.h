/* quill/web_category.h: names of web categories, web reputation and IP reputation, for policies, logs and displays.
 *
 * All texts are borrowed, constant, and last as long as the process. All functions are reentrant. */
#ifndef QUILL_WEB_CATEGORY_H
#define QUILL_WEB_CATEGORY_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- web reputation */

/* web_cc_cat_rep_range is a band of reputation scores: 72 bytes. */
typedef struct web_cc_cat_rep_range {
    int32_t minimum; /* the lowest score in the band */
    int32_t maximum; /* the highest score in the band */
    char name[64];   /* ends with a NUL; the rest is zeros */
} web_cc_cat_rep_range;

enum { WEB_CC_BANDS = 5 }; /* number of bands */

/* web_cc_cat_rep_ranges contains the bands, with the band of id 1 first. num_web_cc_rep_map_size is the number of
 * bands.
 *
 *     id    scores    name
 *     1     1-20      high-risk
 *     2     21-40     suspicious
 *     3     41-60     moderate-risk
 *     4     61-80     low-risk
 *     5     81-100    trustworthy */
QUILL_API extern const web_cc_cat_rep_range web_cc_cat_rep_ranges[WEB_CC_BANDS];
QUILL_API extern const uint32_t num_web_cc_rep_map_size;

/* web_cc_get_cat_rep_id returns the id of the band that score is in, or 0 when score is in no band (below 1, above
 * 100). */
QUILL_API int web_cc_get_cat_rep_id(int score);

/* --- web categories */

/* web_cc_cat_string returns the name of a category. For a number that is not in this table, such as 0, 70, 72 and 73,
 * it returns "unknown":
 *
 *     1  real-estate                    28 translation                    55 web-based-email
 *     2  computer/internet-security     29 reference/research             56 malware-sites
 *     3  financial-services             30 shareware/freeware             57 phishing
 *     4  business-economy               31 peer-to-peer                   58 proxy-avoidance/anonymizers
 *     5  computer/internet-info         32 marijuana                      59 spyware/adware
 *     6  auctions                       33 hacking                        60 music
 *     7  shopping                       34 games                          61 government
 *     8  cult-and-occult                35 philosophy/political-advocacy  62 nudity
 *     9  travel                         36 weapons                        63 news/media
 *     10 abused-drugs                   37 pay-to-surf                    64 illegal
 *     11 adult/pornography              38 hunting/fishing                65 content-delivery-networks
 *     12 home/garden                    39 society                        66 internet-communications
 *     13 military                       40 educational-institutions       67 bot-nets
 *     14 social-networking              41 online-greeting-cards          68 abortion
 *     15 dead-sites                     42 sports                         69 health/medicine
 *     16 Indv-stock-advice-tools        43 swimsuits/intimate-apparels    71 SPAM-URLs
 *     17 training-tools                 44 questionable                   74 dynamically-generated-content
 *     18 dating                         45 kids                           75 parked-domains
 *     19 sex-education                  46 hate/racism                    76 alcohol/tobacco
 *     20 religion                       47 personal-storage               77 private-IP-addresses
 *     21 entertainment/arts             48 violence                       78 image/video-search
 *     22 personal-sites/blogs           49 keyloggers/monitoring          79 fashion/beauty
 *     23 legal                          50 search-engines                 80 recreation/hobbies
 *     24 local-info                     51 internet-portals               81 motor-vehicles
 *     25 streaming-media                52 web-advertisements             82 web-hosting
 *     26 job-search                     53 cheating
 *     27 gambling                       54 gross */
QUILL_API const char *web_cc_cat_string(uint32_t category);

/* --- IP reputation */

/* ip_rep_threat_mask_string returns the name of the lowest set bit of threat_mask that has a name, and "N/A" when no
 * such bit is set. Compatibility: displays have room for only one name, even when the mask has several bits.
 *
 *     0x1    spam source            0x10   scanners               0x100  anonymous proxy
 *     0x2    windows exploits       0x20   denial of service      0x200  reserved
 *     0x4    web attacks            0x40   malware-infected       0x400  cloud providers
 *     0x8    botnets                0x80   phishing               0x800  malicious mobile apps
 *
 *     ip_rep_threat_mask_string(0x88)    botnets */
QUILL_API const char *ip_rep_threat_mask_string(uint32_t threat_mask);

QUILL_END_DECLS

#endif

// Readers of IPv6 texts, prefixes and digits. They are compared with the C library's reader, which one of them calls,
// and with a round trip.
#include <arpa/inet.h>
#include <quill/ipv6.h>

#include "fuzz/fuzz.h"
#include "support/ipv6_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using quill::test::Groups;
    static quill::test::GuardedPage page, out;
    const std::string text = quill::fuzz::Input(data, size).text();
    Groups groups, kept;
    groups.fill(0xeeee);
    kept = groups;
    const bool read = ipv6_str_to_addr(page.hold_text(text), groups.data()) == 1;
    EXPECT(read || groups == kept);
    Groups library;
    EXPECT(!read || !quill::test::library_reads(text, &library) || groups == library);
    EXPECT(!read || text.find_first_not_of("0123456789abcdefABCDEF:") == std::string::npos);
    if (read) {
        Groups again;
        EXPECT(ipv6_str_to_addr(ipv6_to_str(groups.data()), again.data()) == 1 && again == groups);
    }

    char *const prefix = page.hold_text(text);
    const size_t slash = text.find('/');
    const std::string address = text.substr(0, slash);
    uint16_t plen = 0xeeee;
    Groups prefix_groups, address_groups;
    const bool prefixed = ipv6_prefix2addr_mask(prefix, prefix_groups.data(), &plen) == 1;
    EXPECT(prefix == address);
    uint16_t length = 0;
    const bool has_length =
        slash != std::string::npos && (slash + 1 == text.size() || ipv6_wild2len(text.c_str() + slash + 1, &length));
    EXPECT(prefixed == (has_length && ipv6_str_to_addr(address.c_str(), address_groups.data()) == 1));
    EXPECT(!prefixed || (prefix_groups == address_groups && plen == length));
    const uint8_t *const bytes = str_to_ip6(page.hold_text(text));
    EXPECT((bytes != nullptr) == quill::test::library_reads(text, &library));
    EXPECT(!bytes || memcmp(bytes, quill::test::bytes_of(library).data(), 16) == 0);

    std::string digits = text.substr(0, 32);
    digits.resize(32, '0');
    char *const room = quill::fuzz::room(out, QUILL_IPV6_LONG_SIZE);
    char *const source = reinterpret_cast<char *>(page.hold({reinterpret_cast<uint8_t *>(digits.data()), 32}));
    const bool accepted = format_ipv6_with_colon(source, room) == 1;
    EXPECT(accepted == (digits.find_first_not_of("0123456789abcdefABCDEF:") == std::string::npos));
    EXPECT(strlen(room) == (accepted ? 39 : 0));
    return 0;
}

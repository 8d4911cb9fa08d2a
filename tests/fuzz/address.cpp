// Readers of MAC and IP addresses.
#include <arpa/inet.h>
#include <quill/address.h>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page, out;
    const std::string text = quill::fuzz::Input(data, size).text();
    const char *const at = page.hold_text(text);

    char mac_text[QUILL_MAC_STR_SIZE];
    uint8_t mac[6];
    memcpy(mac, str_to_mac(at), 6);
    for (const char delimiter : {':', '-', '.', '\0'}) {
        EXPECT(memcmp(str_to_mac(mac_to_str_w_options(mac, mac_text, delimiter == '-', delimiter)), mac, 6) == 0);
    }
    uint8_t *const valid = out.room(6, 0xee);
    const int is_valid = valid_mac(valid, page.hold_text(text));
    if (is_valid && text.size() == 17) EXPECT(memcmp(valid, str_to_mac(page.hold_text(text)), 6) == 0);

    ip_af_addr address;
    memset(&address, 0xee, sizeof address);
    const char *const address_text = page.hold_text(text);
    uint8_t library[16] = {};
    const bool v4 = inet_pton(AF_INET, text.c_str(), library) == 1;
    const bool v6 = !v4 && inet_pton(AF_INET6, text.c_str(), library) == 1;
    EXPECT(validate_and_assign_ip_addr(address_text, &address) == (v4 || v6));
    EXPECT(str_to_ip(address_text) == inet_addr(text.c_str()));
    if (!v4 && !v6) return 0;
    EXPECT(address.family == (v4 ? QUILL_AF_INET : QUILL_AF_INET6) && memcmp(address.addr, library, 16) == 0);
    ip_af_addr again;
    EXPECT(quill_inet_pton(quill_ip_to_str(address), &again) == 1 && memcmp(&again, &address, sizeof again) == 0);
    for (const size_t room : {size_t{1}, size_t{7}, size_t{QUILL_IP_STR_SIZE}}) {
        const char *const written = quill_ip_to_str_r(address, quill::fuzz::room(out, room), room);
        const std::string whole = quill_ip_to_str(address);
        EXPECT((written != nullptr) == (whole.size() < room));
        EXPECT(!written || written == whole);
    }
    return 0;
}

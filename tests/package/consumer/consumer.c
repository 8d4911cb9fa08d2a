/* A program of another project: writes and reads a message, and keeps its value in a table. */
#include <quill/hash_keyed.h>
#include <quill/sxdr.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
    const uint8_t mac[6] = {2, 0, 0, 0, 0, 1};
    uint8_t message[16], found[6];
    uint32_t vlan;
    uint32_t length = sxdr_write_mac(mac, message);
    length += sxdr_write_u32(120, message + length);

    uint32_t at = sxdr_read_mac(found, message);
    at += sxdr_read_u32(&vlan, message + at);
    if (at != length || memcmp(found, mac, sizeof mac) != 0) return EXIT_FAILURE;

    sHash *stations = _HashCreate(31, __func__, __LINE__);
    if (!stations) return EXIT_FAILURE;
    HashMacInsertKeyAndValue(stations, found, vlan);
    const int kept = HashMacFind(stations, mac) == 120;
    HashDestroy(stations);
    puts(kept ? "kept" : "lost");
    return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}

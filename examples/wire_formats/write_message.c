/* cc write_message.c -lquill -o write_message && ./write_message | ./read_message.py Writes a message with an element
 * of every kind to standard output. */
#include <quill/sxdr.h>
#include <quill/types.h>
#include <stdint.h>
#include <stdio.h>

int main(void) {
    static const uint8_t mac[6] = {0x02, 0, 0, 0, 0, 0x01}, host[16] = {0x20, 0x01, 0x0d, 0xb8, [15] = 1};
    static const union {
        uint8_t bytes[4];
        uint32_t word;
    } ip = {{10, 0, 0, 1}};
    static const ip_af_addr either = {QUILL_AF_INET, {0, 0}, {192, 0, 2, 7}};
    uint8_t message[256], *at = message;
    at += sxdr_write_str("wlan0", at);
    at += sxdr_write_mac(mac, at);
    at += sxdr_write_u8(7, at);
    at += sxdr_write_u16(1000, at);
    at += sxdr_write_u32(70000, at);
    at += sxdr_write_ip(ip.word, at);
    at += sxdr_write_s32(-67, at);
    at += sxdr_write_bool(1, at);
    at += sxdr_write_hex("\xde\xad", 2, at);
    at += sxdr_write_u64(98765432109, at);
    at += sxdr_write_ipv6(host, at);
    at += sxdr_write_ip_af(&either, at);
    at += sxdr_write_str3("long", at);
    at += sxdr_write_hex_len32(1, at);
    *at++ = 0xff;
    at += sxdr_write_hex32("\x01\x02\x03", 3, at);
    const size_t size = (size_t)(at - message);
    return fwrite(message, 1, size, stdout) == size ? 0 : 1;
}

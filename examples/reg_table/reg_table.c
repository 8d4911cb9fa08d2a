/* cc reg_table.c -lquill -o reg_table && ./reg_table verify table.signed
 * Unpacks a regulatory table, validates it, or reads its version, as a device does. */
#include <quill/reg_table.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char **argv) {
    int result;
    char *version = NULL;
    if (argc == 3 && strcmp(argv[1], "verify") == 0) {
        result = parse_validate_encrypted_signed_reg_tbl_file(argv[2]);
    } else if (argc == 3 && strcmp(argv[1], "version") == 0) {
        result = parse_validate_get_reg_tbl_file_ver(argv[2], &version);
    } else if (argc == 4 && strcmp(argv[1], "unpack") == 0) {
        result = decrypt_decompress_reg_tbl_file(argv[2], argv[3]);
    } else {
        fprintf(stderr, "usage: reg_table verify|version FILE\n       reg_table unpack FILE.gz OUT\n");
        return 2;
    }
    putchar('\n'); /* after the messages of the library */
    if (version) printf("version: %s", version);
    printf("%s\n", result == 0 ? "done" : "refused");
    if (result != 0) printf("code: %d\n", result);
    return result != 0;
}

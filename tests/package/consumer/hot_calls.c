/* hot_calls [COUNT]: prints the result of some work with hot calls. Without a count, the program breaks a contract. */
#include <quill/idx_table.h>
#include <quill/list.h>
#include <quill/sxdr.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv) {
    const unsigned count = argc > 1 ? (unsigned)strtoul(argv[1], NULL, 10) : 0;
    sList *const list = ListCreate();
    idx_table *const table = idx_table_create(1, 4000);
    uint8_t message[60], *end = message;
    uint32_t sum = 0;
    if (!list || !table) return 1;
    for (unsigned i = 0; i < count; i++) {
        uint16_t index = 0;
        if (idx_table_index_alloc(table, &index) == 0) sum += index;
        ListInsert(list, argv[0] + i % 2);
    }
    sListNode *cursor = NULL;
    ListGetR(list, LIST_OP_FIRST, count ? &cursor : NULL);
    for (quill_word object; (object = ListGetR(list, LIST_OP_NEXT, &cursor)) != 0;)
        sum += object == (quill_word)argv[0];
    for (uint32_t i = 0; i < 12; i++) end += sxdr_write_u32(sum + i, end);
    for (const uint8_t *byte = message; byte < end; byte++) printf("%02x", *byte);
    printf(" %u\n", (unsigned)sum);
    idx_table_free(table);
    ListDestroy(list);
    return 0;
}

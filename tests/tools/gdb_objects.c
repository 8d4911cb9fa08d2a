/* Makes one of each object that gdb prints, damages some, and aborts. */
#include <quill/quill.h>

#include <stdlib.h>

static uint32_t numbers[] = {7, 1000, 60000};
static struct station {
    char name[8];
    savle link;
} stations[] = {{.name = "ash"}, {.name = "birch"}};
static savl by_number[3];
static savl_tree tree = SAVL_TREE_INIT(tree, savl_u32_compare);
static savle_tree by_name = SAVLE_TREE_INIT(by_name, savle_string_compare, struct station, link, name, NULL);
static ip_af_addr address = {QUILL_AF_INET6, {0}, {0xfe, 0x80, [15] = 1}};
static sHash *words, *texts, *macs, *addresses;
static sList *list, *cyclic_list;
static rb_tree *wild_keys;
static btree *cyclic_keys;
static idx_table *indices;
static smss_ctx query;
static quill_writer writer;
static quill_reader reader;
static md5_context digest;
vmap *vlans;
tlv_row rows[] = {{NULL, NULL, 0, NULL, 0}, {numbers, uinthdlr, 4, "vlan", 1}, {numbers, strhdlr, 4, "name", 0}};

static int order(const void *a, const void *b) { return (a > b) - (a < b); }
static int order_for(const void *a, const void *b, void *config) { return (void)config, order(a, b); }

int main(void) {
    uint16_t index;
    words = HashCreate(7), texts = HashCreate(7), macs = HashCreate(7), addresses = HashCreate(7);
    list = ListCreate(), cyclic_list = ListCreate(), wild_keys = rbinit(order_for, NULL);
    sListNode *nodes[3];
    for (int i = 0; i < 3; i++) {
        HashInsertKeyAndValue(words, numbers[i], 1);
        ListInsert(list, &numbers[i]);
        nodes[i] = ListInsertRN(cyclic_list, &numbers[i]);
        rbsearch(&numbers[i], wild_keys);
        btree_search(&numbers[i], &cyclic_keys, order);
        by_number[i].key = &numbers[i];
        savl_insert(&by_number[i], i > 0 ? &by_number[i - 1] : &tree.head, 1);
    }
    savle_insert(&stations[0].link, &by_name.head, 1);
    savle_insert(&stations[1].link, &stations[0].link, 1);
    HashStringInsertKeyAndValue(texts, "a \"name\"", 5);
    HashMacInsertKeyAndValue(macs, "\0\x1b\x63\xaa\xbb\xcc", 0x12345678);
    HashIpAfAddrInsert(addresses, &address);
    indices = idx_table_create(10, 1);
    idx_table_index_alloc(indices, &index);
    idx_table_index_reserve(indices, 3);
    vlans = vmap_from_string("1-10,20,4094");
    smss_init(&query);
    smss_add_object(&query, &stations[0]);
    smss_add_search_criterion(&query, "name", "print");
    static uint8_t message[64];
    writer = quill_writer_init(message, sizeof message);
    quill_write_u16(&writer, "vlan", 20);
    quill_write_u16(&writer, "port", 5);
    reader = quill_reader_init(message, writer.next);
    quill_read_u32(&reader, "vlan", numbers);
    MD5Init(&digest);
    MD5Update(&digest, "abc", 3);
    vlan_alloc_init(NULL);
    vlan_alloc_add(20, 2, NULL);
    openlog("stationd", 1, 0);

    sHashCursor wild;
    HashGetR(words, HASH_OP_FIRST, 0, &wild);
    ((void **)(void *)wild.element)[1] = (void *)0x10; /* the copy of a text key */
    ((void **)(void *)nodes[1])[1] = (void *)nodes[1]; /* the next node */
    wild_keys->root->right = (rb_node *)0x10;
    cyclic_keys->right->right->left = cyclic_keys;
    query.result_count = 9;
    abort();
}

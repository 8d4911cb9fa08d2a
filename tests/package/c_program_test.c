/* A C program over the shared object, for every machine: the bytes on the wire, the records that tools read, and each
 * family once. */
#include <errno.h>
#include <quill/quill.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#ifdef PROJECT_VERSION /* by the build, but not by the analysis of this file */
#define VERSION_OF(...) QUILL_VERSION_NUMBER(__VA_ARGS__)
_Static_assert(QUILL_VERSION == VERSION_OF(PROJECT_VERSION), "the headers have another version than the project");
#endif

static int failures;

#define CHECK(holds) ((holds) ? (void)0 : (void)(failures++, printf("line %d: %s\n", __LINE__, #holds)))

static quill_word count_messages(unsigned level, const char *message) {
    static quill_word messages;
    CHECK(level <= 1 && message[0] != '\0');
    return ++messages;
}

static void wire(void) {
    static const uint8_t expected[] = {
        2,  0x12,                                                                        /* u8 */
        3,  0x12, 0x34,                                                                  /* u16 */
        4,  0x12, 0x34, 0x56, 0x78,                                                      /* u32 */
        9,  1,    2,    3,    4,    5,    6,   7, 8,                                     /* u64 */
        6,  7,    2,    1,    4,    0,    0,   0, 1,                                     /* s32 */
        7,  2,    1,                                                                     /* bool */
        5,  10,   0,    0,    1,                                                         /* ip */
        11, 0,    2,    0,    0,    10,   0,   0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, /* ip_af */
        0,  0,    2,    'h',  'i',                                                       /* str */
        12, 0,    0,    0,    2,    'h',  'i',                                           /* str3 */
        13, 0,    0,    1,    0,                                                         /* hex_len32 */
        14, 0,    0,    0,    1,    0xff,                                                /* hex32 */
    };
    static const uint8_t ip_bytes[4] = {10, 0, 0, 1};
    const ip_af_addr ip_af = {QUILL_AF_INET, {0, 0}, {10, 0, 0, 1}};
    uint8_t buffer[sizeof expected];
    uint8_t *at = buffer;
    uint32_t ip;
    memcpy(&ip, ip_bytes, sizeof ip);
    at += sxdr_write_u8(0x12, at);
    at += sxdr_write_u16(0x1234, at);
    at += sxdr_write_u32(0x12345678, at);
    at += sxdr_write_u64(0x0102030405060708, at);
    at += sxdr_write_s32(-1, at);
    at += sxdr_write_bool(5, at);
    at += sxdr_write_ip(ip, at);
    at += sxdr_write_ip_af(&ip_af, at);
    at += sxdr_write_str("hi", at);
    at += sxdr_write_str3("hi", at);
    at += sxdr_write_hex_len32(256, at);
    at += sxdr_write_hex32("\xff", 1, at);
    CHECK(at == buffer + sizeof buffer);
    CHECK(memcmp(buffer, expected, sizeof expected) == 0);

    int32_t number = 0;
    uint32_t cursor = 19;
    CHECK(sxdr_read_s32_safe(buffer, sizeof buffer, &cursor, &number, sizeof number) == 4);
    CHECK(number == -1 && cursor == 28);
    errno = 0;
    CHECK(sxdr_read_s32_safe(buffer, sizeof buffer, &cursor, &number, sizeof number) == -1);
    CHECK(errno == EBADMSG && cursor == 28);
}

static void containers(void) {
    static const uint8_t mac[6] = {0, 0x1b, 0x63, 0xaa, 0xbb, 0xcc};
    sHash *table = _HashCreate(7, __func__, __LINE__);
    CHECK(table && HashMacUpdateKeyAndValue(table, mac, 20) == 1);
    CHECK(HashMacFind(table, mac) == 20);
    void *stats = NULL;
    const uint32_t size = hash_get_stats(&stats);
    CHECK(size == 80 && memcmp((char *)stats + 16, "containers", 11) == 0);
    free(stats);
    HashDestroy(table);

    sList *list = ListCreate();
    CHECK(list && ListInsert(list, &table) == 1 && ListGet(list, LIST_OP_FIRST) == 1);
    ListDestroy(list);

    idx_table *ids = idx_table_create(100, 90);
    uint16_t id = 0;
    CHECK(ids && idx_table_index_alloc(ids, &id) == 0 && id == 100);
    idx_table_free(ids);
}

struct station {
    uint32_t id;
    char name[8];
    savl by_name;
    savle by_id;
};

static savl_tree by_name = SAVL_TREE_INIT(by_name, savl_string_compare_ic);
static savle_tree by_id = SAVLE_TREE_INIT(by_id, savle_u32_compare, struct station, by_id, id, NULL);

static void avl_trees(void) {
    CHECK(sizeof(savl) == (sizeof(void *) == 4 ? 28 : 56) && sizeof(savl_tree) == sizeof(savl) + sizeof(void *));
    CHECK(sizeof(savle) == (sizeof(void *) == 4 ? 24 : 48));
    CHECK(sizeof(savle_tree) == sizeof(savle) + 2 * sizeof(void *) + 8);
    static struct station stations[100];
    for (uint32_t i = 0; i < 100; i++) {
        struct station *s = &stations[i];
        s->id = i * 37 % 100;
        snprintf(s->name, sizeof s->name, "%s%02u", i % 2 ? "ap" : "AP", (unsigned)(i * 53 % 100));
        s->by_name.key = s->name;
        savl *at;
        savle *at_id;
        int side;
        CHECK(!savl_find(&by_name, s->name, &at, &side));
        savl_insert(&s->by_name, at, side);
        CHECK(!savle_find(&by_id, &s->id, &at_id, &side));
        savle_insert(&s->by_id, at_id, side);
    }
    const uint32_t id = 42;
    CHECK(SAVL_OBJECT(savle_find(&by_id, &id, NULL, NULL), struct station, by_id)->id == 42);
    unsigned count = 0;
    SAVLE_FOREACH(node, &by_id) CHECK(SAVL_OBJECT(node, struct station, by_id)->id == count++);
    SAVL_FOREACH(node, &by_name) {
        CHECK(atoi(SAVL_OBJECT(node, struct station, by_name)->name + 2) == (int)(100 - count--));
        savl_delete(node);
    }
    CHECK(count == 0 && by_name.head.right == NULL && by_name.head.next == &by_name.head);
}

static int compare_in_config(const void *a, const void *b, void *config) {
    ++*(int *)config;
    return strcmp(a, b);
}

static int compare_texts(const void *a, const void *b) { return strcmp(a, b); }

static void count_key(void *key, int visit, int depth, void *argument) {
    *(int *)argument += key != NULL && (visit == QUILL_POSTORDER || visit == QUILL_LEAF) && depth < 4;
}

static int nodes;
static void count_node(const btree *node, int visit, int depth) {
    nodes += *(char *const *)node == node->key && (visit == QUILL_POSTORDER || visit == QUILL_LEAF) && depth < 3;
}

static void heap_trees(void) {
    const char *keys[] = {"eth1", "eth0", "wlan0"};
    int comparisons = 0, count = 0;
    rb_tree *set = rbinit(compare_in_config, &comparisons);
    btree *root = NULL;
    for (int i = 0; i < 3; i++) {
        CHECK(rbsearch(keys[i], set) == keys[i]);
        CHECK(btree_search(keys[i], &root, compare_texts)->key == keys[i]);
    }
    CHECK(comparisons > 0 && sizeof *set->root == (sizeof(void *) == 4 ? 20 : 40));
    CHECK(rblookup(RB_LOOKUP_ABOVE, "eth1", set) == keys[2]);
    CHECK(btree_next("eth1", root, compare_texts) == keys[2]);
    rbwalk(set, count_key, &count);
    btree_walk(root, count_node);
    CHECK(count == 3 && nodes == 3);
    CHECK(rbdelete("eth1", set) == keys[0] && rb_null.left == &rb_null && set->root->up == &rb_null);
    rb_list_cursor *cursor = rbopenlist(set);
    CHECK(rbreadlist(cursor) == keys[1] && rbreadlist(cursor) == keys[2] && !rbreadlist(cursor));
    rbcloselist(cursor);
    rbterminate(set, 0);
    while (root) CHECK(btree_delete(root->key, &root, compare_texts) != NULL);
}

static int field_type(const void *object, const char *field) {
    (void)object;
    return strcmp(field, "id") == 0 ? SMSS_NUMBER : SMSS_TEXT;
}
static uint32_t field_number(const void *object, const char *field) {
    (void)field;
    return ((const struct station *)object)->id;
}
static void field_text(char *buffer, const void *object, const char *field) {
    (void)field;
    strcpy(buffer, ((const struct station *)object)->name);
}

static void search(void) {
    struct station stations[] = {{.id = 1, .name = "ap1"}, {.id = 3, .name = "AP3"}, {.id = 2, .name = "sw"}};
    smss_ctx query;
    smss_init(&query);
    query.field_type = field_type;
    query.number = field_number;
    query.text = field_text;
    for (int i = 0; i < 3; i++) smss_add_object(&query, &stations[i]);
    smss_add_search_criterion(&query, "name", "Ap");
    smss_add_sort_criterion(&query, "id", "desc");
    CHECK(smss_search(&query, 0, 1) == 0);
    CHECK(query.total == 2 && query.result_count == 1 && query.results[0] == &stations[1]);
    smss_deinit(&query);
}

static void vlans(void) {
    static const uint8_t mac[6] = {0, 0, 0, 0, 0, 5};
    static const uint16_t pool[] = {10, 20, 30};
    vmap *map = vmap_from_string("10-20,30");
    CHECK(map && vmap_delete_range(&map, 15, 15) == 1);
    CHECK(strcmp(vmap_to_string(map), "10-14,16-20,30") == 0);
    vmap_free(map);

    CHECK(vlan_alloc_init(count_messages) == (quill_word)vlanPool_usage_hash_table);
    CHECK(vlan_alloc_assign_hashBased(pool, 3, mac) == 30);
    CHECK(vlan_alloc_update(30, 1, count_messages) == 1);
    CHECK(HashFind(vlanPool_usage_hash_table, 30) == 2);
    vlan_alloc_exit();
}

/* The client is ours and not the C library's, which keeps its mask when it is closed. */
static void addresses(void) {
    const uint8_t *mac = str_to_mac("0x001a2b3c4d5e");
    ip_af_addr address;
    uint16_t groups[8];
    CHECK(strcmp(mac_to_str(mac), "00:1a:2b:3c:4d:5e") == 0);
    CHECK(strcmp(ip_to_str(str_to_ip("10.0.0.1")), "10.0.0.1") == 0);
    CHECK(!is_unicast_ipaddr(str_to_ip("224.0.0.1")) && is_unicast_ipaddr(str_to_ip("1.0.0.224")));
    CHECK(quill_inet_pton("2001:db8::1", &address) == 1 && strcmp(quill_ip_to_str(address), "2001:db8::1") == 0);
    CHECK(quill_inet_pton("0x7f.1", &address) == 1 && strcmp(quill_ip_to_str(address), "127.0.0.1") == 0);
    CHECK(memcmp(address.addr + 4, ipv6_zeros, 12) == 0);
    CHECK(ipv6_str_to_addr("2001:db8::1", groups) == 1 && groups[0] == 0x2001 && groups[7] == 1);
    CHECK(strcmp(ipv6_to_str(groups), "2001:db8::1") == 0);
    CHECK(strcmp(ip6_to_str_long(ipv6_loopback), "0000:0000:0000:0000:0000:0000:0000:0001") == 0);
}

static void logs(void) {
    CHECK(setlogmask(LOG_UPTO(LOG_ERR)) == 0xff);
    CHECK(setlogmask(0) == LOG_UPTO(LOG_ERR));
    LogHandle *log = CreateLog(QUILL_LEVEL_SILENT, QUILL_LEVEL_DEBUG, "c_program", 0, LOG_DAEMON);
    CHECK(log && strcmp(log->name, "c_program") == 0 && log->syslog_level == 5);
    QuillLog(log, QUILL_LEVEL_DEBUG, "%s", "masked");
    DestroyLog(log);
    CHECK(setlogmask(0) == 0xff);
}

static void texts(void) {
    char escaped[2 * sizeof "a;b c"];
    escape_shell_specialchars("a;b c", escaped);
    CHECK(strcmp(escaped, "a\\;b c") == 0);
    char name[64];
    CHECK(strcmp(fqln_build("b1", "f2", "r.3", "x", name, sizeof name), "b1.f2.r\\.3.x") == 0);
    CHECK(strcmp(dbm_pwr_to_str(175), "17.5") == 0 && str_to_proto(proto_to_str(6)) == 6);
}

static void regulatory_table(void) {
    CHECK(Parent_CA_Cert[0] == 0x30 && Top_CA_Cert_1[0] == 0x30 && Top_CA_Certs_count == 1);
    char *version = NULL;
    CHECK(decrypt_decompress_reg_tbl_file(NULL, NULL) == QUILL_REG_TABLE_NULL_PATH);
    CHECK(parse_validate_get_reg_tbl_file_ver(NULL, &version) == QUILL_REG_TABLE_NOT_SPLIT && !version);
    CHECK(strcmp(log_buf, "Error encountered while parsing or validating the file") == 0);
}

static void security(void) {
    static const uint8_t expected[MD5_DIGEST_SIZE] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                                      0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    uint8_t digest[MD5_DIGEST_SIZE];
    md5_context context;
    MD5Init(&context);
    MD5Update(&context, "abc", 3);
    CHECK(sizeof context == 88 && context.count[0] == 24 && context.count[1] == 0);
    MD5Final(digest, &context);
    CHECK(memcmp(digest, expected, sizeof digest) == 0);
    CHECK(calc_hmac_md5("key", 3, "", 0, digest) == 1);

    CHECK(web_cc_get_cat_rep_id(web_cc_cat_rep_ranges[num_web_cc_rep_map_size - 1].minimum) == 5);
    CHECK(strcmp(web_cc_cat_string(82), "web-hosting") == 0 && strcmp(ip_rep_threat_mask_string(0x88), "botnets") == 0);

    char text[16] = "";
    uint8_t hidden[3];
    CHECK(scrambleString("a\xff,", hidden) == 3 && unscrambleString(hidden, text, 3) == 3);
    CHECK(strcmp(text, "a\xff,") == 0);
    CHECK(string_encode("a,b*c", text, 7, ',') == 0 && strcmp(text, "a*\\b*Zc") == 0);
}

static void processes(void) {
    char ends_by_exit[] = "sh  -c  exit\t3 ";
    CHECK(execute_command_status_no_io(ends_by_exit, NULL, NULL) == 0x300);
    CHECK(strcmp(ends_by_exit, "sh  -c  exit\t3 ") == 0);
    CHECK(execute_command("exit 3") == 1 && execute_command_status("kill -9 $$") == 9);

    char text[32] = "";
    int child = 0;
    FILE *stream = quill_popen_thr("umask; exit 2", "r", &child);
    CHECK(stream && fgets(text, sizeof text, stream) && strcmp(text, "0022\n") == 0 && child > 0);
    CHECK(stream && quill_pclose_thr(stream, child) == 0x200);
    CHECK(!quill_popen_thr("exit 2", "re", &child) && errno == EINVAL && child == -1);

    char line[] = "set name 'north wing'";
    char *words[3];
    CHECK(cmdline_to_argv(3, words, line) == 3 && strcmp(words[2], "north wing") == 0);
    CHECK(args_to_cmdline(text, sizeof text, "echo", "a;b", (char *)NULL) == 10 && strcmp(text, "echo \"a;b\"") == 0);

    char path[200];
    memset(path, 'a', sizeof path - 1);
    path[sizeof path - 1] = '\0';
    CHECK(saveMachineInfo(path) == 0); /* too long */
}

static void device(void) {
    const uint8_t bssid[6] = {0, 0, 0, 0, 0, 0x2b};
    quill_radio radio = {0};
    radio.vap_count = 16;
    CHECK(sizeof radio == 12 && bssid_to_wifi_vap(&radio, bssid) == 11);
    CHECK(isHalvoraAp(17) && getEnv("bootargs", NULL) == -1 && gettid() > 0);
    CHECK(set_ap_flash_dev_name("/dev/mtd1") == 9 && strcmp(get_ap_flash_dev_name(), "/dev/mtd1") == 0);
    CHECK(check_eol_ap_version("4.2.0.0-4.1.0.0", 42) == 1 && get_os_version() != NULL);
    CHECK(ap_get_image_type(ap_get_image_filename(43)) == 43 && isImgCompatWithCfg(3, 1, 0, 0, 3, 2) == 0);
    CHECK(sizeof def_cell_profiles == 9360 && strcmp(def_cell_profiles[8].name, "ZTE_MF626") == 0);
    CHECK(is_file_present("/") == 1 && freeDisk(0) != -1);
}

int main(void) {
    logs();
    processes();
    regulatory_table();
    device();
    wire();
    containers();
    avl_trees();
    heap_trees();
    search();
    vlans();
    addresses();
    texts();
    security();
    CHECK(hash_table_list != NULL);
    if (failures == 0) printf("ok\n");
    return failures != 0;
}

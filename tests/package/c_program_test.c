/* A C program over the shared object, for every machine. It checks the records that tools read, and calls functions of
 * each family that the examples, which are C programs too, do not call. */
#include <errno.h>
#include <quill/quill.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#ifdef PROJECT_VERSION /* defined by the build, but not by the analysis of this file */
#define VERSION_OF(...) QUILL_VERSION_NUMBER(__VA_ARGS__)
_Static_assert(QUILL_VERSION == VERSION_OF(PROJECT_VERSION), "the headers have another version than the project");
#endif

_Static_assert(sizeof(savl) == (sizeof(void *) == 4 ? 28 : 56), "savl");
_Static_assert(sizeof(savl_tree) == sizeof(savl) + sizeof(void *), "savl_tree");
_Static_assert(sizeof(savle) == (sizeof(void *) == 4 ? 24 : 48), "savle");
_Static_assert(sizeof(savle_tree) == sizeof(savle) + 2 * sizeof(void *) + 8, "savle_tree");
_Static_assert(sizeof(rb_node) == (sizeof(void *) == 4 ? 20 : 40), "rb_node");
_Static_assert(sizeof(quill_radio) == 12 && sizeof(md5_context) == 88, "quill_radio, md5_context");

static int failures;

#define CHECK(holds) ((holds) ? (void)0 : (void)(failures++, printf("line %d: %s\n", __LINE__, #holds)))

static void tables(void) {
    static const uint8_t lowest[] = {6, 7, 2, 1, 4, 0x80, 0, 0, 0};
    int32_t number = 0;
    CHECK(sxdr_read_s32_safe(lowest, sizeof lowest, NULL, &number, sizeof number) == 4 && number == INT32_MIN);

    sHash *table = _HashCreate(7, __func__, __LINE__);
    void *stats = NULL;
    CHECK(table && hash_table_list != NULL);
    CHECK(hash_get_stats(&stats) == 80 && memcmp((char *)stats + 16, "tables", 7) == 0);
    free(stats);
    HashDestroy(table);

    idx_table *ids = idx_table_create(100, 90);
    uint16_t id = 0;
    CHECK(ids && idx_table_index_alloc(ids, &id) == 0 && id == 100);
    idx_table_free(ids);
}

struct station {
    uint32_t id;
    char name[8];
    savl by_name;
};

static int in_config(const void *a, const void *b, void *config) { return ++*(int *)config, strcmp(a, b); }
static int by_text(const void *a, const void *b) { return strcmp(a, b); }

static int type_of(const void *object, const char *field) {
    return object && strcmp(field, "id") == 0 ? SMSS_NUMBER : SMSS_TEXT;
}
static uint32_t number_of(const void *object, const char *field) {
    return field ? ((const struct station *)object)->id : 0;
}
static void text_of(char *buffer, const void *object, const char *field) {
    if (field) strcpy(buffer, ((const struct station *)object)->name);
}

static void trees_and_searches(void) {
    static savl_tree names = SAVL_TREE_INIT(names, savl_string_compare_ic);
    struct station stations[] = {{.id = 2, .name = "AP2"}, {.id = 1, .name = "ap1"}, {.id = 3, .name = "ap3"}};
    const char *const first = stations[1].name, *const last = stations[2].name;
    int comparisons = 0;
    rb_tree *set = rbinit(in_config, &comparisons);
    btree *root = NULL;
    smss_ctx query;
    smss_init(&query);
    query.field_type = type_of, query.number = number_of, query.text = text_of;
    for (struct station *s = stations; s < stations + 3; s++) {
        savl *at;
        int side;
        CHECK(!savl_find(&names, s->by_name.key = s->name, &at, &side));
        savl_insert(&s->by_name, at, side);
        CHECK(rbsearch(s->name, set) == s->name && btree_search(s->name, &root, by_text)->key == s->name);
        smss_add_object(&query, s);
    }
    smss_add_search_criterion(&query, "name", "Ap");
    smss_add_sort_criterion(&query, "id", "desc");
    CHECK(smss_search(&query, 0, 1) == 0 && query.total == 3 && query.results[0] == &stations[2]);
    smss_deinit(&query);

    unsigned count = 0;
    SAVL_FOREACH(node, &names) {
        CHECK(SAVL_OBJECT(node, struct station, by_name)->id == ++count);
        savl_delete(node);
    }
    CHECK(count == 3 && names.head.right == NULL && names.head.next == &names.head);
    CHECK(comparisons > 0 && rblookup(RB_LOOKUP_ABOVE, first, set) == last && rb_null.left == &rb_null);
    rbterminate(set, 0);
    CHECK(btree_next(first, root, by_text) == last);
    while (root) CHECK(btree_delete(root->key, &root, by_text) != NULL);
}

static void texts(void) {
    ip_af_addr address;
    uint16_t groups[8];
    CHECK(strcmp(ip_to_str(str_to_ip("10.0.0.1")), "10.0.0.1") == 0);
    CHECK(!is_unicast_ipaddr(str_to_ip("224.0.0.1")) && is_unicast_ipaddr(str_to_ip("1.0.0.224")));
    CHECK(quill_inet_pton("0x7f.1", &address) == 1 && strcmp(quill_ip_to_str(address), "127.0.0.1") == 0);
    CHECK(memcmp(address.addr + 4, ipv6_zeros, 12) == 0);
    CHECK(ipv6_str_to_addr("2001:db8::1", groups) == 1 && groups[0] == 0x2001 && groups[7] == 1);
    char text[64] = "";
    CHECK(strcmp(fqln_build("b1", "f2", "r.3", "x", text, sizeof text), "b1.f2.r\\.3.x") == 0);
    CHECK(strcmp(dbm_pwr_to_str(175), "17.5") == 0 && str_to_proto(proto_to_str(6)) == 6);
    CHECK(scrambleString("a\xff,", (uint8_t *)text) == 3 && string_encode("a,b*c", text, 7, ',') == 0);
    CHECK(strcmp(text, "a*\\b*Zc") == 0);
    char line[] = "set name 'north wing'", *words[3];
    CHECK(cmdline_to_argv(3, words, line) == 3 && strcmp(words[2], "north wing") == 0);
    CHECK(args_to_cmdline(text, sizeof text, "echo", "a;b", (char *)NULL) == 10 && strcmp(text, "echo \"a;b\"") == 0);
}

static void security(void) {
    uint8_t digest[MD5_DIGEST_SIZE];
    md5_context context;
    MD5Init(&context);
    MD5Update(&context, "abc", 3);
    CHECK(context.count[0] == 24 && context.count[1] == 0);
    MD5Final(digest, &context);
    CHECK(memcmp(digest, "\x90\x01\x50\x98\x3c\xd2\x4f\xb0\xd6\x96\x3f\x7d\x28\xe1\x7f\x72", sizeof digest) == 0);
    CHECK(web_cc_get_cat_rep_id(web_cc_cat_rep_ranges[num_web_cc_rep_map_size - 1].minimum) == 5);
    CHECK(Parent_CA_Cert[0] == 0x30 && Top_CA_Cert_1[0] == 0x30 && Top_CA_Certs_count == 1);
    char *version = NULL;
    CHECK(parse_validate_get_reg_tbl_file_ver(NULL, &version) == QUILL_REG_TABLE_NOT_SPLIT && !version);
    CHECK(strcmp(log_buf, "Error encountered while parsing or validating the file") == 0);
}

/* Proves that the log client is the library's. The C library's client would keep its mask after closelog. */
static void logs(void) {
    CHECK(setlogmask(LOG_UPTO(LOG_ERR)) == 0xff && setlogmask(0) == LOG_UPTO(LOG_ERR));
    closelog();
    CHECK(setlogmask(0) == 0xff);
}

static void device(void) {
    const uint8_t bssid[6] = {0, 0, 0, 0, 0, 0x2b};
    const quill_radio radio = {.vap_count = 16};
    CHECK(bssid_to_wifi_vap(&radio, bssid) == 11 && isHalvoraAp(17) && gettid() > 0);
    CHECK(set_ap_flash_dev_name("/dev/mtd1") == 9 && strcmp(get_ap_flash_dev_name(), "/dev/mtd1") == 0);
    CHECK(check_eol_ap_version("4.2.0.0-4.1.0.0", 42) == 1 && get_os_version() != NULL);
    CHECK(ap_get_image_type(ap_get_image_filename(43)) == 43 && isImgCompatWithCfg(3, 1, 0, 0, 3, 2) == 0);
    CHECK(sizeof def_cell_profiles == 9360 && strcmp(def_cell_profiles[8].name, "ZTE_MF626") == 0);
    CHECK(is_file_present("/") == 1 && freeDisk(0) != -1);
    CHECK(execute_command("exit 3") == 1 && execute_command_status("kill -9 $$") == 9);
    int child = 0;
    CHECK(!quill_popen_thr("exit 2", "re", &child) && errno == EINVAL && child == -1);
}

int main(void) {
    logs();
    tables();
    trees_and_searches();
    texts();
    security();
    device();
    if (failures == 0) printf("ok\n");
    return failures != 0;
}

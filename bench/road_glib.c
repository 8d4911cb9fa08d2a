/* The daemon of the placement example, as a programmer would write it with GLib and msgpack-c. */
#include "road.h"

#include <glib.h>
#include <msgpack.h>
#include <string.h>

enum { PLACED = 2, KEPT, LEFT };

struct event {
    char *interface;
    guint64 station;
    gboolean associated;
};

static GArray *vlans;        /* of guint32 */
static GHashTable *usage;    /* VLAN → clients */
static GHashTable *stations; /* address → VLAN */
static msgpack_sbuffer buffer;
static guint32 sequence;
static unsigned long digest;

void glib_road_open(const char *pool) {
    vlans = g_array_new(FALSE, FALSE, sizeof(guint32));
    usage = g_hash_table_new(g_direct_hash, g_direct_equal);
    stations = g_hash_table_new_full(g_int64_hash, g_int64_equal, g_free, NULL);
    msgpack_sbuffer_init(&buffer);
    char **ranges = g_strsplit(pool, ",", -1);
    for (char **range = ranges; *range; range++) {
        char **ends = g_strsplit(*range, "-", 2);
        guint64 first = g_ascii_strtoull(ends[0], NULL, 10),
                last = ends[1] ? g_ascii_strtoull(ends[1], NULL, 10) : first;
        for (guint32 vlan = (guint32)first; vlan <= last; vlan++) g_array_append_val(vlans, vlan);
        g_strfreev(ends);
    }
    g_strfreev(ranges);
}

void glib_road_close(void) {
    g_array_free(vlans, TRUE);
    g_hash_table_destroy(usage);
    g_hash_table_destroy(stations);
    msgpack_sbuffer_destroy(&buffer);
}

static guint clients_on(guint32 vlan) { return GPOINTER_TO_UINT(g_hash_table_lookup(usage, GUINT_TO_POINTER(vlan))); }

static void count(guint32 vlan, guint clients) {
    g_hash_table_insert(usage, GUINT_TO_POINTER(vlan), GUINT_TO_POINTER(clients));
}

static guint32 least_used(void) {
    guint32 best = 0;
    guint fewest = G_MAXUINT;
    for (guint i = 0; i < vlans->len; i++) {
        guint32 vlan = g_array_index(vlans, guint32, i);
        guint clients = clients_on(vlan);
        if (clients >= fewest) continue;
        fewest = clients;
        best = vlan;
    }
    return best;
}

static void tell(const struct event *event, guint8 what, guint32 vlan) {
    msgpack_packer to;
    guint8 mac[6];
    for (int i = 0; i < 6; i++) mac[i] = (guint8)(event->station >> (40 - 8 * i));
    msgpack_sbuffer_clear(&buffer);
    msgpack_packer_init(&to, &buffer, msgpack_sbuffer_write);
    msgpack_pack_array(&to, 6);
    msgpack_pack_uint32(&to, sequence++);
    msgpack_pack_uint8(&to, what);
    msgpack_pack_str_with_body(&to, event->interface, strlen(event->interface));
    msgpack_pack_bin_with_body(&to, mac, sizeof mac);
    msgpack_pack_uint32(&to, vlan);
    guint clients = clients_on(vlan);
    msgpack_pack_uint32(&to, clients);
    digest += vlan * 7 + clients + what;
}

static void station_came(const struct event *event) {
    guint32 vlan = GPOINTER_TO_UINT(g_hash_table_lookup(stations, &event->station));
    if (vlan) {
        tell(event, KEPT, vlan);
        return;
    }
    vlan = least_used();
    g_hash_table_insert(stations, g_memdup2(&event->station, sizeof event->station), GUINT_TO_POINTER(vlan));
    count(vlan, clients_on(vlan) + 1);
    tell(event, PLACED, vlan);
}

static void station_left(const struct event *event) {
    guint32 vlan = GPOINTER_TO_UINT(g_hash_table_lookup(stations, &event->station));
    if (!vlan) return;
    g_hash_table_remove(stations, &event->station);
    count(vlan, clients_on(vlan) - 1);
    tell(event, LEFT, vlan);
}

static gboolean parse_mac(const char *text, guint64 *out) {
    *out = 0;
    for (int i = 0; i < 6; i++, text += 3) {
        int high = g_ascii_xdigit_value(text[0]), low = high < 0 ? -1 : g_ascii_xdigit_value(text[1]);
        if (low < 0 || text[2] != (i < 5 ? ':' : ' ')) return FALSE;
        *out = *out << 8 | (guint)(high << 4 | low);
    }
    return TRUE;
}

static gboolean parse_event(const char *line, struct event *event) {
    const char *mark = strstr(line, ": STA ");
    if (!mark) return FALSE;
    const char *start = mark;
    while (start > line && g_ascii_isgraph(start[-1])) start--;
    const char *station = mark + strlen(": STA ");
    if (start == mark || !parse_mac(station, &event->station)) return FALSE;
    const char *what = station + strlen("00:00:00:00:00:00 ");
    if (!g_str_has_prefix(what, "IEEE 802.11: ")) return FALSE;
    what += strlen("IEEE 802.11: ");
    gsize word = strcspn(what, " \t\r");
    event->associated = word == strlen("associated") && memcmp(what, "associated", word) == 0;
    gboolean known = event->associated || (word == strlen("disassociated") && memcmp(what, "disassociated", word) == 0);
    if (known) event->interface = g_strndup(start, (gsize)(mark - start));
    return known;
}

static void handle_line(const char *line) {
    struct event event;
    if (!parse_event(line, &event)) return;
    if (event.associated)
        station_came(&event);
    else
        station_left(&event);
    g_free(event.interface);
}

unsigned long glib_road(const char *log, size_t size) {
    digest = 0;
    GString *line = g_string_new(NULL);
    for (const char *end = log + size; log < end;) {
        const char *newline = memchr(log, '\n', (size_t)(end - log));
        g_string_truncate(line, 0);
        g_string_append_len(line, log, newline - log);
        handle_line(line->str);
        log = newline + 1;
    }
    g_string_free(line, TRUE);
    return digest;
}

/* placement-table: shows the messages of placementd, and how evenly the clients are distributed.
 *
 *     cc -std=c11 -o placement-table placement_table.c placement_msg.c unix_socket.c -lquill
 *     placement-table --listen /run/placement.sock --summary
 *
 * The program accepts one connection, prints a row for every event and ends when the sender closes the connection. It
 * checks every element of a message. It refuses a message that is damaged, is out of order or has a VLAN outside the
 * pool, and prints the offset and the reason. It then reads the next message. Message 0 has the pool. If message 0 is
 * refused, the program ends, because it cannot check other messages.
 *
 * Exit status: 0 all messages were decoded; 1 a message was refused, or no pool was received; 2 bad arguments, or a
 * system call failed. */
#define _GNU_SOURCE /* POSIX in addition to C11, and err.h */
#include <err.h>
#include <errno.h>
#include <getopt.h>
#include <inttypes.h>
#include <langinfo.h>
#include <locale.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <quill/quill.h>

#include "placement_msg.h"
#include "unix_socket.h"

enum {
    CHART_ROWS = 48,  /* with more VLANs, several share a row, so that a chart fits on one or two screens */
    CHART_CELLS = 46, /* the columns of 80 that the figures on both sides do not use */
    DUMP_BYTES = 8,   /* a row */
    DUMP_VALUE = 33   /* the column after them */
};

struct vlan {
    bool in_pool, avoided;
    uint32_t placed, clients, peak;
    uint64_t client_events; /* sum of `clients` over the first `counted` events */
    uint32_t counted;
};

static struct {
    const char *listen, *figures;
    uint32_t rows, dump;
    bool summary;
} option = {.rows = UINT32_MAX, .dump = UINT32_MAX};

static struct vlan vlan[VMAP_LAST_ID + 1]; /* by id */
static uint16_t pool[VMAP_LAST_ID];
static uint32_t pool_count;
static uint32_t received, refused, events, by_event[PLACEMENT_LEFT + 1];
static struct placement_msg message;
static char policy[16], pool_text[PLACEMENT_RANGES_SIZE];

static void show_usage(FILE *to) {
    fputs(
        "usage: placement-table --listen SOCKET [option]...\n"
        "  --listen SOCKET  where to take the connection of placementd\n"
        "  --rows WHICH     all (default), none, or how many of the first events\n"
        "  --dump N         show the bytes of message N with their meaning\n"
        "  --summary        at the end, a chart of the VLANs and the fairness reached\n"
        "  --figures FILE   write the same figures for programs: a name and its value\n"
        "                   a line, then \"vlan ID PLACEMENTS PEAK [avoided]\" for each\n",
        to);
}

/* --- What the messages say */

static void learn_pool(void) {
    static uint16_t marked[VMAP_LAST_ID];
    vmap *map = vmap_from_string(message.pool), *avoid = vmap_from_string(message.avoid);
    if (!map || !avoid) errx(2, "out of memory");
    pool_count = placement_vlans(map, pool);
    for (uint32_t i = 0; i < pool_count; i++) vlan[pool[i]].in_pool = true;
    /* If the list of VLANs to avoid includes the whole pool, the sender uses them all, so none is marked. */
    if (vmap_exclude(&map, avoid) && !vmap_is_empty(map))
        for (uint32_t i = placement_vlans(avoid, marked); i-- > 0;) vlan[marked[i]].avoided = true;
    vmap_free(map);
    vmap_free(avoid);
    snprintf(policy, sizeof policy, "%s", placement_policy_name(message.policy));
    memcpy(pool_text, message.pool, sizeof pool_text);
}

/* Updates the sum up to the current event. The VLAN's clients have not changed since the last update. */
static void count_clients(struct vlan *v) {
    v->client_events += (uint64_t)v->clients * (events - v->counted);
    v->counted = events;
}

static void learn_event(void) {
    struct vlan *v = &vlan[message.vlan];
    count_clients(v);
    v->clients = message.clients;
    if (v->clients > v->peak) v->peak = v->clients;
    v->placed += message.event == PLACEMENT_PLACED;
    by_event[message.event]++;
    events++;
}

static void show_row(void) {
    const uint8_t *mac = message.station;
    if (events > option.rows) return;
    if (events == 1) puts("sequence  event   interface        station            vlan  clients");
    printf("%8" PRIu32 "  %-6s  %-15s  %02x:%02x:%02x:%02x:%02x:%02x  %4" PRIu32 "  %7" PRIu32 "\n", message.sequence,
           placement_event_name(message.event), message.interface, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5],
           message.vlan, message.clients);
}

/* --- Refusals and dumps */

static const char *reason(int error) {
    switch (error) {
        case ENODATA: return "the message ends inside this element";
        case EBADMSG: return "an element of another kind";
        case EMSGSIZE: return "the length runs past the end of the message";
        case EOVERFLOW: return "the value is longer than this one may be";
        case EPROTO: return "the value is not allowed here";
    }
    return "not readable";
}

static void refuse(const struct placement_field *field, int error) {
    fflush(stdout);
    warnx("message %" PRIu32 " refused at offset %" PRIu32 ": %s, found %s, expected %s (%s): %s", received,
          field->offset, reason(error), field->value, field->kind, field->meaning, strerror(error));
    refused++;
}

/* Returns the number of printed columns. */
static int show_bytes(const uint8_t *bytes, uint32_t offset, uint32_t count) {
    int columns = printf("%6" PRIu32 " ", offset);
    for (uint32_t i = 0; i < count && i < DUMP_BYTES; i++) columns += printf(" %02x", bytes[offset + i]);
    return columns;
}

static void show_field(const uint8_t *bytes, const struct placement_field *field, uint32_t size) {
    int columns = show_bytes(bytes, field->offset, size);
    printf("%*s%-7s  %-9s  %.29s\n", DUMP_VALUE - columns, "", field->kind, field->meaning, field->value);
    for (uint32_t at = DUMP_BYTES; at < size; at += DUMP_BYTES) {
        show_bytes(bytes, field->offset + at, size - at);
        putchar('\n');
    }
}

/* The rest of a refused message is shown as bytes: after a false length or tag, elements cannot be separated. */
static void show_dump(const uint8_t *bytes, uint32_t length, const struct placement_trace *trace, bool whole) {
    printf("message %" PRIu32 ", %" PRIu32 " bytes%s\n", received, length, whole ? "" : ", refused");
    printf("offset  %-*s%-7s  %-9s  %s\n", DUMP_VALUE - 8, "bytes", "element", "meaning", "value");
    for (uint32_t i = 0; i < trace->count; i++) show_field(bytes, &trace->field[i], trace->field[i].size);
    if (whole) return;
    struct placement_field rest = trace->field[trace->count];
    rest.kind = "refused";
    show_field(bytes, &rest, length - rest.offset);
}

/* --- Receiving */

/* The decoder checks the rules of the format. This function checks the rules for the order of messages. Returns the
 * field that breaks a rule, or null. */
static const struct placement_field *misplaced(struct placement_trace *trace) {
    if (message.sequence != received) return &trace->field[0];
    if ((message.event == PLACEMENT_POOL) != (received == 0)) return &trace->field[1];
    if (message.event != PLACEMENT_POOL && !vlan[message.vlan].in_pool) return &trace->field[4];
    return NULL;
}

static bool take_message(const uint8_t *bytes, uint32_t length) {
    struct placement_trace trace;
    bool whole = placement_decode(bytes, length, &message, &trace) == 0;
    int error = whole ? EPROTO : errno;
    const struct placement_field *wrong = whole ? misplaced(&trace) : &trace.field[trace.count];
    if (received == option.dump) show_dump(bytes, length, &trace, whole);
    if (wrong) {
        refuse(wrong, error);
        return received != 0;
    }
    if (message.event == PLACEMENT_POOL) {
        learn_pool();
        return true;
    }
    learn_event();
    show_row();
    return true;
}

static void receive_all(int fd) {
    static uint8_t bytes[PLACEMENT_SIZE];
    bool more = true;
    for (; more; received++) {
        ssize_t got;
        do got = recv(fd, bytes, sizeof bytes, MSG_TRUNC);
        while (got < 0 && errno == EINTR);
        if (got < 0) err(2, "cannot receive message %" PRIu32, received);
        if (got == 0) break;
        if ((size_t)got > sizeof bytes)
            errx(1, "message %" PRIu32 " refused: found %zd bytes, expected at most %zu", received, got, sizeof bytes);
        more = take_message(bytes, (uint32_t)got);
    }
}

/* --- The summary */

/* Returns Jain's index, (sum of x)² / (n · sum of x²), over the VLANs that may be used. It is 1 when all VLANs have the
 * same load, and 1/n when one VLAN has the whole load. The load x of a VLAN is its number of clients, averaged over the
 * events. Each event has the same weight, whatever the time until the next event is, because a log may have no times.
 * The division by the number of events cancels out, so the function uses the sums in place of the averages. */
static double fairness(void) {
    double sum = 0, squares = 0, n = 0;
    for (uint32_t i = 0; i < pool_count; i++) {
        const struct vlan *v = &vlan[pool[i]];
        double x = (double)v->client_events;
        if (v->avoided) continue;
        n++;
        sum += x;
        squares += x * x;
    }
    return squares > 0 ? sum * sum / (n * squares) : 1;
}

static uint32_t usable_vlans(void) {
    uint32_t count = 0;
    for (uint32_t i = 0; i < pool_count; i++) count += !vlan[pool[i]].avoided;
    return count;
}

/* Prints a bar in steps of an eighth of a cell if the terminal can draw them, else in whole cells. */
static void show_bar(double share) {
    static const char *const part[] = {"", "\u258f", "\u258e", "\u258d", "\u258c", "\u258b", "\u258a", "\u2589"};
    bool blocks = strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    int eighths = (int)(share * CHART_CELLS * 8 + 0.5);
    int full = blocks ? eighths / 8 : (eighths + 4) / 8, rest = blocks ? eighths % 8 : 0;
    for (int i = 0; i < full; i++) fputs(blocks ? "\u2588" : "#", stdout);
    printf("%s%*s", part[rest], CHART_CELLS - full - (rest != 0), "");
}

/* One row of the chart, for one or more VLANs of the pool that follow each other. */
struct chart_row {
    char label[16];
    double placed; /* mean over the VLANs that may be used */
    uint32_t peak;
    bool avoided; /* whether all VLANs of the row are avoided */
};

static struct chart_row chart_row(uint32_t first, uint32_t count) {
    struct chart_row row = {.avoided = true};
    uint32_t placed = 0, used = 0;
    for (uint32_t i = first; i < first + count; i++) {
        const struct vlan *v = &vlan[pool[i]];
        placed += v->placed;
        used += !v->avoided;
        row.peak = v->peak > row.peak ? v->peak : row.peak;
    }
    row.avoided = used == 0;
    row.placed = used ? (double)placed / used : 0;
    int end = snprintf(row.label, sizeof row.label, "%u", pool[first]);
    if (count > 1) snprintf(row.label + end, sizeof row.label - (size_t)end, "-%u", pool[first + count - 1]);
    return row;
}

static void show_chart_row(const struct chart_row *row, double largest, bool shared) {
    printf("  %9s  ", row->label);
    if (row->avoided) {
        puts("avoided");
        return;
    }
    show_bar(largest > 0 ? row->placed / largest : 0);
    printf("  %8.*f  %5" PRIu32 "\n", shared ? 1 : 0, row->placed, row->peak);
}

static void show_chart(void) {
    struct chart_row row[CHART_ROWS];
    uint32_t share = (pool_count + CHART_ROWS - 1) / CHART_ROWS, rows = 0;
    double largest = 0;
    for (uint32_t first = 0; first < pool_count; first += share, rows++) {
        row[rows] = chart_row(first, pool_count - first < share ? pool_count - first : share);
        largest = row[rows].placed > largest ? row[rows].placed : largest;
    }
    printf("\n  %9s  %-*s  %8s  %5s\n", share > 1 ? "vlans" : "vlan", CHART_CELLS,
           share > 1 ? "placements (mean of the row's VLANs)" : "placements", "", "peak");
    for (uint32_t i = 0; i < rows; i++) show_chart_row(&row[i], largest, share > 1);
}

static void show_summary(void) {
    bool cut = strlen(pool_text) > 28;
    printf("policy %s, pool %.*s%s, %" PRIu32 " VLANs", policy, cut ? 25 : 28, pool_text, cut ? "..." : "", pool_count);
    if (usable_vlans() < pool_count) printf(", %" PRIu32 " avoided", pool_count - usable_vlans());
    printf("\n%" PRIu32 " messages decoded, %" PRIu32 " refused; %" PRIu32 " placed, %" PRIu32 " kept, %" PRIu32
           " left\n",
           received - refused, refused, by_event[PLACEMENT_PLACED], by_event[PLACEMENT_KEPT], by_event[PLACEMENT_LEFT]);
    show_chart();
    printf("\nfairness %.4f (Jain's index of the VLANs' mean clients: 1 is even)\n", fairness());
}

static void write_figures(void) {
    FILE *file = fopen(option.figures, "w");
    if (!file) err(2, "cannot write %s", option.figures);
    fprintf(file, "policy %s\ndecoded %" PRIu32 "\nrefused %" PRIu32 "\n", policy, received - refused, refused);
    fprintf(file, "events %" PRIu32 "\nplaced %" PRIu32 "\nkept %" PRIu32 "\nleft %" PRIu32 "\n", events,
            by_event[PLACEMENT_PLACED], by_event[PLACEMENT_KEPT], by_event[PLACEMENT_LEFT]);
    fprintf(file, "vlans %" PRIu32 "\nfairness %.6f\n", usable_vlans(), fairness());
    for (uint32_t i = 0; i < pool_count; i++)
        fprintf(file, "vlan %u %" PRIu32 " %" PRIu32 "%s\n", pool[i], vlan[pool[i]].placed, vlan[pool[i]].peak,
                vlan[pool[i]].avoided ? " avoided" : "");
    if (fclose(file) != 0) err(2, "cannot write %s", option.figures);
}

static void report(void) {
    for (uint32_t i = 0; i < pool_count; i++) count_clients(&vlan[pool[i]]);
    if (option.rows > 0 && events > option.rows) printf("and %" PRIu32 " more events\n", events - option.rows);
    if (option.summary) show_summary();
    if (option.figures) write_figures();
    if (fflush(stdout) != 0) err(2, "cannot write to standard output");
}

/* --- The command line */

static uint32_t parse_number(const char *name, const char *text, const char *expected) {
    char *end;
    errno = 0;
    unsigned long number = strtoul(text, &end, 10);
    if (*text < '0' || *text > '9' || *end || errno || number > INT32_MAX)
        errx(2, "bad --%s: found \"%s\", expected %s", name, text, expected);
    return (uint32_t)number;
}

static uint32_t parse_rows(const char *text) {
    if (strcmp(text, "all") == 0) return UINT32_MAX;
    return strcmp(text, "none") == 0 ? 0 : parse_number("rows", text, "all, none or a number");
}

static void parse_option(int letter) {
    switch (letter) {
        case 'l': option.listen = optarg; break;
        case 'r': option.rows = parse_rows(optarg); break;
        case 'd': option.dump = parse_number("dump", optarg, "the number of a message"); break;
        case 's': option.summary = true; break;
        case 'f': option.figures = optarg; break;
        case 'h': show_usage(stdout); exit(0);
        default: show_usage(stderr); exit(2);
    }
}

static void parse_arguments(int argc, char **argv) {
    static const struct option table[] = {
        {"listen", required_argument, NULL, 'l'},
        {"rows", required_argument, NULL, 'r'},
        {"dump", required_argument, NULL, 'd'},
        {"summary", no_argument, NULL, 's'},
        {"figures", required_argument, NULL, 'f'},
        {"help", no_argument, NULL, 'h'},
        {NULL, 0, NULL, 0},
    };
    for (int letter; (letter = getopt_long(argc, argv, "", table, NULL)) != -1;) parse_option(letter);
    if (argc != optind) errx(2, "bad argument: found \"%s\", expected options alone", argv[optind]);
    if (!option.listen) errx(2, "missing option: found no --listen, expected one");
}

int main(int argc, char **argv) {
    setlocale(LC_CTYPE, "");
    parse_arguments(argc, argv);
    int sender = unix_accept_one(option.listen, SOCK_SEQPACKET);
    receive_all(sender);
    close(sender);
    if (pool_count == 0) {
        warnx("no pool was told: found %" PRIu32 " messages, %" PRIu32 " of them refused", received, refused);
        return 1;
    }
    report();
    return refused ? 1 : 0;
}

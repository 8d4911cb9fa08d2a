/* placementd: places the clients of an access point on the VLANs of a pool.
 *
 *     cc -std=c11 -o placementd placementd.c placement_msg.c unix_socket.c -lquill
 *     placementd --pool 10-20,30 --to /run/placement.sock hostapd.log
 *
 * It reads station events in the form in which hostapd prints them, from a file, from standard input or from a socket:
 *
 *     wlan0: STA 00:1b:63:aa:bb:cc IEEE 802.11: associated
 *     wlan0: STA 00:1b:63:aa:bb:cc IEEE 802.11: disassociated
 *
 * with any text of a log before and after it. A client that associates gets a VLAN. The client keeps this VLAN when it
 * associates again, and releases it when it disassociates. placementd sends a message for each event to the receiver
 * (placement-table). Other lines are counted and skipped.
 *
 * Exit status: 0 the input was read to its end; 1 the receiver has closed the connection; 2 bad arguments, or a system
 * call failed. */
#define _GNU_SOURCE /* POSIX in addition to C11, and err.h */
#include <err.h>
#include <errno.h>
#include <fcntl.h>
#include <getopt.h>
#include <limits.h>
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
    LINE_SIZE = 1024,      /* lines of events in hostapd's log have fewer than 150 bytes */
    STATION_BUCKETS = 1009 /* a prime above 512, the most stations of three radios, so chains are short */
};

struct event {
    char interface[PLACEMENT_INTERFACE_SIZE];
    uint8_t station[6];
    bool associated; /* else disassociated */
};

/* The daemon has one state for the whole process, because the VLAN allocator has only one. */
static struct {
    const char *pool, *avoid, *to, *listen, *file;
    uint8_t policy;
    bool progress, trace;
    uint32_t wait, damage_sequence, damage_offset;
} option = {.policy = PLACEMENT_LEAST_USED, .damage_sequence = UINT32_MAX, .damage_offset = 8};

static uint16_t vlans[VMAP_LAST_ID];
static uint32_t vlan_count;
static uint32_t avoided[VMAP_WORDS]; /* the VLANs of --avoid, one bit for each */
static sHash *stations;              /* address of a placed station → its VLAN, never 0 */
static struct placement_msg message;
static int receiver;
static unsigned long lines, events;

static void show_usage(FILE *to) {
    fputs(
        "usage: placementd --pool VLANS --to SOCKET [option]... FILE|-\n"
        "       placementd --pool VLANS --to SOCKET [option]... --listen SOCKET\n"
        "  --pool VLANS       the VLANs to place clients on, as in 10-20,30\n"
        "  --avoid VLANS      VLANs of the pool to leave alone while others are there\n"
        "  --policy NAME      least-used (default): the VLAN with the fewest clients\n"
        "                     mac-hash: the same VLAN for the same client every time\n"
        "  --to SOCKET        where the receiver of the placements listens\n"
        "  --wait SECONDS     how long to wait for the receiver to listen (default 0)\n"
        "  --listen SOCKET    take one connection here and read the log from it\n"
        "  --damage N[:BYTE]  turn over a byte of message N on its way (default: byte 8,\n"
        "                     a length), to watch the receiver refuse it\n"
        "  --progress         tell on standard error how far it is\n"
        "  --trace            print what the allocator logs on standard error\n",
        to);
}

/* --- The allocator's side */

static quill_word log_allocator(unsigned level, const char *text) {
    if (level == 1 || option.trace) warnx("%s", text);
    return 1;
}

/* Returns a log function only for --trace, because making a text for each change of a usage takes longer than the
 * change. Without a log function, the result of the call shows a failure. */
static vlan_alloc_log change_log(void) { return option.trace ? log_allocator : NULL; }

static uint32_t choose_vlan(const uint8_t *station) {
    const bool by_hash = option.policy == PLACEMENT_MAC_HASH;
    if (!option.avoid)
        return by_hash ? vlan_alloc_assign_hashBased(vlans, vlan_count, station)
                       : vlan_alloc_assign_leastUsed(vlans, vlan_count, log_allocator);
    return by_hash ? vlan_alloc_assign_hashBased_filter(vlans, vlan_count, station, avoided)
                   : vlan_alloc_assign_leastUsed_filter(vlans, vlan_count, log_allocator, avoided);
}

/* The allocator's usage of a VLAN is its number of clients plus 1. */
static uint32_t clients_on(uint32_t vlan) { return (uint32_t)HashFind(vlanPool_usage_hash_table, vlan) - 1; }

static vmap *map_of(const char *name, const char *text) {
    vmap *map = vmap_from_string(text);
    if (!map) errx(2, "bad --%s: found \"%.60s\", expected VLAN ids of 1-4094 as in 10-20,30", name, text);
    return map;
}

static void open_pool(void) {
    vmap *pool = map_of("pool", option.pool), *avoid = map_of("avoid", option.avoid ? option.avoid : "0");
    vlan_count = placement_vlans(pool, vlans);
    if (vlan_count == 0) errx(2, "bad --pool: found no VLAN, expected at least one");
    memcpy(avoided, avoid->words, sizeof avoided);

    stations = HashCreate(STATION_BUCKETS);
    vlan_alloc_init(log_allocator);
    if (!stations || !vlanPool_usage_hash_table) errx(2, "out of memory");
    for (uint32_t i = 0; i < vlan_count; i++)
        if (!vlan_alloc_add(vlans[i], 1, log_allocator)) errx(2, "out of memory for %u VLANs", (unsigned)vlan_count);
    if (!vmap_to_string(pool) || !vmap_to_string(avoid)) errx(2, "out of memory");
    snprintf(message.pool, sizeof message.pool, "%s", vmap_to_string(pool));
    snprintf(message.avoid, sizeof message.avoid, "%s", vmap_to_string(avoid));
    vmap_free(pool);
    vmap_free(avoid);
}

static void close_pool(void) {
    vlan_alloc_exit();
    HashDestroy(stations);
}

/* --- The receiver's side */

static void damage(uint8_t *bytes, uint32_t length) {
    if (option.damage_offset >= length)
        errx(2, "bad --damage: found byte %lu, expected one of the message's %lu", (unsigned long)option.damage_offset,
             (unsigned long)length);
    bytes[option.damage_offset] ^= 0xff;
}

/* The socket keeps message boundaries, so send transfers a whole message or nothing. */
static void send_message(uint8_t event) {
    static uint8_t bytes[PLACEMENT_SIZE];
    message.event = event;
    uint32_t length = placement_encode(&message, bytes, sizeof bytes);
    if (length == 0) err(2, "cannot encode message %lu", (unsigned long)message.sequence);
    if (message.sequence == option.damage_sequence) damage(bytes, length);
    ssize_t sent;
    do sent = send(receiver, bytes, length, MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    if (sent < 0) err(1, "cannot send message %lu to %s", (unsigned long)message.sequence, option.to);
    message.sequence++;
}

static void tell(const struct event *event, uint8_t what, uint32_t vlan) {
    memcpy(message.interface, event->interface, sizeof message.interface);
    memcpy(message.station, event->station, sizeof message.station);
    message.vlan = vlan;
    message.clients = clients_on(vlan);
    send_message(what);
    events++;
}

/* --- Stations come and go */

static void station_came(const struct event *event) {
    uint32_t vlan = (uint32_t)HashMacFind(stations, event->station);
    if (vlan) {
        tell(event, PLACEMENT_KEPT, vlan);
        return;
    }
    vlan = choose_vlan(event->station);
    if (!HashMacInsertKeyAndValue(stations, event->station, vlan)) {
        warnx("cannot place a station: found %ld placed and no memory for more", (long)HashEntries(stations));
        return;
    }
    if (!vlan_alloc_update(vlan, 1, change_log()))
        warnx("cannot count a client on VLAN %u: out of memory", (unsigned)vlan);
    tell(event, PLACEMENT_PLACED, vlan);
}

/* A station that associated before the daemon was started has no VLAN in the table. */
static void station_left(const struct event *event) {
    uint32_t vlan = (uint32_t)HashMacFind(stations, event->station);
    if (!vlan) return;
    HashMacRemove(stations, event->station);
    vlan_alloc_update(vlan, 0, change_log());
    tell(event, PLACEMENT_LEFT, vlan);
}

/* --- The log's side */

/* Uses a table, because a processor cannot predict branches on random digits. */
static int hex_digit(char c) {
    static const signed char value_and_one[UCHAR_MAX + 1] = {
        ['0'] = 1,  ['1'] = 2,  ['2'] = 3,  ['3'] = 4,  ['4'] = 5,  ['5'] = 6,  ['6'] = 7,  ['7'] = 8,
        ['8'] = 9,  ['9'] = 10, ['a'] = 11, ['b'] = 12, ['c'] = 13, ['d'] = 14, ['e'] = 15, ['f'] = 16,
        ['A'] = 11, ['B'] = 12, ['C'] = 13, ['D'] = 14, ['E'] = 15, ['F'] = 16,
    };
    return value_and_one[(unsigned char)c] - 1;
}

/* Reads a MAC address such as 00:1b:63:aa:bb:cc and the blank after it. Returns the position after the blank, or
 * null. */
static const char *parse_mac(const char *at, uint8_t *mac) {
    for (int i = 0; i < 6; i++, at += 3) {
        int high = hex_digit(at[0]), low = high < 0 ? -1 : hex_digit(at[1]);
        if (low < 0 || at[2] != (i < 5 ? ':' : ' ')) return NULL;
        mac[i] = (uint8_t)(high << 4 | low);
    }
    return at;
}

/* Copies the word that ends at mark: "wlan0" of "Nov 22 10:00:00 ap hostapd: wlan0: STA …". */
static bool parse_interface(const char *line, const char *mark, char *interface) {
    const char *start = mark;
    while (start > line && start[-1] > ' ' && start[-1] < 0x7f) start--;
    size_t length = (size_t)(mark - start);
    if (length == 0 || length >= PLACEMENT_INTERFACE_SIZE) return false;
    memcpy(interface, start, length);
    interface[length] = '\0';
    return true;
}

/* Uses only the first ": STA ", because a client may have chosen the text later in the line. The event must be a whole
 * word. So "authenticated" and "deauthenticated" are refused, and "associated (aid 1)" is accepted. */
static bool parse_event(const char *line, struct event *event) {
    static const char module[] = "IEEE 802.11: ";
    const char *mark = strstr(line, ": STA ");
    if (!mark || !parse_interface(line, mark, event->interface)) return false;
    const char *at = parse_mac(mark + strlen(": STA "), event->station);
    if (!at || strncmp(at, module, sizeof module - 1) != 0) return false;
    at += sizeof module - 1;
    size_t word = strcspn(at, " \t\r");
    event->associated = word == strlen("associated") && memcmp(at, "associated", word) == 0;
    return event->associated || (word == strlen("disassociated") && memcmp(at, "disassociated", word) == 0);
}

/* On a terminal, a new line replaces the old one. Otherwise one line for every 500 events is enough. */
static void show_progress(bool last) {
    static unsigned long shown;
    if (!option.progress) return;
    bool terminal = isatty(STDERR_FILENO);
    if (!last && (events == shown || events % (terminal ? 50 : 500) != 0)) return;
    shown = events;
    fprintf(stderr, "%splacementd: %lu lines, %lu events, %ld stations placed now%s", terminal ? "\r" : "", lines,
            events, (long)HashEntries(stations), last || !terminal ? "\n" : " ");
}

static void handle_line(const char *line) {
    struct event event;
    lines++;
    if (!parse_event(line, &event)) return;
    if (event.associated)
        station_came(&event);
    else
        station_left(&event);
    show_progress(false);
}

/* A line longer than the buffer is dropped as a whole, because a part of it could look like an event. */
static void feed(const char *bytes, size_t count) {
    static char line[LINE_SIZE];
    static size_t used;
    for (const char *end = bytes + count; bytes < end; bytes++) {
        const char *newline = memchr(bytes, '\n', (size_t)(end - bytes));
        size_t part = (size_t)((newline ? newline : end) - bytes);
        if (part > sizeof line - used) part = sizeof line - used;
        memcpy(line + used, bytes, part);
        used += part;
        if (!newline) return;
        line[used < sizeof line ? used : 0] = '\0';
        handle_line(line);
        used = 0;
        bytes = newline;
    }
}

static void read_log(int fd) {
    char bytes[4096], last = '\n';
    for (;;) {
        ssize_t got = read(fd, bytes, sizeof bytes);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) err(2, "cannot read %s", option.listen ? option.listen : option.file);
        if (got == 0) break;
        feed(bytes, (size_t)got);
        last = bytes[got - 1];
    }
    if (last != '\n') feed("\n", 1);
    show_progress(true);
}

static int open_log(void) {
    if (strcmp(option.file, "-") == 0) return STDIN_FILENO;
    int fd = open(option.file, O_RDONLY | O_CLOEXEC);
    if (fd < 0) err(2, "cannot open %s", option.file);
    return fd;
}

/* --- The command line */

/* Reads a number that ends at one of the characters of ends, or at the end of text. Returns the position after the
 * number. */
static const char *parse_number(const char *name, const char *text, const char *ends, uint32_t *out) {
    char *end;
    errno = 0;
    unsigned long number = strtoul(text, &end, 10);
    if (*text < '0' || *text > '9' || errno || number > INT32_MAX || (*end && !strchr(ends, *end)))
        errx(2, "bad --%s: found \"%s\", expected a number of 0-%ld", name, text, (long)INT32_MAX);
    *out = (uint32_t)number;
    return end;
}

static uint8_t parse_policy(const char *text) {
    for (uint8_t policy = 1; placement_policy_name(policy); policy++)
        if (strcmp(text, placement_policy_name(policy)) == 0) return policy;
    errx(2, "bad --policy: found \"%s\", expected least-used or mac-hash", text);
}

static void parse_damage(const char *text) {
    const char *end = parse_number("damage", text, ":", &option.damage_sequence);
    if (*end == ':') parse_number("damage", end + 1, "", &option.damage_offset);
}

static void parse_option(int letter) {
    switch (letter) {
        case 'p': option.pool = optarg; break;
        case 'a': option.avoid = optarg; break;
        case 'o': option.policy = parse_policy(optarg); break;
        case 't': option.to = optarg; break;
        case 'w': parse_number("wait", optarg, "", &option.wait); break;
        case 'l': option.listen = optarg; break;
        case 'd': parse_damage(optarg); break;
        case 'g': option.progress = true; break;
        case 'v': option.trace = true; break;
        case 'h': show_usage(stdout); exit(0);
        default: show_usage(stderr); exit(2);
    }
}

static void parse_arguments(int argc, char **argv) {
    static const struct option table[] = {
        {"pool", required_argument, NULL, 'p'},
        {"avoid", required_argument, NULL, 'a'},
        {"policy", required_argument, NULL, 'o'},
        {"to", required_argument, NULL, 't'},
        {"wait", required_argument, NULL, 'w'},
        {"listen", required_argument, NULL, 'l'},
        {"damage", required_argument, NULL, 'd'},
        {"progress", no_argument, NULL, 'g'},
        {"trace", no_argument, NULL, 'v'},
        {"help", no_argument, NULL, 'h'},
        {NULL, 0, NULL, 0},
    };
    for (int letter; (letter = getopt_long(argc, argv, "", table, NULL)) != -1;) parse_option(letter);
    if (!option.pool || !option.to) errx(2, "missing option: found no --%s, expected one", option.pool ? "to" : "pool");
    if (argc - optind + (option.listen != NULL) != 1)
        errx(2, "bad input: found %d files and %s --listen, expected one file, - or --listen", argc - optind,
             option.listen ? "a" : "no");
    option.file = argv[optind];
}

int main(int argc, char **argv) {
    parse_arguments(argc, argv);
    open_pool();
    int log = option.listen ? -1 : open_log();
    receiver = unix_connect(option.to, SOCK_SEQPACKET, option.wait);
    message.policy = option.policy;
    send_message(PLACEMENT_POOL);
    if (option.listen) log = unix_accept_one(option.listen, SOCK_STREAM);
    read_log(log);
    if (option.damage_sequence != UINT32_MAX && option.damage_sequence >= message.sequence)
        warnx("no message was damaged: found %lu messages, expected one numbered %lu", (unsigned long)message.sequence,
              (unsigned long)option.damage_sequence);
    close(receiver);
    close_pool();
    return 0;
}

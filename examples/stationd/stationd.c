/* cc stationd.c -lquill -o stationd
 *
 *     stationd SOCKET              stores which VLAN each station is on, until SIGTERM
 *     stationd SOCKET MAC VLAN     sends the daemon a station's VLAN, 0 if it has left */
#define _GNU_SOURCE /* ppoll */
#include <poll.h>
#include <quill/address.h>
#include <quill/component_log.h>
#include <quill/hash_keyed.h>
#include <quill/message.h>
#include <quill/validators.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

enum { LARGEST_VLAN = 4094 };

static volatile sig_atomic_t ended;

static void end(int signal) {
    (void)signal;
    ended = 1;
}

/* A message has two elements: the station's MAC address and its VLAN. Any process may send any bytes, so the function
 * checks the message. If an element is wrong, the log names the first one. */
static void handle(const uint8_t *message, uint32_t length, sHash *stations, LogHandle *log) {
    uint8_t mac[6] = {0};
    uint32_t vlan = 0;
    quill_reader in = quill_reader_init(message, length);
    quill_read_mac(&in, "station", mac);
    quill_read_u32(&in, "VLAN", &vlan);
    quill_read_check(&in, vlan <= LARGEST_VLAN);
    if (!quill_read_end(&in)) {
        QuillLog(log, QUILL_LEVEL_WARNING, "message refused: %s at offset %u: %s", in.what, (unsigned)in.offset,
                 strerror(in.error));
    } else if (vlan != 0) {
        if (HashMacUpdateKeyAndValue(stations, mac, vlan))
            QuillLog(log, QUILL_LEVEL_INFO, "%s is on VLAN %u", mac_to_str(mac), (unsigned)vlan);
        else
            QuillLog(log, QUILL_LEVEL_ERROR, "%s has no VLAN: out of memory", mac_to_str(mac));
    } else if (HashMacRemove(stations, mac)) {
        QuillLog(log, QUILL_LEVEL_INFO, "%s has left, %d stay", mac_to_str(mac), (int)HashEntries(stations));
    }
}

/* Returns false when no message has arrived. With MSG_TRUNC the result is the length of the whole message, so a message
 * that is longer than the buffer is refused. */
static bool handle_next(int receiver, sHash *stations, LogHandle *log) {
    uint8_t message[64];
    const ssize_t length = recv(receiver, message, sizeof message, MSG_TRUNC | MSG_DONTWAIT);
    if (length > (ssize_t)sizeof message)
        QuillLog(log, QUILL_LEVEL_WARNING, "message refused: %ld bytes", (long)length);
    else if (length >= 0)
        handle(message, (uint32_t)length, stations, log);
    return length >= 0;
}

static int serve(int receiver, const struct sockaddr_un *address) {
    struct sigaction on_end = {.sa_handler = end};
    sigset_t term, others;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, &others); /* SIGTERM arrives only while the daemon waits in ppoll */
    sigaction(SIGTERM, &on_end, NULL);

    LogHandle *log = CreateLog(QUILL_LEVEL_INFO, QUILL_LEVEL_WARNING, "stationd", 0, LOG_DAEMON);
    sHash *stations = HashCreate(127); /* buckets: a prime near the number of stations */
    int result = EXIT_FAILURE;
    unlink(address->sun_path); /* left by a daemon that was killed */
    if (log && stations && bind(receiver, (const struct sockaddr *)address, sizeof *address) == 0) {
        struct pollfd arrival = {.fd = receiver, .events = POLLIN};
        while (!ended)
            if (ppoll(&arrival, 1, NULL, &others) > 0) handle_next(receiver, stations, log);
        unlink(address->sun_path);
        while (handle_next(receiver, stations, log)) continue; /* what was sent before the SIGTERM */
        result = EXIT_SUCCESS;
    } else {
        perror("stationd");
    }
    if (stations) HashDestroy(stations);
    if (log) DestroyLog(log);
    return result;
}

static int tell(int sender, const struct sockaddr_un *address, const char *mac_text, const char *vlan_text) {
    uint8_t mac[6], message[16];
    uint32_t vlan;
    if (strlen(mac_text) != 17 || !valid_mac(mac, mac_text) || !is_numeric(vlan_text, &vlan) || vlan > LARGEST_VLAN) {
        fprintf(stderr, "stationd: expected a MAC address and a VLAN: %s %s\n", mac_text, vlan_text);
        return 2;
    }
    quill_writer out = quill_writer_init(message, sizeof message);
    quill_write_mac(&out, "station", mac);
    quill_write_u32(&out, "VLAN", vlan);
    if (quill_write_end(&out) &&
        sendto(sender, message, out.next, 0, (const struct sockaddr *)address, sizeof *address) >= 0) {
        return EXIT_SUCCESS;
    }
    perror("stationd");
    return EXIT_FAILURE;
}

int main(int argc, char **argv) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if ((argc != 2 && argc != 4) || strlen(argv[1]) >= sizeof address.sun_path) {
        fprintf(stderr, "usage: stationd SOCKET [MAC VLAN]\n");
        return 2;
    }
    strcpy(address.sun_path, argv[1]);
    const int channel = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int result = argc == 2 ? serve(channel, &address) : tell(channel, &address, argv[2], argv[3]);
    close(channel);
    return result;
}

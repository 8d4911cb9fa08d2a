/* placement_msg.h: the messages of placementd. The first message describes the pool. Then there is one message for
 * every event.
 *
 * A message is a sequence of codec elements. Every message begins with its number and its event. The event determines
 * the other elements:
 *
 *     u32 sequence   0 for the pool, then 1, 2, 3, …
 *     u8  event      PLACEMENT_…
 *
 *     pool           str pool, str avoid (range texts, "0" for no VLAN), u8 policy
 *     placed, kept, left
 *                    str interface, mac station, u32 vlan, u32 clients (on that VLAN, after the event)
 *
 * Trust: placement_decode accepts any bytes as input. The values of a decoded message are safe to print and to use in
 * calculations. */
#ifndef PLACEMENT_MSG_H
#define PLACEMENT_MSG_H

#include <quill/quill.h>

/* These numbers are in messages, so their meaning must never change. */
enum { PLACEMENT_POOL = 1, PLACEMENT_PLACED = 2, PLACEMENT_KEPT = 3, PLACEMENT_LEFT = 4 };
enum { PLACEMENT_LEAST_USED = 1, PLACEMENT_MAC_HASH = 2 };

enum {
    PLACEMENT_INTERFACE_SIZE = 16, /* IFNAMSIZ of Linux, with the NUL */
    PLACEMENT_RANGES_SIZE =
        14 * 1024,              /* the longest text of a set has pairs, as in 1001-1002,1004-1005: 13,000 bytes */
    PLACEMENT_SIZE = 32 * 1024, /* bytes of the longest message: two range texts and the small elements */
    PLACEMENT_FIELDS = 8
};

/* placement_msg is a message of any event. placement_decode does not change fields that the event does not have. */
struct placement_msg {
    uint32_t sequence;
    uint8_t event;
    char interface[PLACEMENT_INTERFACE_SIZE];
    uint8_t station[6];
    uint32_t vlan;
    uint32_t clients;
    char pool[PLACEMENT_RANGES_SIZE];
    char avoid[PLACEMENT_RANGES_SIZE];
    uint8_t policy;
};

/* placement_field describes one element of a message in a form that people can read. */
struct placement_field {
    uint32_t offset, size; /* bytes, tag included */
    const char *kind;      /* as in "u32" */
    const char *meaning;   /* as in "vlan" */
    char value[48];        /* cut when longer */
};

/* placement_trace is the list of elements that placement_decode has read. */
struct placement_trace {
    struct placement_field field[PLACEMENT_FIELDS];
    uint32_t count; /* fields read; after a refusal, field[count] is the expected field, with the found value */
};

/* placement_encode writes msg to message and returns its length, or 0 when an element does not fit. */
uint32_t placement_encode(const struct placement_msg *msg, void *message, uint32_t size);

/* placement_decode reads message into *msg, notes every element in *trace and returns 0. If it fails, it returns -1,
 * and *msg has the elements before the failure. errno is then as the readers of quill/sxdr_safe.h set it. It is EPROTO
 * for a value that the format does not allow, and for bytes after the last element. */
int placement_decode(const void *message, uint32_t length, struct placement_msg *msg, struct placement_trace *trace);

/* placement_event_name and placement_policy_name give "placed" and "mac-hash"; null for an unknown number. */
const char *placement_event_name(uint8_t event);
const char *placement_policy_name(uint8_t policy);

/* placement_vlans stores the ids of map in ids (VMAP_LAST_ID entries) in rising order and returns their number. */
uint32_t placement_vlans(const vmap *map, uint16_t *ids);

#endif

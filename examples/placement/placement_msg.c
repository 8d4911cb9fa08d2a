/* placement_msg.c: the format stands in the two tables below; writer, reader and the text for people walk them. */
#include "placement_msg.h"

#include <ctype.h>
#include <errno.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum kind { END, STR, MAC, U8, U32 };

struct element {
    enum kind kind;
    const char *meaning;
    size_t place; /* in struct placement_msg */
    uint32_t size;
    int (*allowed)(const void *value);
};

static int known_event(const void *event) { return placement_event_name(*(const uint8_t *)event) != NULL; }

static int known_policy(const void *policy) { return placement_policy_name(*(const uint8_t *)policy) != NULL; }

static int range_text(const void *text) { return vmap_validate_string(text); }

/* A name from another process reaches a terminal: control characters stay out. */
static int printable(const void *text) {
    const unsigned char *at = text;
    while (*at > ' ' && *at < 0x7f) at++;
    return *at == '\0' && at != text;
}

static int vlan_id(const void *id) {
    uint32_t vlan = *(const uint32_t *)id;
    return vlan >= VMAP_FIRST_ID && vlan <= VMAP_LAST_ID;
}

#define PLACE(member) offsetof(struct placement_msg, member), sizeof(((struct placement_msg *)NULL)->member)

static const struct element pool_layout[] = {
    {U32, "sequence", PLACE(sequence), NULL},    {U8, "event", PLACE(event), known_event},
    {STR, "pool", PLACE(pool), range_text},      {STR, "avoid", PLACE(avoid), range_text},
    {U8, "policy", PLACE(policy), known_policy}, {END, "end", 0, 0, NULL},
};

static const struct element event_layout[] = {
    {U32, "sequence", PLACE(sequence), NULL},
    {U8, "event", PLACE(event), known_event},
    {STR, "interface", PLACE(interface), printable},
    {MAC, "station", PLACE(station), NULL},
    {U32, "vlan", PLACE(vlan), vlan_id},
    {U32, "clients", PLACE(clients), NULL},
    {END, "end", 0, 0, NULL},
};

/* The two tables begin alike up to the event, so the reader may start with either. */
static const struct element *layout_of(uint8_t event) { return event == PLACEMENT_POOL ? pool_layout : event_layout; }

const char *placement_event_name(uint8_t event) {
    static const char *const names[] = {NULL, "pool", "placed", "kept", "left"};
    return event < sizeof names / sizeof *names ? names[event] : NULL;
}

const char *placement_policy_name(uint8_t policy) {
    static const char *const names[] = {NULL, "least-used", "mac-hash"};
    return policy < sizeof names / sizeof *names ? names[policy] : NULL;
}

static int write_element(const struct element *e, const void *value, void *message, uint32_t size, uint32_t *cursor) {
    switch (e->kind) {
        case STR: return sxdr_write_str_safe(value, (uint32_t)strlen(value), message, size, cursor);
        case MAC: return sxdr_write_mac_safe(value, e->size, message, size, cursor);
        case U8: return sxdr_write_u8_safe(value, e->size, message, size, cursor);
        case U32: return sxdr_write_u32_safe(value, e->size, message, size, cursor);
        case END: break;
    }
    return -1;
}

static int read_element(const struct element *e, void *value, const void *message, uint32_t length, uint32_t *cursor) {
    switch (e->kind) {
        case STR: return sxdr_read_str_safe(message, length, cursor, value, e->size);
        case MAC: return sxdr_read_mac_safe(message, length, cursor, value, e->size);
        case U8: return sxdr_read_u8_safe(message, length, cursor, value, e->size);
        case U32: return sxdr_read_u32_safe(message, length, cursor, value, e->size);
        case END: break;
    }
    return -1;
}

uint32_t placement_encode(const struct placement_msg *msg, void *message, uint32_t size) {
    uint32_t end = 0;
    for (const struct element *e = layout_of(msg->event); e->kind != END; e++)
        if (write_element(e, (const char *)msg + e->place, message, size, &end) < 0) return 0;
    return end;
}

static const char *kind_name(enum kind kind) {
    static const char *const names[] = {[END] = "end", [STR] = "str", [MAC] = "mac", [U8] = "u8", [U32] = "u32"};
    return names[kind];
}

static const char *number_name(const struct element *e, uint8_t number) {
    const char *name = e->allowed == known_event ? placement_event_name(number) : placement_policy_name(number);
    return name ? name : "unknown";
}

/* Values that were refused come here too, so a text is shown with its control characters replaced. */
static void describe_text(const char *text, char *out, size_t size) {
    snprintf(out, size, "\"%s\"", text);
    for (; *out; out++)
        if (!isprint((unsigned char)*out)) *out = '?';
}

static void describe(const struct element *e, const void *value, char *out, size_t size) {
    const uint8_t *byte = value;
    switch (e->kind) {
        case STR: describe_text(value, out, size); break;
        case MAC:
            snprintf(out, size, "%02x:%02x:%02x:%02x:%02x:%02x", byte[0], byte[1], byte[2], byte[3], byte[4], byte[5]);
            break;
        case U8: snprintf(out, size, "%u (%s)", *byte, number_name(e, *byte)); break;
        case U32: snprintf(out, size, "%lu", (unsigned long)*(const uint32_t *)value); break;
        case END: break;
    }
}

/* What stands where an element was expected. Lengths are shown because a false one is how a message lies. */
static void describe_found(const uint8_t *message, uint32_t length, uint32_t at, char *out, size_t size) {
    static const char *const kinds[] = {"str", "mac", "u8",   "u16",   "u32",  "ip",        "s32",  "bool",
                                        "hex", "u64", "ipv6", "ip_af", "str3", "hex_len32", "hex32"};
    const uint8_t *found = message + at;
    if (at == length)
        snprintf(out, size, "the end");
    else if (found[0] >= sizeof kinds / sizeof *kinds)
        snprintf(out, size, "unknown tag %u", found[0]);
    else if (found[0] == 0 && length - at >= 3)
        snprintf(out, size, "str of %u bytes, %lu left", found[1] << 8 | found[2], (unsigned long)(length - at - 3));
    else
        snprintf(out, size, "%s, %lu bytes left", kinds[found[0]], (unsigned long)(length - at));
}

/* Reads the element into *msg and notes it; a refused one is noted as the field that the trace ends before. */
static int decode_element(const struct element *e, const uint8_t *message, uint32_t length, uint32_t *at,
                          struct placement_msg *msg, struct placement_field *field) {
    uint32_t cursor = *at;
    void *value = (char *)msg + e->place;
    field->offset = cursor;
    field->kind = kind_name(e->kind);
    field->meaning = e->meaning;
    if (read_element(e, value, message, length, &cursor) < 0) {
        describe_found(message, length, cursor, field->value, sizeof field->value);
        return -1;
    }
    field->size = cursor - field->offset;
    describe(e, value, field->value, sizeof field->value);
    if (e->allowed && !e->allowed(value)) {
        errno = EPROTO;
        return -1;
    }
    *at = cursor;
    return 0;
}

static int decode_end(const uint8_t *message, uint32_t length, uint32_t at, struct placement_field *field) {
    if (at == length) return 0;
    field->offset = at;
    field->kind = field->meaning = "end";
    describe_found(message, length, at, field->value, sizeof field->value);
    errno = EPROTO;
    return -1;
}

int placement_decode(const void *message, uint32_t length, struct placement_msg *msg, struct placement_trace *trace) {
    const struct element *layout = event_layout;
    uint32_t at = 0;
    for (trace->count = 0; layout[trace->count].kind != END; trace->count++) {
        const struct element *e = &layout[trace->count];
        if (decode_element(e, message, length, &at, msg, &trace->field[trace->count]) < 0) return -1;
        if (e->place == offsetof(struct placement_msg, event)) layout = layout_of(msg->event);
    }
    return decode_end(message, length, at, &trace->field[trace->count]);
}

uint32_t placement_vlans(const vmap *map, uint16_t *ids) {
    uint32_t count = 0;
    for (uint32_t id = VMAP_FIRST_ID; id <= VMAP_LAST_ID; id++)
        if (map->words[id / 32] >> id % 32 & 1) ids[count++] = (uint16_t)id;
    return count;
}

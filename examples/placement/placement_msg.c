/* placement_msg.c: the two tables below define the format. The writer, the reader and the printed form use them. */
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

/* Refuses control characters, because a name from another process is printed on a terminal. */
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

/* The two tables begin with the same elements, up to the event. So the reader may start with either table. */
static const struct element *layout_of(uint8_t event) { return event == PLACEMENT_POOL ? pool_layout : event_layout; }

const char *placement_event_name(uint8_t event) {
    static const char *const names[] = {NULL, "pool", "placed", "kept", "left"};
    return event < sizeof names / sizeof *names ? names[event] : NULL;
}

const char *placement_policy_name(uint8_t policy) {
    static const char *const names[] = {NULL, "least-used", "mac-hash"};
    return policy < sizeof names / sizeof *names ? names[policy] : NULL;
}

static void write_element(const struct element *e, const void *value, quill_writer *out) {
    switch (e->kind) {
        case STR: quill_write_str(out, e->meaning, value); break;
        case MAC: quill_write_mac(out, e->meaning, value); break;
        case U8: quill_write_u8(out, e->meaning, *(const uint8_t *)value); break;
        case U32: quill_write_u32(out, e->meaning, *(const uint32_t *)value); break;
        case END: break;
    }
}

static void read_element(const struct element *e, void *value, quill_reader *in) {
    switch (e->kind) {
        case STR: quill_read_str(in, e->meaning, value, e->size); break;
        case MAC: quill_read_mac(in, e->meaning, value); break;
        case U8: quill_read_u8(in, e->meaning, value); break;
        case U32: quill_read_u32(in, e->meaning, value); break;
        case END: break;
    }
}

uint32_t placement_encode(const struct placement_msg *msg, void *message, uint32_t size) {
    quill_writer out = quill_writer_init(message, size);
    for (const struct element *e = layout_of(msg->event); e->kind != END; e++)
        write_element(e, (const char *)msg + e->place, &out);
    return quill_write_end(&out) ? out.next : 0;
}

static const char *kind_name(enum kind kind) {
    static const char *const names[] = {[END] = "end", [STR] = "str", [MAC] = "mac", [U8] = "u8", [U32] = "u32"};
    return names[kind];
}

static const char *number_name(const struct element *e, uint8_t number) {
    const char *name = e->allowed == known_event ? placement_event_name(number) : placement_policy_name(number);
    return name ? name : "unknown";
}

/* Replaces control characters in the text, because refused values are shown as well. */
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

/* Describes what was found in place of the expected element. The description has the length, because the length may be
 * wrong. */
static void describe_found(const quill_reader *in, char *out, size_t size) {
    static const char *const kinds[] = {"str", "mac", "u8",   "u16",   "u32",  "ip",        "s32",  "bool",
                                        "hex", "u64", "ipv6", "ip_af", "str3", "hex_len32", "hex32"};
    const uint8_t *found = in->message + in->offset;
    const uint32_t left = in->length - in->offset;
    if (left == 0)
        snprintf(out, size, "the end");
    else if (found[0] >= sizeof kinds / sizeof *kinds)
        snprintf(out, size, "unknown tag %u", found[0]);
    else if (found[0] == 0 && left >= 3)
        snprintf(out, size, "str of %u bytes, %lu left", found[1] << 8 | found[2], (unsigned long)(left - 3));
    else
        snprintf(out, size, "%s, %lu bytes left", kinds[found[0]], (unsigned long)left);
}

/* Reads the element into *msg and adds it to the trace. A refused element becomes the field after the end of the trace.
 */
static void decode_element(const struct element *e, quill_reader *in, struct placement_msg *msg,
                           struct placement_field *field) {
    void *value = (char *)msg + e->place;
    read_element(e, value, in);
    field->offset = in->offset;
    field->kind = kind_name(e->kind);
    field->meaning = e->meaning;
    if (in->error) {
        describe_found(in, field->value, sizeof field->value);
        return;
    }
    field->size = in->next - in->offset;
    describe(e, value, field->value, sizeof field->value);
    quill_read_check(in, !e->allowed || e->allowed(value));
}

static int decode_end(quill_reader *in, struct placement_field *field) {
    if (quill_read_end(in)) return 0;
    field->offset = in->offset;
    field->kind = field->meaning = "end";
    describe_found(in, field->value, sizeof field->value);
    errno = EPROTO;
    return -1;
}

int placement_decode(const void *message, uint32_t length, struct placement_msg *msg, struct placement_trace *trace) {
    const struct element *layout = event_layout;
    quill_reader in = quill_reader_init(message, length);
    for (trace->count = 0; layout[trace->count].kind != END; trace->count++) {
        const struct element *e = &layout[trace->count];
        decode_element(e, &in, msg, &trace->field[trace->count]);
        if (in.error) {
            errno = in.error;
            return -1;
        }
        if (e->place == offsetof(struct placement_msg, event)) layout = layout_of(msg->event);
    }
    return decode_end(&in, &trace->field[trace->count]);
}

uint32_t placement_vlans(const vmap *map, uint16_t *ids) {
    uint32_t count = 0;
    for (uint32_t id = VMAP_FIRST_ID; id <= VMAP_LAST_ID; id++)
        if (map->words[id / 32] >> id % 32 & 1) ids[count++] = (uint16_t)id;
    return count;
}

#include <quill/tlv.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/contract.h"
#include "base/endian.h"

// Process-wide state, not protected by a lock: the caller's table, and the arguments of initTLVLib.
tlv_row *tlvDefn;

namespace {

using quill::load_be;
using quill::store_be;

using Hook = void (*)();

constinit Hook table_hook = nullptr;
constinit uint32_t row_count = 0;
constinit void *data_area = nullptr;
constinit uint32_t data_area_size = 0;

constexpr int kTypeSize = 2;    // bytes of a record's type
constexpr int kLengthSize = 2;  // bytes of the length that every standard handler writes
constexpr int kNumberSize = 4;

void make_table_current() {
    if (table_hook) table_hook();
    quill::require(tlvDefn || row_count == 0, "tlvDefn", "tlv", 100, "initTLVLib");
}

tlv_row &row_of(uint32_t type) {
    make_table_current();
    if (type >= row_count) abort();
    return tlvDefn[type];
}

void clear_data_area() {
    if (data_area) memset(data_area, 0, data_area_size);
}

const char *name_of(const tlv_row &row) { return row.name ? row.name : ""; }

// --- the wire

uint8_t *bytes(void *p) { return static_cast<uint8_t *>(p); }

// Writes a length and that many bytes; returns the number of bytes written.
int put_sized(void *wire, const void *content, uint16_t length) {
    store_be(wire, length);
    memcpy(bytes(wire) + kLengthSize, content, length);
    return kLengthSize + length;
}

// Reads the length field at wire. Returns false if remaining has no room for the field and that many bytes after it.
bool get_length(void *wire, int remaining, uint16_t &length) {
    if (remaining < kLengthSize) return false;
    length = load_be<uint16_t>(wire);
    return length <= remaining - kLengthSize;
}

// Returns whether a standard handler can do op for row, which must have storage. An op that no handler knows is a fault
// of the caller, and ends the program.
bool can(int op, const tlv_row *row) {
    if (op < TLV_ENCODE || op > TLV_SET) abort();
    return row->storage != nullptr;
}

int number_handler(int op, void *wire, int remaining, const void *value, tlv_row *row) {
    if (!can(op, row)) return 0;
    void *storage = row->storage;
    uint16_t length;
    uint32_t number;
    switch (op) {
        case TLV_ENCODE:
            if (remaining < kLengthSize + kNumberSize) return 0;
            memcpy(&number, storage, kNumberSize);
            number = quill::big_endian(number);
            return put_sized(wire, &number, kNumberSize);
        case TLV_DECODE:
            if (!get_length(wire, remaining, length) || length != kNumberSize) return 0;
            number = load_be<uint32_t>(bytes(wire) + kLengthSize);
            memcpy(storage, &number, kNumberSize);
            return kLengthSize + kNumberSize;
        default: memcpy(storage, value, kNumberSize); return kLengthSize + kNumberSize;
    }
}

// Stores the text. Returns false if the text leaves no room for a NUL.
bool store_text(tlv_row &row, const void *text, size_t length) {
    if (length >= row.size) return false;
    memset(row.storage, 0, row.size);
    memcpy(row.storage, text, length);
    return true;
}

}  // namespace

void initTLVLib(void (*hook)(void), uint32_t rows, void *data, uint32_t data_size) {
    table_hook = hook;
    row_count = rows;
    data_area = data;
    data_area_size = data_size;
}

// --- fields

uint32_t tlvreset(void) {
    make_table_current();
    clear_data_area();
    for (uint32_t type = 0; type < row_count; type++)
        if (tlvDefn[type].handler) tlvDefn[type].set = 0;
    return row_count;
}

int tlvset(uint32_t type, const void *value) {
    tlv_row &row = row_of(type);
    const int result = row.storage && row.handler ? row.handler(TLV_SET, nullptr, 0, value, &row) : 0;
    if (result)
        row.set = 1;
    else
        printf("Error setting data for %s\n", name_of(row));
    return result;
}

uint32_t tlvisset(uint32_t type) { return row_of(type).set; }

void *tlvget(uint32_t type) {
    const tlv_row &row = row_of(type);
    if (!row.storage || row.set) return row.storage;
    printf("Error getting data for %s when value is not set\n", name_of(row));
    return nullptr;
}

// --- messages

int settlvBuffer(void *buffer, int32_t length) {
    make_table_current();
    if (length < kLengthSize) return 0;
    int32_t used = kLengthSize;
    for (uint32_t type = 0; type < row_count; type++) {
        tlv_row &row = tlvDefn[type];
        if (!row.set || !row.handler) continue;
        const int32_t room = length - used - kTypeSize;
        if (room < 0) return 0;
        uint8_t *at = bytes(buffer) + used;
        store_be(at, static_cast<uint16_t>(type));
        const int written = row.handler(TLV_ENCODE, at + kTypeSize, room, nullptr, &row);
        if (written <= 0 || written > room) return 0;
        used += kTypeSize + written;
    }
    if (used - kLengthSize > UINT16_MAX) return 0;  // more than fits the total field
    store_be(buffer, static_cast<uint16_t>(used - kLengthSize));
    return used;
}

int readtlvBuffer(const void *buffer, int32_t length) {
    clear_data_area();
    make_table_current();
    if (length < kLengthSize) return 0;
    const int32_t total = load_be<uint16_t>(buffer);
    if (total > length - kLengthSize) return 0;
    // Handlers take the same pointer type for reading and for writing.
    uint8_t *at = const_cast<uint8_t *>(static_cast<const uint8_t *>(buffer)) + kLengthSize;
    for (int32_t left = total; left > 0;) {
        const int32_t remaining = left - kTypeSize;
        if (remaining < 0) return 0;
        const uint32_t type = load_be<uint16_t>(at);
        tlv_row *row = type != 0 && type < row_count ? &tlvDefn[type] : nullptr;
        const bool known = row && row->storage && row->handler;
        if (known) row->set = 1;
        const int consumed = known ? row->handler(TLV_DECODE, at + kTypeSize, remaining, nullptr, row)
                                   : unknownhdlr(TLV_DECODE, at + kTypeSize, remaining);
        if (consumed <= 0 || consumed > remaining) return 0;
        at += kTypeSize + consumed;
        left = remaining - consumed;
    }
    return kLengthSize + total;
}

// --- handlers

int uinthdlr(int op, void *wire, int remaining, const void *value, tlv_row *row) {
    return number_handler(op, wire, remaining, value, row);
}

int longhdlr(int op, void *wire, int remaining, const void *value, tlv_row *row) {
    return number_handler(op, wire, remaining, value, row);
}

int strhdlr(int op, void *wire, int remaining, const void *value, tlv_row *row) {
    uint16_t length;
    if (!can(op, row)) return 0;
    switch (op) {
        case TLV_ENCODE:
            // The program may have filled the storage itself, without a NUL.
            length = static_cast<uint16_t>(strnlen(static_cast<const char *>(row->storage), row->size));
            // The check requires two bytes more than are written. Compatibility: packing refuses a text that just fits.
            return length + 3 < remaining ? put_sized(wire, row->storage, length) : 0;
        case TLV_DECODE:
            if (!get_length(wire, remaining, length)) return 0;
            return store_text(*row, bytes(wire) + kLengthSize, length) ? kLengthSize + length : 0;
        default: return store_text(*row, value, strlen(static_cast<const char *>(value)));
    }
}

int bufhdlr(int op, void *wire, int remaining, const void *value, tlv_row *row) {
    uint16_t length;
    if (!can(op, row)) return 0;
    switch (op) {
        case TLV_ENCODE:
            length = static_cast<uint16_t>(row->size);
            return length + 1 < remaining ? put_sized(wire, row->storage, length) : 0;
        case TLV_DECODE:
            if (!get_length(wire, remaining, length) || length != row->size) return 0;
            memcpy(row->storage, bytes(wire) + kLengthSize, length);
            return kLengthSize + length;
        default: memcpy(row->storage, value, row->size); return 1;
    }
}

int unknownhdlr(int op, void *wire, int remaining) {
    if (op != TLV_DECODE) abort();
    uint16_t length;
    return get_length(wire, remaining, length) ? kLengthSize + length : 0;
}

constinit const tlv_operations HBMSG = {tlvreset, tlvset, tlvisset, tlvget, settlvBuffer, readtlvBuffer};

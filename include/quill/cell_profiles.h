/* quill/cell_profiles.h: the USB cellular modems that are supported out of the box. The cellular connection manager
 * recognises a modem by this table, and takes the modem's defaults from the table. That program defines what the codes
 * and words mean. The records are constants, which any thread may read. */
#ifndef QUILL_CELL_PROFILES_H
#define QUILL_CELL_PROFILES_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* These codes give the kind of a record. */
enum {
    CELL_PROFILE_MODEM = 101,
    CELL_PROFILE_MASS_STORAGE = 105, /* a modem that the host still sees as a CD drive with the drivers */
    CELL_PROFILE_END = 111           /* the last record; all its other fields are empty */
};

/* cell_profile is one modem: 624 bytes, without padding. Texts end with a NUL and are filled up with zeros. Numbers are
 * in the host's byte order. Device names are names in /dev, without the folder: "ttyUSB0", "sr0". */
typedef struct cell_profile {
    char name[64];            /* the name under which people know the modem */
    uint32_t vendor;          /* of the USB device */
    uint32_t product;         /* of the USB device */
    uint8_t reserved1[128];   /* 0 */
    char serial_device[64];   /* or "none"; empty for CELL_PROFILE_MASS_STORAGE */
    uint32_t code;            /* CELL_PROFILE_MODEM and so on */
    uint8_t reserved2[12];    /* 0 */
    uint32_t options[2];      /* 0 except for one modem */
    char provider[64];        /* the name of the default profile of a provider, "none" or empty */
    char texts[2][64];        /* two texts of the connection, both "internet" or both empty */
    uint32_t driver_class;    /* 2 for common serial modems */
    uint32_t mass_storage;    /* 1 for CELL_PROFILE_MASS_STORAGE, else 0 */
    char storage_device[128]; /* for CELL_PROFILE_MASS_STORAGE, else empty */
    uint32_t trailing_code;   /* 2 for CELL_PROFILE_MODEM, else 0 */
    uint32_t reserved3;       /* 0 */
} cell_profile;

enum { CELL_PROFILES = 15 }; /* number of records, with the one that ends them */

/* def_cell_profiles contains the records. Read it to its end, or to the record CELL_PROFILE_END.
 *
 *     for (const cell_profile *p = def_cell_profiles; p->code != CELL_PROFILE_END; p++)
 *         if (p->vendor == vendor && p->product == product) return p; */
QUILL_API extern const cell_profile def_cell_profiles[CELL_PROFILES];

QUILL_END_DECLS

#endif

/* quill/identity.h: the identity of this access point, and its state.
 *
 * At every call, most functions read one small text file of the kernel or a daemon, and return the number in it.
 * Numbers are decimal with white space and a sign before them; text after the number is ignored, and values outside int
 * are clamped. At most 31 characters of the first line are read, except for getSysUptime, which reads 256 bytes. In
 * rows with "%d", white space and line ends may come before the number, within the first 255 bytes. /tmp/mesh_role is
 * only read if it is a regular file (docs/trust.md).
 *
 *     function                   file               returns when the file is missing   no number in it
 *     getApType                  /proc/ap_model     0                                  0
 *     getApFlashVariant          /proc/fl_var       -1                                 0, -1 when it is empty
 *     get_ap_booted_partition    /proc/booted       -2                                 0, -2 when it is empty
 *     get_mesh_role              /tmp/mesh_role     0                                  0          "%d"
 *     is_mesh_ap                 /tmp/mesh_role     0                                  0          "%d"
 *     get_ap_installation_type   the caller's       -1                                 0          "%d"
 *     getSysUptime               /proc/uptime       -1, with a message                 0
 *     getSysUptime_d             /proc/uptime       -1.0                               see there
 *
 * All functions may be called from several threads. Functions that read a file defer thread cancellation while they do
 * so. */
#ifndef QUILL_IDENTITY_H
#define QUILL_IDENTITY_H

#include <quill/types.h>
#include <sys/types.h>
#include <time.h>

QUILL_BEGIN_DECLS

/* --- the model */

/* ApType is the model number once getApType has read one, else 0. Programs may read it. */
QUILL_API extern int ApType;

/* getApType returns the model number. While the number is 0, each call reads the file again. Once it is not 0, the file
 * is not read again. */
QUILL_API int getApType(void);

/* isHalvoraAp returns 1 for the partner-branded models, 17 and 18, else 0. */
QUILL_API int isHalvoraAp(uint32_t model);

/* getApFlashVariant returns the layout variant of the flash. get_ap_booted_partition returns the partition that the
 * system was started from. */
QUILL_API int getApFlashVariant(void);
QUILL_API int get_ap_booted_partition(void);

/* get_ap_installation_type returns the installation type that the file at path contains, or 0 for a null path. */
QUILL_API int get_ap_installation_type(const char *path);

/* --- mesh */

/* get_mesh_role returns the mesh role, 0 for an access point outside a mesh; is_mesh_ap returns whether it is not 0. */
QUILL_API int get_mesh_role(void);
QUILL_API int is_mesh_ap(void);

/* --- radios and their virtual access points
 *
 * The radio daemons have larger records of their own. The daemons fill in the following records for the calls below. */

/* quill_vap is a virtual access point: 1 byte. */
typedef struct quill_vap {
    uint8_t type; /* 25 and 30 are the mesh types */
} quill_vap;

/* quill_radio is a radio: 12 bytes. */
typedef struct quill_radio {
    uint32_t mode;      /* when it is 1 in the first of two radios, that radio has every BSSID */
    uint32_t vap_count; /* a power of two: BSSIDs differ in their last bits */
    uint8_t bssid_mask; /* the bits of a BSSID's last byte that all of the radio's BSSIDs share */
    uint8_t bssid_base; /* the value of these bits */
    uint8_t zero[2];    /* 0 */
} quill_radio;

/* get_mesh_vap_id returns 1 when the virtual access point is of a mesh type, else 0. A selector of 1 reverses the
 * result, and any other selector has no effect. Reentrant. */
QUILL_API int get_mesh_vap_id(const quill_vap *vap, uint32_t selector);

/* bssid_to_wifi_vap returns the index of a BSSID's virtual access point: the last of the 6 bytes, AND (vap_count - 1).
 * Reentrant. */
QUILL_API int bssid_to_wifi_vap(const quill_radio *radio, const uint8_t *bssid);

/* bssid_to_wifi_dev returns the number of the radio that a BSSID belongs to. It returns 0 when the mode of first is 1.
 * It also returns 0 when the BSSID's last byte AND the bssid_mask of second equals the bssid_base of second. Otherwise
 * it returns 1. Reentrant. */
QUILL_API int bssid_to_wifi_dev(const quill_radio *first, const quill_radio *second, const uint8_t *bssid);

/* --- time */

enum { QUILL_RTC_TIME_SIZE = 32 };

/* getRtcTime writes the local time into buf, QUILL_RTC_TIME_SIZE bytes, and returns the text's length. The date is
 * month, day and year, without leading zeros. The time has two digits each: 3-5-2024@07-08-09 is the 5th of March. */
QUILL_API int getRtcTime(char *buf);

/* getSysUptime returns whole seconds since boot, or -1 after perror("fopen") or perror("fread"). It opens the file for
 * reading and writing, so programs without that right get -1. Compatibility: programs use that as a check. */
QUILL_API int getSysUptime(void);

/* getSysUptime_d returns seconds since boot with their fraction. It returns -1.0 whenever the file has fewer than 256
 * bytes, and the kernel's file always has fewer. Compatibility: programs expect -1.0. */
QUILL_API double getSysUptime_d(void);

/* get_build_time returns the time when the library was built. The library contains the local time of the build, but not
 * the build's time zone. get_build_time interprets that time in the caller's time zone. A reproducible build sets
 * SOURCE_DATE_EPOCH, and the time of the build is then that moment in UTC. */
QUILL_API time_t get_build_time(void);

/* --- what this platform does not have: programs call these, and rely on the results */

/* getSwVersion zeroes the first 5 bytes of buf and returns 0. Reentrant. */
QUILL_API int getSwVersion(char *buf);

/* getEnv and forceGetEnv return -1, and leave buf as it is: the boot environment cannot be read. Reentrant. */
QUILL_API int getEnv(const char *name, char *buf);
QUILL_API int forceGetEnv(const char *name, char *buf);

/* dpi_is_enabled returns whether the boot environment's bootargs have dpi_enabled: always 0. Reentrant. */
QUILL_API int dpi_is_enabled(void);

/* isinitdifn is 0 at the start. The library neither reads nor writes it, but programs do. */
QUILL_API extern int isinitdifn;

/* --- threads */

/* gettid returns the calling thread's id in the kernel (gettid(2)), also where the C library has no such function.
 * Reentrant. */
QUILL_API pid_t gettid(void) QUILL_THROWS_NOTHING;

QUILL_END_DECLS

#endif

/* quill/flash.h: the board's hardware: NVRAM, CPLD registers, machine type, and the flash partition.
 *
 * Each call opens its device, makes one request and closes it. Results are 0 for done and -1 for not done, with the
 * reason on standard error, where nothing else is said. The programs of a device run as root; opening the devices takes
 * that.
 *
 *     uint8_t led;
 *     if (ReadCPLD(4, &led) == 0) ...
 *
 * Flash transfers of all processes run one at a time: under an advisory lock of the device (flock, shared for reads,
 * exclusive for writes) and then a System V semaphore, whose key is ftok("/tmp/mtd", 42). A process that dies in a
 * transfer, by SIGKILL too, gives both back (a transfer that cannot have them goes on without), unless another of its
 * threads has forked or run another program meanwhile: the new process then keeps the lock, and the new program the
 * semaphore. Every transfer is written down in a history that outlives the process, so that a crash or worn flash can
 * be traced to who caused it: "/tmp/flashophist" is a quill_flash_history.
 *
 * The oldest record is overwritten. A label of more than 31 characters deliberately runs on over what follows it, up to
 * the end of the file. Nothing locks the history, yet each transfer has a record of its own: who is killed while it
 * writes one leaves that one incomplete, and no other.
 *
 * A file that is not such a history does not stop a transfer, and nothing is written outside of it. One that is too
 * short grows to its size; of one that is too long, the part behind is left alone. With another capacity it is no
 * history of ours: all of it is zeroed and begun anew; a capacity of 0 is a file that was just being made, and is only
 * filled in. A next record beyond the capacity counts as 0. If the file cannot be opened, mapped or given its
 * memory, transfers go on without a history, and each next one tries again. A link is not opened, nor a file that
 * other users may change; one with a second name is left to that name, and a new one begun (docs/trust.md).
 *
 * Transfers may run in several threads. A signal does not let one in before its turn. Cancellation is held off until
 * the transfer is over. The name of the flash device belongs to the process and nothing guards it: set it before
 * starting threads.
 */
#ifndef QUILL_FLASH_H
#define QUILL_FLASH_H

#include <quill/types.h>
#include <stddef.h>

QUILL_BEGIN_DECLS

enum {
    QUILL_FLASH_NAME_SIZE = 128,         /* bytes of the flash device's name, with its NUL */
    QUILL_FLASH_HISTORY_SIZE = 16808,    /* bytes of the history */
    QUILL_FLASH_HISTORY_RECORDS = 200,   /* which hold this many records */
    QUILL_FLASH_HISTORY_RECORD_SIZE = 84 /* of this many bytes */
};

/* The history, in its file and in memory. All numbers are big-endian. */
typedef struct quill_flash_record {
    uint8_t when[4];         /* seconds since boot */
    uint8_t offset[4];       /* of the transfer, in the flash */
    uint8_t operation[4];    /* 1 read, 0 write */
    uint8_t length[4];       /* that was asked for */
    uint8_t milliseconds[4]; /* that the whole call took */
    char process[32];        /* "name[pid]" of who made it, or "unknown" */
    char parent[32];         /* the same of that process's parent */
} quill_flash_record;

/* The whole of it. */
typedef struct quill_flash_history {
    uint8_t capacity[4];                                     /* QUILL_FLASH_HISTORY_RECORDS */
    uint8_t next[4];                                         /* the record that is written next, 0 to 199 */
    quill_flash_record records[QUILL_FLASH_HISTORY_RECORDS]; /* the oldest first, until all are in use */
} quill_flash_history;

/* --- board control, "/dev/mxc" */

/* quill_open_device opens the board control device with the flags of open(2) and returns its descriptor, which the
 * caller closes; or -1 with errno after perror("/dev/mxc"). */
QUILL_API int quill_open_device(int flags);

/* ReadNvram and WriteNvram hand three words, whose meaning is the driver's, to it unchanged. */
QUILL_API int ReadNvram(uint32_t word1, uint32_t word2, uint32_t word3);
QUILL_API int WriteNvram(uint32_t word1, uint32_t word2, uint32_t word3);

/* ReadCPLD and ReadCPLD16 store the low 8 or 16 bits of a register's value in *value, which on failure is unchanged. */
QUILL_API int ReadCPLD(uint32_t reg, uint8_t *value);
QUILL_API int ReadCPLD16(uint32_t reg, uint16_t *value);

/* WriteCPLD and WriteCPLD16 write *value, as 8 or 16 bits with zeros above, to a register. */
QUILL_API int WriteCPLD(uint32_t reg, const uint8_t *value);
QUILL_API int WriteCPLD16(uint32_t reg, const uint16_t *value);

/* ReadSamMachType has the driver of "/dev/sam0" fill the buffer, as large as that driver wants it, and returns its
 * first byte, or 0 on any failure. */
QUILL_API int ReadSamMachType(uint8_t *buffer);

/* --- the flash partition */

/* set_ap_flash_dev_name sets the device of later transfers, "/dev/mtd0" at first, and returns the length of device.
 * What does not fit QUILL_FLASH_NAME_SIZE with a NUL is cut off. */
QUILL_API size_t set_ap_flash_dev_name(const char *device);

/* get_ap_flash_dev_name returns the name itself, borrowed, and not a copy: it changes when another is set. */
QUILL_API char *get_ap_flash_dev_name(void);

/* ReadApFlash and WriteApFlash transfer length bytes at the offset of the device named, or of the process's when device
 * is null, with one read or write. They return 0 when that transferred anything, also a part: there is no telling how
 * much. They return 0 also when it transferred nothing, and -1 when it failed, both without a record in the history;
 * and -1 with a message when the device cannot be opened or the offset reached, or there is no semaphore. */
QUILL_API int ReadApFlash(int offset, uint32_t length, void *buffer, const char *device);
QUILL_API int WriteApFlash(int offset, uint32_t length, const void *buffer, const char *device);

/* flash_ophist_init maps the history, made where there is none, and returns its QUILL_FLASH_HISTORY_SIZE bytes,
 * borrowed until the process ends: the same address at every call. Returns null when it cannot. Transfers call it
 * themselves; its descriptor and mapping are then kept. Who makes the file shorter while it is mapped ends the
 * processes that write to it. */
QUILL_API void *flash_ophist_init(void);

/* tpm_hw_init returns its argument: there is no such chip on this platform. */
QUILL_API quill_word tpm_hw_init(quill_word word);

QUILL_END_DECLS

#endif

/* quill/flash.h: the board's hardware: NVRAM, CPLD registers, machine type, and the flash partition.
 *
 * Each call opens its device, makes one request and closes it. Unless the text says otherwise, a function returns 0 for
 * success. It returns -1 for failure and prints the reason on standard error. Opening these device files requires root;
 * the programs of a device run as root.
 *
 *     uint8_t led;
 *     if (ReadCPLD(4, &led) == 0) ...
 *
 * Flash transfers of all processes run one at a time. A transfer takes an advisory lock of the device (flock, shared
 * for reads, exclusive for writes). It then takes a System V semaphore, whose key is ftok("/tmp/mtd", 42). A transfer
 * that cannot take one of them continues without it. The transfer fails only when semget can neither find nor make the
 * semaphore. A process that dies in a transfer, also by SIGKILL, releases both. There are two exceptions. When another
 * thread forks during the transfer, the child keeps the lock. When another thread calls exec during the transfer, the
 * new program keeps the semaphore.
 *
 * Every transfer is recorded in a history that outlives the process. A crash or worn flash can thus be traced to the
 * process that caused it. The history is the file "/tmp/flashophist", a quill_flash_history. The oldest record is
 * overwritten. The history has no lock; each transfer claims its own record. A process killed while writing leaves only
 * its own record incomplete. A process or parent label of more than 31 characters is not cut. It continues over the
 * following fields, at most to the end of the file. Compatibility: programs that read the file expect such records.
 *
 * A file that is not such a history does not stop a transfer, and nothing is written outside of it:
 *
 *     the file                                        what happens
 *     is too short                                    it grows to the size of a history
 *     is too long                                     the part after the history is left alone
 *     has another capacity                            all of it is zeroed and starts again
 *     has a capacity of 0                             another process is just making it: only its capacity is set
 *     has a next record beyond the capacity           the next record counts as 0
 *     cannot be opened, mapped or given its memory    transfers go on without a history, and each next one tries again
 *     is a link, or other users may change it         it is not opened
 *     has a second name                               it keeps only that name, and a new one starts (docs/trust.md)
 *
 * Transfers may run in several threads. A signal does not let a transfer start before its turn. Thread cancellation is
 * deferred until the transfer ends. The name of the flash device belongs to the process and has no lock: set it before
 * starting threads. */
#ifndef QUILL_FLASH_H
#define QUILL_FLASH_H

#include <quill/types.h>
#include <stddef.h>

QUILL_BEGIN_DECLS

enum {
    QUILL_FLASH_NAME_SIZE = 128,         /* bytes of the flash device's name, with its NUL */
    QUILL_FLASH_HISTORY_SIZE = 16808,    /* bytes of the history */
    QUILL_FLASH_HISTORY_RECORDS = 200,   /* records in the history */
    QUILL_FLASH_HISTORY_RECORD_SIZE = 84 /* bytes of one record */
};

/* quill_flash_record is one record of the history, in its file and in memory. All numbers are big-endian. */
typedef struct quill_flash_record {
    uint8_t when[4];         /* seconds since boot */
    uint8_t offset[4];       /* the transfer's offset in the flash */
    uint8_t operation[4];    /* 1 read, 0 write */
    uint8_t length[4];       /* the length that was requested */
    uint8_t milliseconds[4]; /* the duration of the whole call */
    char process[32];        /* "name[pid]" of the process that made the transfer, or "unknown" */
    char parent[32];         /* the same for that process's parent */
} quill_flash_record;

/* quill_flash_history is the whole history. */
typedef struct quill_flash_history {
    uint8_t capacity[4];                                     /* QUILL_FLASH_HISTORY_RECORDS */
    uint8_t next[4];                                         /* the record that is written next, 0 to 199 */
    quill_flash_record records[QUILL_FLASH_HISTORY_RECORDS]; /* the oldest first, until all are in use */
} quill_flash_history;

/* --- board control, "/dev/mxc" */

/* quill_open_device opens the board control device with the flags of open(2). It returns the descriptor, which the
 * caller closes. On failure it calls perror("/dev/mxc") and returns -1 with errno. */
QUILL_API int quill_open_device(int flags);

/* ReadNvram and WriteNvram pass three words to the driver unchanged. The driver defines their meaning. */
QUILL_API int ReadNvram(uint32_t word1, uint32_t word2, uint32_t word3);
QUILL_API int WriteNvram(uint32_t word1, uint32_t word2, uint32_t word3);

/* ReadCPLD and ReadCPLD16 store the low 8 or 16 bits of a register's value in *value. On failure *value is unchanged.
 */
QUILL_API int ReadCPLD(uint32_t reg, uint8_t *value);
QUILL_API int ReadCPLD16(uint32_t reg, uint16_t *value);

/* WriteCPLD and WriteCPLD16 write *value, as 8 or 16 bits with zeros above, to a register. */
QUILL_API int WriteCPLD(uint32_t reg, const uint8_t *value);
QUILL_API int WriteCPLD16(uint32_t reg, const uint16_t *value);

/* ReadSamMachType returns the first byte that the driver of "/dev/sam0" stores in the buffer, or 0 on any failure. The
 * buffer must be as large as that driver requires. */
QUILL_API int ReadSamMachType(uint8_t *buffer);

/* --- the flash partition */

/* set_ap_flash_dev_name sets the device of later transfers and returns the length of device. At first, the device is
 * "/dev/mtd0". A name that does not fit QUILL_FLASH_NAME_SIZE with its NUL is cut. */
QUILL_API size_t set_ap_flash_dev_name(const char *device);

/* get_ap_flash_dev_name returns the name itself (borrowed), not a copy. The text changes when another name is set. */
QUILL_API char *get_ap_flash_dev_name(void);

/* ReadApFlash and WriteApFlash transfer length bytes at the offset of the device, with one read or write. device is the
 * device's name; null means the process's device.
 *
 *     result  when
 *     0       the call transferred some or all bytes (the result does not say how many)
 *     0       it transferred no bytes; the history gets no record
 *     -1      the read or write failed; nothing is printed, and the history gets no record
 *     -1      the device cannot be opened, the offset cannot be reached, or semget fails; with a message */
QUILL_API int ReadApFlash(int offset, uint32_t length, void *buffer, const char *device);
QUILL_API int WriteApFlash(int offset, uint32_t length, const void *buffer, const char *device);

/* flash_ophist_init maps the history, and makes the file if it is missing. Returns its QUILL_FLASH_HISTORY_SIZE bytes,
 * borrowed until the process ends: the same address at every call. Returns null when that fails. Transfers call this
 * function themselves. After a success, the function keeps the descriptor and the mapping. When a process shortens the
 * file while it is mapped, the processes that write to the history are ended. */
QUILL_API void *flash_ophist_init(void);

/* tpm_hw_init returns its argument: this platform has no such chip. */
QUILL_API quill_word tpm_hw_init(quill_word word);

QUILL_END_DECLS

#endif

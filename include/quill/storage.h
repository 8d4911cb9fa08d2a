/* quill/storage.h: where a program may put data, how much room there is, and what is on USB storage.
 *
 * Every call reads the state of the file systems again. All functions may be called from several threads. Functions
 * that open a file defer thread cancellation while they do so. Nothing is printed.
 *
 * Sizes are whole megabytes (2^20 bytes) unless the text says bytes. The number of blocks times the block size is
 * computed in 32 bits. So a size or a room of 4 GiB or more is given modulo 4 GiB. Compatibility: the platform's file
 * systems are smaller. */
#ifndef QUILL_STORAGE_H
#define QUILL_STORAGE_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- room on file systems */

/* freeFlash and freeFlash1 return the room that unprivileged programs have on "/flash" and "/flash1". sizeFlash returns
 * the size of "/flash". They return all bits set (-1 as an int) when the value cannot be found out or the file system
 * has no blocks. */
QUILL_API uint32_t freeFlash(void);
QUILL_API uint32_t freeFlash1(void);
QUILL_API uint32_t sizeFlash(void);

/* freeDisk returns the room on the RAM disk "/tmp". When get_free_mem succeeds and gives less memory than this room,
 * freeDisk returns that memory instead. With less than 17 MB of free memory get_free_mem fails, so freeDisk returns the
 * room on "/tmp", although memory is short. When reserve is not 0, the room is reduced by 5, but not below 0. freeDisk
 * returns -1 when the room on "/tmp" cannot be found out, whatever reserve is. */
QUILL_API int freeDisk(int reserve);

/* get_rootfs_mem stores the size of the root file system in *bytes and returns 0 when that file system is an ext2
 * image. Otherwise it returns -1 with *bytes unchanged. ext3 and ext4 also pass, because they have the type number of
 * ext2, EF53. */
QUILL_API int get_rootfs_mem(uint32_t *bytes);

/* --- memory */

/* get_free_mem_cached reads "/proc/meminfo" as the platform's kernel writes it: a header of six names with a colon
 * each, then the row "Mem:" with total, used, free, shared, buffers and cached bytes. It stores the total, and the free
 * memory less 17 MB reserved for the system. Unless cached is null, it also stores the cached memory. It then returns
 * 0. Returns -1 and stores nothing when the file is missing or has another form. It does the same when nothing is
 * cached, and when less than 17 MB are free.
 *
 * get_free_mem does the same without the cached memory. */
QUILL_API int get_free_mem_cached(int64_t *total, int64_t *usable, int64_t *cached);
QUILL_API int get_free_mem(int64_t *total, int64_t *usable);

/* --- a place for a download */

/* These numbers are the results of get_temp_dir and get_temp_dir2: the place with room. */
enum { QUILL_TEMP_NONE = 0, QUILL_TEMP_FLASH = 1, QUILL_TEMP_TMP = 2, QUILL_TEMP_FLASH1 = 3 };

/* get_temp_dir stores a directory with room for need megabytes in *directory (borrowed, constant, valid as long as the
 * process) and returns its code. The directory is "/flash" when that has at least 2 megabytes more than need. Otherwise
 * it is "/tmp" when freeDisk(1) is at least need. Otherwise the text is empty and the code is QUILL_TEMP_NONE.
 * get_temp_dir2 first tries "/flash1" in the same way as get_temp_dir tries "/flash".
 *
 *     const char *directory;
 *     if (get_temp_dir(8, &directory) == QUILL_TEMP_NONE) return no_room(); */
QUILL_API int get_temp_dir(int need, const char **directory);
QUILL_API int get_temp_dir2(int need, const char **directory);

/* --- files */

/* is_flash1_present returns 1 when "/flash1" is a directory. is_flash_crash_present returns 1 when "/flash/crash"
 * exists. is_file_present returns 1 when path is not null and exists. Otherwise they return 0. They follow symbolic
 * links. */
QUILL_API int is_flash1_present(void);
QUILL_API int is_flash_crash_present(void);
QUILL_API int is_file_present(const char *path);

/* write_str_to_file replaces the file's content by text. A missing file is made with mode 0666 under the umask. Returns
 * 0. Returns 1 when a pointer is null or the file cannot be opened; write errors are not reported. "%%" in the text
 * becomes one "%"; every other "%" is written as it is. Compatibility: callers double the "%". */
QUILL_API int write_str_to_file(const char *path, const char *text);

/* --- USB storage: "/mnt/usbdisk" has a directory for each mounted partition */

enum { QUILL_USB_PATH_SIZE = 256 };

/* chkUsbPath searches every partition for the regular file with the relative path path, such as "images/a.bin". It
 * writes the full path into out, QUILL_USB_PATH_SIZE bytes, cut to fit, and returns out. Only the first 255 characters
 * of path are used. The case of names matters, and symbolic links are not followed. The failures are:
 *
 *     the file is in no partition    returns null, all of out is zero
 *     "/mnt/usbdisk" is missing      returns null, out is unchanged
 *
 * A path with ".." may lead out of the USB storage. Refuse such a path when it comes from others. chkUsbPath finds
 * nothing when the directory part begins with a slash or contains "//". A directory part of slashes alone is ignored.
 *
 * The search drops the first directory name that begins with "." and all directory names after it. For ".x/b" the file
 * b is searched at the top of the partition. The path that is written has ".x" in it and may not exist. Compatibility:
 * programs rely on it. */
QUILL_API char *chkUsbPath(const char *path, char *out);

/* chkUsbSlotPartPath writes "/mnt/usbdisk/slot<slot>/<partition>/<name>" into out (QUILL_USB_PATH_SIZE bytes, cut to
 * fit) and returns 1, when that file exists. Otherwise it zeroes all of out and returns 0. "%%" in the name becomes one
 * "%" in out, but not in the file name that is tested; every other "%" stays. Compatibility: callers double the "%". */
QUILL_API int chkUsbSlotPartPath(const char *name, int slot, int partition, char *out);

QUILL_END_DECLS

#endif

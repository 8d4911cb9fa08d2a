/* quill/cfgm.h: how the configuration manager, the command line and the database backup of a controller keep out of
 * each other's way: three semaphores, a controller id, and a flag.
 *
 *     what                               where                               made by
 *     command line and configuration     semaphore with key 82268220         init_cli_cfgm_sem
 *     command line and upgrade           semaphore with key 82208220         init_cli_upgrade_sem
 *     database backup                    semaphore with key 13221324         dbbk_init_sem
 *     controller id                      "/tmp/cfgmContId", "%d", no line end, mode 0644
 *     global configuration enabled       "/flash/cfgmGlobalConfigEnable", empty, there or not
 *
 *     int semaphore = init_cli_cfgm_sem();
 *     int id = incCfgmControllerId(semaphore);
 *
 * The semaphores are System V sets of one with value 1 when free. Their permission bits are deliberately 0: privileged
 * processes alone can use them. They are deliberately taken without SEM_UNDO: what a program protects may be half done
 * when it dies, so a process that dies with a semaphore, or while it makes one, leaves it taken, until a restart or
 * another process gives it.
 *
 * A file that cannot be opened is fatal, and anything but a regular file counts as that, as does a link (see
 * docs/trust.md). The process then gives back the semaphore that the call has taken, and ends by exit without a
 * message. A parent sees the status modulo 256:
 *
 *     exit   seen   what
 *     666    154    "/tmp/cfgmContId" cannot be opened for reading or writing
 *     777    9      "/flash/cfgmGlobalConfigEnable" cannot be made
 *     778    10     "/flash/cfgmGlobalConfigEnable" is there and cannot be removed
 *
 * All functions may be called from several threads, which the semaphores keep apart like processes. They hold
 * cancellation off while they hold a semaphore or a file, but not while they wait for a semaphore.
 */
#ifndef QUILL_CFGM_H
#define QUILL_CFGM_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- semaphores */

/* These return the id of their semaphore, or -1 with errno. Who makes it sets it free; one that is there keeps its
 * state, and may be held. */
QUILL_API int init_cli_cfgm_sem(void);
QUILL_API int init_cli_upgrade_sem(void);
QUILL_API int dbbk_init_sem(void);

/* cli_cfgm_sem_take waits until any of the three is free and takes it, cli_cfgm_sem_give frees it. They return 1, or -1
 * with errno, EINTR included when a signal ends the wait. Any process may give, also one that has not taken. */
QUILL_API int cli_cfgm_sem_take(int semaphore);
QUILL_API int cli_cfgm_sem_give(int semaphore);

/* --- the controller id */

/* checkAndCreateControllerId returns 1 when there is an id; when there is none it makes it 0 and returns 0. */
QUILL_API int checkAndCreateControllerId(void);

/* getCfgmControllerId returns the id, made 0 when there is none. It takes no semaphore. From a file that holds no
 * number, or is just being made, it is 0. */
QUILL_API int getCfgmControllerId(void);

/* incCfgmControllerId adds one to the id under a semaphore and returns it. Where there was no id it deliberately stays
 * 0: the first one handed out. Returns 0 also when the semaphore cannot be taken or given. */
QUILL_API int incCfgmControllerId(int semaphore);

/* setCfgmControllerId sets the id under a semaphore. Returns 1, or 0 when that cannot be taken or given. A process that
 * is killed in this call or the one before leaves the old id or the new one. What a full file system does not take is
 * not told: the same id is then handed out again. */
QUILL_API int setCfgmControllerId(int id, int semaphore);

/* --- the flag: global configuration is enabled */

/* openCfgmGlobalConfigEnableFile sets the flag, closeCfgmGlobalConfigEnableFile clears it; both return 0. Doing so
 * twice changes nothing. isCfgmGlobalConfigEnable returns 1 when it is set, else 0. */
QUILL_API int openCfgmGlobalConfigEnableFile(void);
QUILL_API int closeCfgmGlobalConfigEnableFile(void);
QUILL_API int isCfgmGlobalConfigEnable(void);

QUILL_END_DECLS

#endif

/* quill/cfgm.h: how the configuration manager, the command line and the database backup of a controller exclude each
 * other: three semaphores, a controller id, and a flag.
 *
 *     what                               where                               made by
 *     command line and configuration     semaphore with key 82268220         init_cli_cfgm_sem
 *     command line and upgrade           semaphore with key 82208220         init_cli_upgrade_sem
 *     database backup                    semaphore with key 13221324         dbbk_init_sem
 *     controller id                      "/tmp/cfgmContId", "%d", no line end, mode 0644
 *     global configuration enabled       "/flash/cfgmGlobalConfigEnable", an empty file, present or absent
 *
 *     int semaphore = init_cli_cfgm_sem();
 *     int id = incCfgmControllerId(semaphore);
 *
 * Each semaphore is a System V set of one, whose value is 1 when it is free. Its permission bits are 0: only privileged
 * processes can use it. The functions take semaphores without SEM_UNDO. When a process dies while it holds or makes a
 * semaphore, the semaphore stays taken. A restart or another process frees it. Compatibility: the change that a program
 * protects may be incomplete when the program dies.
 *
 * A file that a function must open and cannot open is fatal. A function refuses to open a link, or anything else that
 * is not a regular file (see docs/trust.md). Whether a file exists is checked without opening it. The process then
 * frees the semaphore that the call has taken, and ends by exit without a message. Its parent sees the status modulo
 * 256:
 *
 *     exit   seen   what
 *     666    154    "/tmp/cfgmContId" cannot be opened for reading or writing
 *     777    9      "/flash/cfgmGlobalConfigEnable" cannot be made
 *     778    10     "/flash/cfgmGlobalConfigEnable" exists and cannot be removed
 *
 * All functions may be called from several threads. The semaphores exclude threads in the same way as processes. The
 * functions defer thread cancellation while they hold a semaphore or a file, but not while they wait for a semaphore.
 */
#ifndef QUILL_CFGM_H
#define QUILL_CFGM_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* --- semaphores */

/* init_cli_cfgm_sem, init_cli_upgrade_sem and dbbk_init_sem return the id of their semaphore, or -1 with errno. A new
 * semaphore is free. An existing one keeps its state and may be taken. */
QUILL_API int init_cli_cfgm_sem(void);
QUILL_API int init_cli_upgrade_sem(void);
QUILL_API int dbbk_init_sem(void);

/* cli_cfgm_sem_take waits until the given semaphore is free and takes it. cli_cfgm_sem_give frees it. Both work on any
 * of the three semaphores. They return 1, or -1 with errno: EINTR when a signal ends the wait. Any process may free a
 * semaphore, also one that has not taken it. */
QUILL_API int cli_cfgm_sem_take(int semaphore);
QUILL_API int cli_cfgm_sem_give(int semaphore);

/* --- the controller id */

/* checkAndCreateControllerId returns 1 when an id exists. Otherwise it stores the id 0 and returns 0. */
QUILL_API int checkAndCreateControllerId(void);

/* getCfgmControllerId returns the id. Without an id it stores 0 and returns that. It takes no semaphore. A file without
 * a number, or one that another process is just making, gives 0. */
QUILL_API int getCfgmControllerId(void);

/* incCfgmControllerId adds one to the id under a semaphore and returns the new id. The first id is 0: when there is no
 * id yet, the function stores and returns 0. It also returns 0 when the semaphore cannot be taken or given.
 * Compatibility: 0 is the first id that programs hand out. */
QUILL_API int incCfgmControllerId(int semaphore);

/* setCfgmControllerId sets the id under a semaphore. Returns 1, or 0 when the semaphore cannot be taken or given. When
 * a process is killed in this call or in incCfgmControllerId, either the old or the new id stays. When the write fails
 * on a full file system, the function returns as for success. A later call then gives the same id again. */
QUILL_API int setCfgmControllerId(int id, int semaphore);

/* --- the flag: global configuration is enabled */

/* openCfgmGlobalConfigEnableFile sets the flag, closeCfgmGlobalConfigEnableFile clears it; both return 0. Setting a
 * flag that is set, or clearing a clear one, changes nothing and also returns 0. isCfgmGlobalConfigEnable returns 1
 * when the flag is set, else 0. */
QUILL_API int openCfgmGlobalConfigEnableFile(void);
QUILL_API int closeCfgmGlobalConfigEnableFile(void);
QUILL_API int isCfgmGlobalConfigEnable(void);

QUILL_END_DECLS

#endif

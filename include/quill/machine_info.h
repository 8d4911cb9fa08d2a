/* quill/machine_info.h: a diagnostic dump of the machine's state, for use after a failure. */
#ifndef QUILL_MACHINE_INFO_H
#define QUILL_MACHINE_INFO_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* saveMachineInfo appends the state of the machine to the file at path: saveMachineInfo("/flash/machine_info"). A
 * missing file is made with mode 0644 (0666 under umask 022). saveMachineInfo runs about twenty shell commands, one
 * after another on the calling thread, and waits for each. The file gets their output and errors. Their standard input
 * is /dev/null. quill/command.h describes what else the commands get from the caller:
 *
 *     softwareVersion 1, showVersion 1, hwMon -i        versions and hardware
 *     meminfo, slabinfo, loadavg of /proc; dmesg        the kernel
 *     netstat, ps, df, meminfo again                    connections, processes, file systems
 *     sysmgr -m, lsof -n, /tmp/.vesk, /proc/ksyms       daemons, open files, message queues, symbols
 *     the file that /flash/config/.config names         unless .config is missing or empty
 *     a listing of /flash/config/.boc_config.*          with a heading, if /flash/config/.boc_config.list exists
 *     mysqladmin processlist                            with a heading
 *
 * Returns 1 when the last command, mysqladmin, could be started, else 0 with errno. The other commands do not change
 * the result. When path is null or has more than 167 characters, it runs nothing and returns 0. For a tool that is
 * missing or fails, the file gets the error text, and the next tool follows. A path that cannot be written is not
 * reported either. Any path is safe from the shell: it is quoted, so "~" and "$HOME" in it are not expanded. Links are
 * followed, and a FIFO makes the call wait. So choose a folder that other users cannot write in, not /tmp
 * (docs/trust.md). Several threads may call saveMachineInfo at once, but two dumps into the same file mix their
 * sections. */
QUILL_API int saveMachineInfo(const char *path);

QUILL_END_DECLS

#endif

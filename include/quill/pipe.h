/* quill/pipe.h: a shell command at the other end of a stream, in place of popen and pclose.
 *
 *     int child;
 *     FILE *lines = quill_popen_thr("ip -o link", "r", &child);
 *     while (lines && fgets(line, sizeof line, lines)) ...
 *     int status = lines ? quill_pclose_thr(lines, child) : -1;
 *     if (status != -1 && WIFEXITED(status)) ...WEXITSTATUS(status)
 *
 * The functions are two pairs, which must not be mixed:
 *
 *     quill_popen_thr, quill_pclose_thr    The caller keeps the child's id, and the close waits for this child alone.
 *                                          Other programs that the process starts never inherit the pipe, not even for
 *                                          a moment. Any number of threads may use this pair at once.
 *     quill_popen, quill_pclose            The close waits for whichever child of the process ends first. So this pair
 *                                          is only for programs with one thread and no other child. The stream stays
 *                                          open in programs that the process runs by fork and exec.
 *
 * The command runs as "/bin/sh -c COMMAND", with umask 022. The command inherits everything else from the caller:
 * descriptors that are not close-on-exec, environment, working directory, blocked and ignored signals. A signal with a
 * handler gets its default action. The caller must quote every part of a command that comes from others. When the shell
 * cannot be run, the child exits with code 255.
 *
 * With mode "r" the stream reads the command's standard output. With mode "w" the command's standard input receives
 * what the program writes to the stream. The input ends when the stream is closed. Any other mode is refused, "re"
 * included.
 *
 * The process is not copied, so the cost of starting a command does not depend on the process's memory. Handlers of
 * pthread_atfork do not run. The calls are not cancellation points: a cancelled thread first finishes its call. Signal
 * handlers must not call these functions.
 *
 * In a process that ignores SIGCHLD, quill_pclose and quill_pclose_thr return -1 with errno ECHILD, after the child has
 * ended. */
#ifndef QUILL_PIPE_H
#define QUILL_PIPE_H

#include <stdio.h>

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* quill_popen starts command and returns a new stream, which quill_pclose closes. For another mode (EINVAL), and when
 * no descriptors, memory or processes are left, it starts no child and returns null with errno. */
QUILL_API FILE *quill_popen(const char *command, const char *mode);

/* quill_pclose closes a stream of quill_popen and waits, once, for any child of the process. Returns that child's
 * status as wait gives it (exit code 2 is 0x200), or -1 with errno. The stream is closed in any case.
 *
 *     EPIPE     a command in mode "w" has not read all; the stream is closed, but the call waited for no child.
 *               Other errors of fclose have the same effect
 *     ECHILD    the process has no child
 *     EINTR     a signal interrupted the wait */
QUILL_API int quill_pclose(FILE *stream);

/* quill_popen_thr does what quill_popen does and stores the child's process id in *child, or -1 when it returns null.
 * The stream is closed by quill_pclose_thr. */
QUILL_API FILE *quill_popen_thr(const char *command, const char *mode, int *child);

/* quill_pclose_thr closes a stream of quill_popen_thr and waits, once, for its child. The result and the errors are
 * those of quill_pclose. ECHILD also means that another call has waited for the child. After a -1 with any other error,
 * the caller must still wait for the child. */
QUILL_API int quill_pclose_thr(FILE *stream, int child);

QUILL_END_DECLS

#endif

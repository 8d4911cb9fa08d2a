/* quill/command.h: running commands and programs, and two small functions for files.
 *
 *     function                               runs by          output                       answers
 *     execute_command                        the shell        thrown away                  whether it could be started
 *     execute_command_status                 the shell        thrown away                  its status
 *     execute_command_status_no_io           itself           the caller's, or to files    its status
 *     execute_command_no_io                  itself           the caller's                 whether it succeeded
 *     execute_command_status_no_io_nowait    the shell        the caller's, or to files    at once, while it runs
 *
 * A status is what waitpid stores (POSIX, <sys/wait.h>): exit code 3 is 0x300, the end by signal 9 is 9.
 *
 *     char show[] = "ip -o link";
 *     int status = execute_command_status_no_io(show, "/flash/links", NULL);
 *     if (status >= 0 && WIFEXITED(status)) ...WEXITSTATUS(status)
 *
 * "The shell" is "/bin/sh -c COMMAND"; text in a command that is foreign must be quoted by the caller. "Itself" is the
 * program that is the command's first word, with a slash or looked up on PATH, and the other words as its arguments.
 * Words are separated by blanks alone: a run of blanks is one separator, blanks at the end are nothing, but a blank at
 * the start makes an empty first word, which is no program. Tabs, quotes and backslashes are characters like others.
 *
 * Children have umask 022 and what else the caller has: descriptors that are not close-on-exec, environment, working
 * directory, blocked and ignored signals; handlers become default actions. A file for output is made with mode 0664
 * (0644 under that umask), and truncated if it exists. Where it cannot be opened, the command runs with that descriptor
 * closed. The child opens it before the program runs, and until then the calling thread waits and takes no signals: a
 * path whose opening blocks, such as a FIFO without a reader or a serial line without carrier, holds it up.
 *
 * All functions may be called from several threads at once: each waits for its own child, and no descriptor of one call
 * is ever open in the command of another. Starting a command costs the same however much memory the process has
 * (execute_command_status_no_io_nowait excepted): it is not copied, and handlers of pthread_atfork do not run. The
 * calls are not cancellation points: a cancelled thread finishes the call it is in. They are not for signal handlers.
 *
 * A process that ignores SIGCHLD has no children to wait for: commands run and their results are those of a failing
 * wait. So are they when a handler without SA_RESTART interrupts the wait; the child is then the caller's to wait for.
 */
#ifndef QUILL_COMMAND_H
#define QUILL_COMMAND_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* execute_command runs a command by the shell and waits for it. Returns 1, whatever the command's status is, and 0 when
 * it could not be started (errno: no descriptors, memory or processes left). The command's standard output is a pipe
 * that nobody reads: a command that writes to it gets SIGPIPE, so one with output says ">/dev/null". */
QUILL_API int execute_command(const char *command);

/* execute_command_status does what execute_command does and returns the status: `exit 3` gives 0x300. Returns -1 with
 * errno when waiting failed, and 0 also when the command could not be started; that is deliberately the same as success
 * for callers who are not to stop over it. A shell that cannot be run has exit code 255. */
QUILL_API int execute_command_status(const char *command);

/* execute_command_status_no_io runs a program without a shell, waits for it and returns its status, or -1 with errno
 * when it could not be started or waited for. A program that is not found, or no memory for the words, is exit code 1
 * (0x100), as is a null command. output and errors, each unless null, name files for standard output and standard
 * error; an empty name cannot be opened. The same name twice gives two writers that overwrite each other. command is
 * only read. */
QUILL_API int execute_command_status_no_io(char *command, const char *output, const char *errors);

/* execute_command_no_io does the same with the caller's output, and returns 1 for status 0, else 0. */
QUILL_API int execute_command_no_io(char *command);

/* execute_command_status_no_io_nowait starts a command by the shell and returns while it runs. A detached process of
 * the library's waits for it, and says how it went:
 *
 *     output, errors       null or empty: the caller's; else a file
 *     status_file          null, or a file that holds "1\n" while the command runs, then "3\n" when it ended with
 *                          status 0, or "2\n" (mode 0666 under umask 022). Until the detached process has begun, which
 *                          may be after the call has returned, the file holds what it held: remove it before. If it
 *                          cannot be made, the command is not run. On a full file system it may stay empty, and with a
 *                          detached process that is killed it stays as it is.
 *     delete_on_success    null, or a file that is removed when the command ended with status 0, before the "3\n"
 *
 * The command has the default action for SIGCHLD. SIGINT and SIGQUIT end the command but not the detached process.
 *
 * Returns 0 when the command is launched. Returns -1 for a null command and when a fork or the wait for the process in
 * between failed. When it is the second of the two forks that fails, the -1 comes in a forked copy of the program while
 * the call in the program itself returns 0, as soon as that copy ends: a program that gets -1 compares getpid() with
 * what it was, and ends itself by _exit in the copy.
 *
 * Forks the whole process, so its cost grows with the process's memory. Handlers of pthread_atfork run, and signals
 * that come to the new processes find the program's handlers; nothing else of the program's is run or written there,
 * neither exit handlers nor what is left in stdio buffers. */
QUILL_API int execute_command_status_no_io_nowait(const char *command, const char *output, const char *errors,
                                                  const char *status_file, const char *delete_on_success);

/* process_normal returns 1 when a process of that name runs, which `killall -0 NAME` is asked (Debian package psmisc),
 * else 0. Any name is safe: what means something to the shell is quoted. 0 also, without asking, for null, for a name
 * that begins with a dash, which killall would take for an option, and for one of more than 244 characters. */
QUILL_API int process_normal(const char *name);

/* execute_command_proc writes one character into a file, as for a switch under /proc: execute_command_proc('1', path).
 * The file is made (mode 0666 before the umask) or truncated. Always returns 1; a file that cannot be opened is told on
 * standard error ("execute_command_proc failure : No such file or directory"), a character that it does not take is
 * not. */
QUILL_API int execute_command_proc(int character, const char *path);

/* cp_file_to_from copies a file; the destination comes first. The destination must not exist (EEXIST) and gets mode
 * 0666 under the caller's umask. Returns 1, or 0 with errno: then what was copied so far stays, and a destination that
 * existed is unchanged. A read is not repeated after a signal (EINTR), a write is.
 *
 * When closing the destination fails, as it may on network file systems, the caller's descriptor 0 is closed as well;
 * this is deliberate, and a program that reads standard input opens it anew then. */
QUILL_API int cp_file_to_from(const char *destination, const char *source);

QUILL_END_DECLS

#endif

/* quill/command.h: running commands and programs, and two small functions for files.
 *
 *     function                               runs by          output                       returns
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
 * "The shell" is "/bin/sh -c COMMAND". When a command contains text that comes from others, the caller must quote that
 * text. "Itself" means that the command's first word is the program: a path with a slash, or a name that is looked up
 * on PATH. The other words are its arguments. Only blanks separate words. A run of blanks is one separator, and blanks
 * at the end are ignored. A blank at the start makes an empty first word, which is not a program. Tabs, quotes and
 * backslashes have no meaning.
 *
 * Children have umask 022. Children inherit everything else from the caller: descriptors that are not close-on-exec,
 * environment, working directory, blocked and ignored signals. A signal with a handler gets its default action.
 *
 * A file for output is made with mode 0664 (0644 under that umask), and truncated if it exists. When the file cannot be
 * opened, the command runs with the descriptor for that output closed. The child opens the file before the program
 * runs. In execute_command_status_no_io, the calling thread waits until the program runs, and takes no signals
 * meanwhile. So a path whose opening blocks, such as a serial line without carrier, delays the caller. In
 * execute_command_status_no_io_nowait, such a path delays only the detached process.
 *
 * All functions may be called from several threads at once. Each call waits for its own child. No descriptor of one
 * call is ever open in the command of another. The calls are not cancellation points: a cancelled thread first finishes
 * its call. They are not for signal handlers.
 *
 * Only execute_command_status_no_io_nowait copies the process, so only its cost grows with the process's memory. In it,
 * handlers of pthread_atfork run, and signals to the new processes run the program's signal handlers. Nothing else of
 * the program runs in the new processes: no exit handlers run, and stdio buffers are not written.
 *
 * In a process that ignores SIGCHLD, commands run, but their results are those of a failed wait. A signal handler
 * without SA_RESTART that interrupts the wait has the same effect, and the caller itself must then wait for the
 * child. */
#ifndef QUILL_COMMAND_H
#define QUILL_COMMAND_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* execute_command runs a command by the shell and waits for it. Returns 1, whatever the command's status is. Returns 0
 * when the command could not be started (errno: no descriptors, memory or processes left). The command's standard
 * output is a pipe without a reader, so a command that writes to it gets SIGPIPE. Add ">/dev/null" to a command with
 * output. */
QUILL_API int execute_command(const char *command);

/* execute_command_status does what execute_command does and returns the status: `exit 3` gives 0x300. Returns -1 with
 * errno when waiting failed. Returns 0, as for success, when no process could be made. When /bin/sh cannot be run, the
 * exit code is 255. Compatibility: callers continue when a command cannot be started. */
QUILL_API int execute_command_status(const char *command);

/* execute_command_status_no_io runs a program without a shell, waits for it and returns its status. Returns -1 with
 * errno when no process could be made, or when waiting failed. The result is exit code 1 (0x100) when the program is
 * not found, when memory for the words runs out, and for a null command.
 *
 * output and errors are the files for standard output and standard error; each may be null. An empty name cannot be
 * opened. The same name twice gives two writers that overwrite each other. command is only read. */
QUILL_API int execute_command_status_no_io(char *command, const char *output, const char *errors);

/* execute_command_no_io runs a program in the same way, with the caller's output. It returns 1 for status 0, else 0. */
QUILL_API int execute_command_no_io(char *command);

/* execute_command_status_no_io_nowait starts a command by the shell and returns while the command runs. A detached
 * process of the library waits for the command, and reports its end:
 *
 *     output, errors       null or empty: the caller's; else a file
 *     status_file          null, or a file for the command's state: "1\n" while it runs, then "3\n" if it ended with
 *                          status 0, else "2\n"
 *     delete_on_success    null, or a file that is removed when the command ended with status 0, before the "3\n"
 *
 * The detached process makes status_file, with mode 0666 under umask 022, perhaps after the call has returned. So
 * remove an old file before the call. When the file cannot be made, the command is not run. On a full file system the
 * file may stay empty. When the detached process is killed, the file keeps its content. The command has the default
 * action for SIGCHLD. SIGINT and SIGQUIT end the command but not the detached process. Returns
 *
 *     0     the command is launched; or the second of the two forks failed, and a forked copy of the program got the -1
 *     -1    the command is null, or the first fork or the wait for the intermediate process failed; or the call is in
 *           that forked copy
 *
 * So a program that gets -1 may be the copy. It must compare getpid() with its value before the call, and call _exit
 * when the two differ. */
QUILL_API int execute_command_status_no_io_nowait(const char *command, const char *output, const char *errors,
                                                  const char *status_file, const char *delete_on_success);

/* process_normal returns 1 when a process of that name runs, else 0. It runs `killall -0 NAME` (Debian package psmisc).
 * Any name is safe: characters with a meaning to the shell are quoted. It returns 0 without running killall for null
 * and for a name of more than 244 characters. It does the same for a name that begins with a dash, which killall would
 * read as an option. */
QUILL_API int process_normal(const char *name);

/* execute_command_proc writes one character into a file, as for a switch under /proc: execute_command_proc('1', path).
 * The file is made (mode 0666 before the umask) or truncated. Always returns 1. A file that cannot be opened is
 * reported on standard error ("execute_command_proc failure : No such file or directory"). A failed write is not
 * reported. */
QUILL_API int execute_command_proc(int character, const char *path);

/* cp_file_to_from copies a file; the destination comes first. The destination must not exist (EEXIST) and gets mode
 * 0666 under the caller's umask. Returns 1, or 0 with errno. On failure the bytes copied so far stay, and a destination
 * that existed before the call is unchanged. After a signal, a read is not repeated (EINTR), but a write is.
 *
 * When closing the destination fails, as it may on network file systems, the caller's descriptor 0 is closed as well.
 * Compatibility: daemons have /dev/null there; a program that reads standard input opens it again. */
QUILL_API int cp_file_to_from(const char *destination, const char *source);

QUILL_END_DECLS

#endif

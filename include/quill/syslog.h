/* quill/syslog.h: the system's log client, which takes the place of the C library's.
 *
 * openlog, syslog, vsyslog, closelog and setlogmask have the C library's names and arguments (POSIX.1-2017,
 * <syslog.h>). A program includes <syslog.h> and calls them as always. Linking with libquill is enough. A program that
 * was linked without libquill gets the same client with LD_PRELOAD=libquill.so.1. A program compiled with
 * _FORTIFY_SOURCE uses this client as well. This header may also be included, before or after <syslog.h>. The LOG_
 * names come from <syslog.h>.
 *
 *     openlog("placementd", LOG_PID, 0);
 *     syslog(LOG_WARNING, "no VLAN left for %s: %m", station);
 *
 * What differs from the C library's client:
 *
 *     facility    A priority without a facility gets facility 53 (QUILL_LOG_FACILITY), for which the system's log
 *                 daemon is configured. A facility from openlog or from the priority takes precedence. LOG_KERN cannot
 *                 be given, because it is 0.
 *     mesh point  When /tmp/mesh_role holds 1, messages are dropped silently while the daemon's queue is full. A mesh
 *                 point therefore never waits for its log. Otherwise a message waits until the daemon takes it. The
 *                 file is read once, before the first connection. If the first 255 bytes of an existing file have no
 *                 number, each openlog and each new connection reads the file again. Anything but a regular file counts
 *                 as a missing file (docs/trust.md).
 *     length      A record has at most 1,023 bytes with its NUL. A message that does not fit is cut, and begins with
 *                 "[truncated] ". An identity of 960 characters or more is replaced by "<BUFFER OVERRUN ATTEMPT>".
 *     SIGPIPE     While a message is sent, the whole process has a handler of the library for this signal. If another
 *                 thread gets SIGPIPE during this time, the handler closes the log's connection, and the program does
 *                 not get the signal. After the call, the program's own action is in place again. A broken connection
 *                 to the daemon never runs that action.
 *
 * A record goes to /dev/log in one datagram, or over a stream when the daemon has opened one. It has this form (RFC
 * 3164, section 4.1, as local daemons expect it):
 *
 *     <427>Nov 23 14:05:59 syslog[812]: the text\0
 *      |   |               |     |      |
 *      |   |               |     |      the formatted message
 *      |   |               |     the process id, with LOG_PID
 *      |   |               the identity
 *      |   local time, in English
 *      the priority: 8 times the facility, and the level
 *
 * The record includes its NUL, which separates records in a stream.
 *
 * When a message does not reach the daemon, because the daemon does not run or has ended, the connection is closed.
 * With LOG_CONS the message goes to the console. The next message connects again. No function reports an error. errno
 * is unchanged.
 *
 * All functions may be called from several threads; records are never mixed. After a fork the child may log, even if
 * another thread was logging at that moment. The process's first call of any function of this header prepares the log
 * for forks. So a threaded program that forks must call openlog before it starts its threads. The functions are not
 * cancellation points and, like the C library's, not for signal handlers. */
#ifndef QUILL_SYSLOG_H
#define QUILL_SYSLOG_H

#include <stdarg.h>

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* The facility of messages that name no facility: 53, outside of the standard's range. */
enum { QUILL_LOG_FACILITY = 53 << 3 };

/* openlog sets what the following messages have in common.
 *
 * identity is the start of each message, at first "syslog"; null keeps the earlier identity. The pointer is kept, so
 * the text must live as long as messages are logged. options replaces the earlier options:
 *
 *     LOG_PID     add the process id
 *     LOG_CONS    write to /dev/console each message that cannot be sent
 *     LOG_NDELAY  connect now, not with the first message; if this fails, the first message is lost, even when a daemon
 *                 runs by then
 *     LOG_PERROR  also write each message to standard error, from the identity on, as a line
 *
 * facility (LOG_USER, LOG_DAEMON, …) becomes the facility of messages without a facility. 0 and a number that is not a
 * facility change nothing.
 *
 * When a connection exists, openlog drops it, and the next message is lost (or goes to the console). So call it once,
 * at the start, or after closelog. Compatibility: daemons depend on it. */
QUILL_API void openlog(const char *identity, int options, int facility);

/* A fortified <syslog.h> that was included first has already defined syslog and vsyslog, as calls of __syslog_chk and
 * __vsyslog_chk. */
#if !defined(_SYS_SYSLOG_H) || !defined(__USE_FORTIFY_LEVEL) || __USE_FORTIFY_LEVEL == 0

/* syslog formats a message as printf does, with %m for strerror(errno), and sends it. priority is a level, LOG_EMERG to
 * LOG_DEBUG, and may have a facility added. Nothing happens when the mask excludes the level, or when priority has bits
 * other than those of level and facility. */
QUILL_API void syslog(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* vsyslog does what syslog does, with its arguments in a list. */
QUILL_API void vsyslog(int priority, const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));

#endif

/* closelog closes the connection and resets what openlog and setlogmask have set. The next message connects again. */
QUILL_API void closelog(void);

/* setlogmask sets which levels are logged: mask is LOG_MASK(level) or LOG_UPTO(level). At first all levels are logged.
 * A mask of 0 changes nothing. Returns the mask before the call. Like openlog and closelog, it waits while another
 * thread's message waits. */
QUILL_API int setlogmask(int mask) QUILL_THROWS_NOTHING;

/* __syslog_chk and __vsyslog_chk do what syslog and vsyslog do. With _FORTIFY_SOURCE the compiler calls them in place
 * of syslog and vsyslog. Programs do not call them by name. */
QUILL_API void __syslog_chk(int priority, int flag, const char *format, ...) __attribute__((format(printf, 3, 4)));
QUILL_API void __vsyslog_chk(int priority, int flag, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

QUILL_END_DECLS

#endif

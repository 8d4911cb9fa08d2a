/* quill/component_log.h: a small leveled log under a component's own name, to standard error and the system log.
 *
 * A program makes a log at its start, logs any number of messages, and destroys the log at its end:
 *
 *     #include <syslog.h>                      // for LOG_DAEMON
 *
 *     LogHandle *log = CreateLog(QUILL_LEVEL_DEBUG, QUILL_LEVEL_WARNING, "placementd", 0, LOG_DAEMON);
 *     QuillLog(log, QUILL_LEVEL_ERROR, "no VLAN left for %s", station);
 *
 * This prints "placementd: no VLAN left for 02:00:00:00:00:01" on standard error. It also logs "no VLAN left for …" at
 * LOG_ERR through quill/syslog.h. All component logs of a process share its one connection. The name and facility of
 * the log created last apply to all logs. The first log that is destroyed closes the connection for all.
 *
 * Several threads may log. Records of the system log are never mixed, but lines on standard error may be mixed. */
#ifndef QUILL_COMPONENT_LOG_H
#define QUILL_COMPONENT_LOG_H

#include <quill/types.h>

QUILL_BEGIN_DECLS

/* Levels of messages, and thresholds: a message goes to an output when its level is at most the output's threshold. */
enum {
    QUILL_LEVEL_SILENT = -1, /* as a threshold: nothing */
    QUILL_LEVEL_CRITICAL = 0,
    QUILL_LEVEL_ERROR = 1,
    QUILL_LEVEL_WARNING = 2,
    QUILL_LEVEL_NOTICE = 3,
    QUILL_LEVEL_INFO = 4,
    QUILL_LEVEL_DEBUG = 5 /* as a threshold: everything */
};

/* LogHandle is a component's log. The library makes it; a program may change the thresholds. */
typedef struct LogHandle {
    int32_t reserved;     /* 0 */
    int32_t stderr_level; /* the threshold of standard error */
    int32_t syslog_level; /* the threshold of the system log */
    char name[32];        /* the component's name on standard error, cut to 30 characters */
} LogHandle;

/* CreateLog returns a new log, to be released with DestroyLog. Returns null when memory runs out, and then nothing has
 * changed. It calls openlog(name, 0, facility). name (kept) must live as long as any part of the process logs. facility
 * is as in quill/syslog.h (LOG_DAEMON, …; 0 for the default). Records have no process id. ignored has no meaning.
 *
 * When the process has logged before, the next message to the system log is lost (see openlog): create all logs before
 * the first message. */
QUILL_API LogHandle *CreateLog(int stderr_level, int syslog_level, const char *name, int ignored, int facility);

/* DestroyLog calls closelog and frees log (taken). With a null log it only calls closelog. The remaining logs then send
 * under the name "syslog", with the default facility and mask. */
QUILL_API void DestroyLog(LogHandle *log);

/* QuillLog writes one message, formatted as printf does it (%m too, where the C library has it). The message goes to
 * standard error as the line "NAME: MESSAGE", which is flushed, and to the system log. The levels from
 * QUILL_LEVEL_CRITICAL to QUILL_LEVEL_DEBUG are LOG_CRIT to LOG_DEBUG in the system log. A level below them is sent as
 * LOG_CRIT there, and a level above them as LOG_DEBUG. Failures are not reported, and errno is unchanged. */
QUILL_API void QuillLog(LogHandle *log, int level, const char *format, ...) __attribute__((format(printf, 3, 4)));

QUILL_END_DECLS

#endif

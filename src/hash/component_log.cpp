#include <quill/component_log.h>
#include <quill/syslog.h>

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "base/errno.h"
#include "base/memory.h"

namespace {

// The system log's level for each level of the component log. The system log's levels emergency and alert are not used.
constexpr int kPriority[] = {
    2,  // critical
    3,  // error
    4,  // warning
    5,  // notice
    6,  // informational
    7,  // debug
};

constexpr size_t kName = 30;

}  // namespace

LogHandle *CreateLog(int stderr_level, int syslog_level, const char *name, int, int facility) {
    quill::Owned<LogHandle> log = quill::new_zeroed<LogHandle>();
    if (!log) return nullptr;
    log->stderr_level = stderr_level;
    log->syslog_level = syslog_level;
    memcpy(log->name, name, strnlen(name, kName));
    openlog(name, 0, facility);
    return log.release();
}

void DestroyLog(LogHandle *log) {
    closelog();
    free(log);
}

void QuillLog(LogHandle *log, int level, const char *format, ...) {
    const quill::ErrnoGuard errno_guard;
    va_list arguments;
    if (level <= log->stderr_level) {
        fprintf(stderr, "%s: ", log->name);
        errno_guard.restore();  // for %m
        va_start(arguments, format);
        vfprintf(stderr, format, arguments);
        va_end(arguments);
        fputc('\n', stderr);
        fflush(stderr);
    }
    errno_guard.restore();
    if (level <= log->syslog_level) {
        va_start(arguments, format);
        vsyslog(kPriority[std::clamp<int>(level, QUILL_LEVEL_CRITICAL, QUILL_LEVEL_DEBUG)], format, arguments);
        va_end(arguments);
    }
}

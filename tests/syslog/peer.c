/* A daemon of another project, which uses only the C library's log. It is compiled with fortification and not linked
 * with the library. It gets our client because it runs with the library preloaded. */
#define _DEFAULT_SOURCE
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

static void report(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

int main(int argc, char **argv) {
    const int stations = argc > 1 ? atoi(argv[1]) : 0;
    syslog(LOG_ERR, "%d stations before openlog", stations);
    closelog(); /* openlog while connected would lose a message */
    openlog("peer", LOG_PID, 0);
    report(LOG_WARNING, "%d stations in a list of arguments", stations);
    syslog(LOG_USER | LOG_INFO, "%d stations with a facility", stations);
    return 0;
}

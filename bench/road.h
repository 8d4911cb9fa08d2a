/* The whole road of an event is the way from its line in a log to its message. The two programs use the library, and
 * GLib with msgpack-c. */
#ifndef ROAD_H
#define ROAD_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* These functions set the pool of VLANs, such as "10-20,30". */
void quill_road_open(const char *pool);
void glib_road_open(const char *pool);
void quill_road_close(void);
void glib_road_close(void);

/* These functions handle each line of the log. They return a digest of the messages' contents. */
unsigned long quill_road(const char *log, size_t size);
unsigned long glib_road(const char *log, size_t size);

#ifdef __cplusplus
}
#endif

#endif

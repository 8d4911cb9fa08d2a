/* The whole road of an event, from its line in a log to its message: with the library, and with GLib and msgpack-c. */
#ifndef ROAD_H
#define ROAD_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Places on the VLANs of pool, such as "10-20,30". */
void quill_road_open(const char *pool);
void glib_road_open(const char *pool);
void quill_road_close(void);
void glib_road_close(void);

/* Handles each line of the log; a digest of what the messages say. */
unsigned long quill_road(const char *log, size_t size);
unsigned long glib_road(const char *log, size_t size);

#ifdef __cplusplus
}
#endif

#endif

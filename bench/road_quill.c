/* The daemon of the placement example. In place of sending a message, it adds the message's values to a sum. */
#define _GNU_SOURCE
#include <sys/socket.h>

#define main placementd_main
#define send(socket, bytes, length, flags)                                                             \
    ((void)(socket), (void)(bytes), road_digest += message.vlan * 7 + message.clients + message.event, \
     (ssize_t)(length))
static unsigned long road_digest;
#undef _GNU_SOURCE
#include "placementd.c"
#undef send

#include "road.h"

void quill_road_open(const char *pool) {
    option.pool = pool;
    open_pool();
}
void quill_road_close(void) { close_pool(); }

unsigned long quill_road(const char *log, size_t size) {
    road_digest = 0;
    feed(log, size);
    return road_digest;
}

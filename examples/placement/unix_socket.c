#define _GNU_SOURCE /* accept4 */
#include "unix_socket.h"

#include <err.h>
#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

static struct sockaddr_un address_of(const char *path) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    size_t length = strlen(path);
    if (length == 0 || length >= sizeof address.sun_path)
        errx(2, "bad socket path: found %zu bytes, expected 1 to %zu", length, sizeof address.sun_path - 1);
    memcpy(address.sun_path, path, length);
    return address;
}

static int new_socket(int type) {
    int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (fd < 0) err(2, "cannot make a socket");
    return fd;
}

static int try_connect(const struct sockaddr_un *address, int type) {
    int fd = new_socket(type);
    if (connect(fd, (const struct sockaddr *)address, sizeof *address) == 0) return fd;
    int error = errno;
    close(fd);
    errno = error;
    return -1;
}

/* Removes a socket file without a listener. Any other file is data, and stays. To look for a listener, the function
 * connects a datagram socket. A listener refuses this type, so it does not accept the connection as a peer. */
static void remove_leftover(const struct sockaddr_un *address) {
    struct stat found;
    if (lstat(address->sun_path, &found) < 0 || !S_ISSOCK(found.st_mode)) return;
    int fd = try_connect(address, SOCK_DGRAM);
    if (fd >= 0)
        close(fd);
    else if (errno == ECONNREFUSED)
        unlink(address->sun_path);
}

int unix_accept_one(const char *path, int type) {
    struct sockaddr_un address = address_of(path);
    int listener = new_socket(type), fd;
    remove_leftover(&address);
    if (bind(listener, (const struct sockaddr *)&address, sizeof address) < 0 || listen(listener, 1) < 0)
        err(2, "cannot listen at %s", path);
    do fd = accept4(listener, NULL, NULL, SOCK_CLOEXEC);
    while (fd < 0 && (errno == EINTR || errno == ECONNABORTED));
    if (fd < 0) err(2, "cannot accept a connection at %s", path);
    close(listener);
    unlink(path);
    return fd;
}

int unix_connect(const char *path, int type, unsigned wait) {
    const struct timespec pause = {.tv_nsec = 20 * 1000 * 1000};
    struct sockaddr_un address = address_of(path);
    uint64_t tries = wait * UINT64_C(50);
    int fd;
    while ((fd = try_connect(&address, type)) < 0) {
        int no_listener = errno == ENOENT || errno == ECONNREFUSED || errno == EINTR;
        if (!no_listener || tries-- == 0) err(2, "cannot connect to %s", path);
        nanosleep(&pause, NULL);
    }
    return fd;
}

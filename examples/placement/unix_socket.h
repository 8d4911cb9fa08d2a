/* unix_socket.h: Unix sockets for programs that cannot continue without them. When a function fails, it ends the
 * program with exit status 2 and a message. */
#ifndef UNIX_SOCKET_H
#define UNIX_SOCKET_H

/* unix_accept_one listens at path for one connection of type (SOCK_…), waits for it and returns its descriptor. A
 * socket file that a killed program left is replaced. A socket file in use is not replaced. The function removes the
 * file before it returns. */
int unix_accept_one(const char *path, int type);

/* unix_connect connects to path and returns the descriptor. While no process listens there, it tries again for up to
 * wait seconds. */
int unix_connect(const char *path, int type, unsigned wait);

#endif

/* unix_socket.h: Unix sockets for programs that cannot go on without them: each function ends the program with exit
 * status 2 and a message when it fails. */
#ifndef UNIX_SOCKET_H
#define UNIX_SOCKET_H

/* unix_accept_one listens at path for one connection of type (SOCK_…), waits for it and returns its descriptor. A
 * socket file that a killed program left is replaced, one in use is not. The file is gone when this returns. */
int unix_accept_one(const char *path, int type);

/* unix_connect connects to path, trying for up to wait seconds while no process listens there. */
int unix_connect(const char *path, int type, unsigned wait);

#endif

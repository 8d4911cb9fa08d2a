#include "socket.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace quill::cli {
namespace {

struct TypeName {
    const char *name;
    int type;
};
constexpr TypeName kTypes[] = {{"datagram", SOCK_DGRAM}, {"seqpacket", SOCK_SEQPACKET}, {"stream", SOCK_STREAM}};

// Each packet then carries its sender's credentials. The credentials distinguish an empty packet from the end of a
// connection. They also fill the room for control data, so that a sender cannot pass descriptors. The kernel also gives
// a connecting socket an address, to which a receiver of datagrams can reply.
void ask_for_credentials(int fd) {
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0)
        fail("cannot prepare a socket: %s", strerror(errno));
}

}  // namespace

Socket::Socket(int type) : fd_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
    if (fd_ < 0) fail("cannot make a socket: %s", strerror(errno));
    ask_for_credentials(fd_);
}

Socket::~Socket() {
    if (fd_ >= 0) close(fd_);
}

Socket Socket::of_connection(const Socket &listener) {
    Socket connection;
    connection.fd_ = accept4(listener.fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection.fd_ >= 0) ask_for_credentials(connection.fd_);
    return connection;
}

int take_type(Arguments &arguments, int otherwise) {
    const char *const wanted = arguments.take_value("--type");
    if (!wanted) return otherwise;
    for (const TypeName &known : kTypes)
        if (strcmp(known.name, wanted) == 0) return known.type;
    arguments.misused("--type: expected datagram, seqpacket or stream, found \"%s\"", wanted);
}

sockaddr_un address_of(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t length = strlen(path);
    if (length == 0 || length >= sizeof address.sun_path)
        fail("expected a path of 1 to %zu bytes, found %zu: %s", sizeof address.sun_path - 1, length, path);
    memcpy(address.sun_path, path, length);
    return address;
}

bool is_connected(const Socket &socket, const sockaddr_un &address) {
    return connect(socket.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

Arrival receive(const Socket &socket, int type, Bytes &message) {
    const bool is_stream = type == SOCK_STREAM;
    const size_t used = is_stream ? message.size() : 0, room = is_stream ? 65536 : kLongestMessage;
    message.resize(used + room);
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    iovec part = {message.data() + used, room};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    ssize_t got;
    do got = recvmsg(socket.fd(), &header, is_stream ? 0 : MSG_TRUNC);
    while (got < 0 && errno == EINTR);
    const size_t length = got > 0 ? static_cast<size_t>(got) : 0;
    message.resize(used + std::min(length, room));
    if (got < 0) return Arrival::kFailed;
    if (used + length > kLongestMessage) return Arrival::kTooLong;
    if (is_stream && got > 0) return Arrival::kPart;
    const bool has_ended = is_stream ? message.empty() : type == SOCK_SEQPACKET && header.msg_controllen == 0;
    return has_ended ? Arrival::kEnd : Arrival::kMessage;
}

}  // namespace quill::cli

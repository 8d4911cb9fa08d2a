// Unix sockets, and the messages that travel over them.
#pragma once

#include <stddef.h>
#include <sys/un.h>

#include <utility>

#include "command.h"
#include "input.h"

namespace quill::cli {

// A descriptor of a socket, which is closed with its owner.
class Socket {
public:
    Socket() = default;
    // The program ends when it cannot be made.
    explicit Socket(int type);
    ~Socket();
    Socket(Socket &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket &operator=(Socket &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    static Socket of_connection(const Socket &listener);  // closed, with errno, without a connection

    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

private:
    int fd_ = -1;
};

// Of "--type TYPE"; `otherwise` without the option.
int take_type(Arguments &arguments, int otherwise);

// The program ends when the path is longer than an address can be.
sockaddr_un address_of(const char *path);
bool is_connected(const Socket &socket, const sockaddr_un &address);  // false with errno

// A Unix socket's buffers hold 208 KiB unless its program asks for more.
constexpr size_t kLongestMessage = 1 << 20;

enum class Arrival { kMessage, kTooLong, kPart, kEnd, kFailed };

// Receives the next message, for which `message` is emptied. On a stream, all bytes until the peer closes are one
// message: the result is kPart as long as it does not, and the next call appends. kEnd: the peer has closed, and there
// is no message. kFailed leaves the reason in errno.
Arrival receive(const Socket &socket, int type, Bytes &message);

}  // namespace quill::cli

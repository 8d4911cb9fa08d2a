// Unix sockets, and the messages that travel over them.
#pragma once

#include <stddef.h>
#include <sys/un.h>

#include <utility>

#include "command.h"
#include "input.h"

namespace quill::cli {

// Owns the descriptor of a socket, and closes it when it is destroyed.
class Socket {
public:
    Socket() = default;
    // If the socket cannot be created, the program ends.
    explicit Socket(int type);
    ~Socket();
    Socket(Socket &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket &operator=(Socket &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    static Socket of_connection(const Socket &listener);  // not open, with errno, on failure

    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

private:
    int fd_ = -1;
};

// Takes "--type TYPE"; returns `otherwise` if the option is missing.
int take_type(Arguments &arguments, int otherwise);

// If the path is too long for an address, the program ends.
sockaddr_un address_of(const char *path);
bool is_connected(const Socket &socket, const sockaddr_un &address);  // false with errno

// A Unix socket's buffers hold 208 KiB unless its program sets a larger size.
constexpr size_t kLongestMessage = 1 << 20;

enum class Arrival { kMessage, kTooLong, kPart, kEnd, kFailed };

// Receives the next message into `message`, and replaces the earlier content. On a stream, all bytes until the peer
// closes are one message. Until then the result is kPart, and the next call appends. kEnd means that the peer has
// closed and there is no message. kFailed leaves the reason in errno.
Arrival receive(const Socket &socket, int type, Bytes &message);

}  // namespace quill::cli

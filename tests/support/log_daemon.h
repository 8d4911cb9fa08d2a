// A log daemon that the test controls: it listens at /dev/log, and reads when the test calls it.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace quill::test {

constexpr size_t kTime = 16;  // bytes of "Nov 23 14:05:59 "

// Returns the record without its time, with "$" in place of its NUL. The record must have both.
inline std::string without_time(const std::string &record) {
    const size_t time = record.find('>') + 1;
    if (record.size() < time + kTime) return record;
    if (record[time + 3] != ' ' || record[time + 9] != ':' || record[time + 12] != ':' || record[time + 15] != ' ')
        return "no time in " + record;
    std::string rest = record.substr(0, time) + record.substr(time + kTime);
    if (rest.back() == '\0') rest.back() = '$';
    return rest;
}

class LogDaemon {
public:
    explicit LogDaemon(int type = SOCK_DGRAM) : type_(type), socket_(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
        struct sockaddr_un here = {};
        here.sun_family = AF_UNIX;
        strcpy(here.sun_path, "/dev/log");
        unlink(here.sun_path);
        if (bind(socket_, reinterpret_cast<struct sockaddr *>(&here), sizeof here) != 0) abort();
        if (type == SOCK_STREAM && listen(socket_, 64) != 0) abort();
    }
    ~LogDaemon() {
        close(socket_);
        if (connection_ != -1) close(connection_);
        unlink("/dev/log");
    }
    LogDaemon(const LogDaemon &) = delete;
    LogDaemon &operator=(const LogDaemon &) = delete;

    // Returns the next record with its NUL, or an empty text. By default, receive does not wait: local sockets deliver
    // a record before the sender's call returns.
    std::string receive(int milliseconds = 0) {
        if (type_ == SOCK_DGRAM) return readable(socket_, milliseconds) ? read_some(socket_) : "";
        for (;;) {
            const size_t end = unread_.find('\0');
            if (end != std::string::npos) {
                const std::string record = unread_.substr(0, end + 1);
                unread_.erase(0, end + 1);
                return record;
            }
            if (connection_ == -1) {
                if (!readable(socket_, milliseconds)) return "";
                connection_ = accept(socket_, nullptr, nullptr);
            }
            if (!readable(connection_, milliseconds)) return "";
            const std::string more = read_some(connection_);
            if (more.empty()) {
                close(connection_);
                connection_ = -1;
            }
            unread_ += more;
        }
    }

    // Reads all records that have arrived, and returns their number.
    int drain() {
        int records = 0;
        while (!receive().empty()) records++;
        return records;
    }

    int socket() const { return socket_; }

private:
    static bool readable(int fd, int milliseconds) {
        struct pollfd one = {fd, POLLIN, 0};
        return poll(&one, 1, milliseconds) == 1;
    }
    static std::string read_some(int fd) {
        char bytes[4096];
        const ssize_t length = read(fd, bytes, sizeof bytes);
        return length > 0 ? std::string(bytes, static_cast<size_t>(length)) : "";
    }

    int type_;
    int socket_;
    int connection_ = -1;
    std::string unread_;
};

}  // namespace quill::test

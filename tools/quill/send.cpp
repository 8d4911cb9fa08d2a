// quill send.
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>

#include "command.h"
#include "input.h"
#include "message.h"
#include "socket.h"

namespace quill::cli {

constexpr char kSendHelp[] =
    "usage: quill send [--type TYPE] [--wait SECONDS] [--raw] SOCKET [FILE]\n"
    "       quill send --reply [--timeout SECONDS] [OPTION]... SOCKET [FILE]\n"
    "\n"
    "Sends codec messages to the process that listens at the Unix socket SOCKET. The\n"
    "messages are read from FILE or standard input, as text for quill encode. An\n"
    "empty line ends a message, and the message is sent at once. A line that begins\n"
    "with { is a whole message, as quill listen --json prints it.\n"
    "\n"
    "  --type TYPE        datagram, seqpacket or stream; the default is the type of\n"
    "                     SOCKET. On a stream, each message has a connection of its\n"
    "                     own\n"
    "  --raw              send the input unchanged and unchecked, as one message\n"
    "  --wait SECONDS     wait up to SECONDS until a process listens\n"
    "  --reply            wait for an answer to each message, and show it\n"
    "  --timeout SECONDS  how long a receiver may take to read or to answer (5); 0 is\n"
    "                     no limit\n"
    "  --names NAMES      the names of an answer's elements, as for decode\n"
    "  --pcap OUT         also write the answers to a file, as for decode\n"
    "  --plain            print answers as text that quill encode reads\n"
    "  --json             print answers as JSON objects\n"
    "\n"
    "example: printf 'mac 00:1b:63:aa:bb:cc\\nu32 20\\n' | quill send /tmp/stationd\n";

namespace {

constexpr useconds_t kPause = 20'000;

uint64_t seconds_now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec);
}

struct Settings {
    int type;  // 0: the receiver's type
    uint64_t wait, timeout;
    bool wants_reply;
};

class Sender {
public:
    Sender(const char *path, const Settings &settings, Decoder &decoder)
        : path_(path), address_(address_of(path)), settings_(settings), decoder_(decoder) {}

    void send(std::span<const uint8_t> message) {
        if (!socket_.is_open()) connect_within_wait();
        write(message);
        sent_++;
        if (type_ == SOCK_STREAM) shutdown(socket_.fd(), SHUT_WR);
        if (settings_.wants_reply) show_reply();
        if (type_ == SOCK_STREAM) socket_ = Socket();
    }

private:
    void connect_within_wait() {
        const uint64_t last = seconds_now() + settings_.wait;
        while (!connect_by_any_type()) {
            const bool may_come = errno == ENOENT || errno == ECONNREFUSED;
            if (!may_come || seconds_now() >= last) explain();
            usleep(kPause);
        }
    }
    // Tries the types in turn. EPROTOTYPE means that the socket at the path is of another type.
    bool connect_by_any_type() {
        errno = EPROTOTYPE;
        for (const int type : {SOCK_DGRAM, SOCK_SEQPACKET, SOCK_STREAM}) {
            if (settings_.type != 0 && settings_.type != type) continue;
            Socket socket = prepared(type);
            type_ = type;
            if (is_connected(socket, address_)) {
                socket_ = std::move(socket);
                return true;
            }
            if (errno != EPROTOTYPE) return false;
        }
        return false;
    }
    Socket prepared(int type) const {
        Socket socket(type);
        const timeval timeout = {static_cast<time_t>(settings_.timeout), 0};
        setsockopt(socket.fd(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
        setsockopt(socket.fd(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        return socket;
    }
    [[noreturn]] void explain() const {
        if (errno == EPROTOTYPE) fail("%s: the socket there is of another type", path_);
        if (errno == ENOTSOCK || errno == ECONNREFUSED) fail("%s: no process listens there", path_);
        if (errno == EAGAIN) fail("%s: the process there takes no connection", path_);
        fail("cannot connect to %s: %s", path_, strerror(errno));
    }
    void write(std::span<const uint8_t> message) {
        for (;;) {
            const ssize_t wrote = ::send(socket_.fd(), message.data(), message.size(), MSG_NOSIGNAL);
            if (wrote < 0 && errno == EINTR) continue;
            if (wrote < 0 && errno == EMSGSIZE)
                fail("%s: a message of %zu bytes is longer than the socket takes", path_, message.size());
            if (wrote < 0 && errno == EAGAIN) fail("%s: the process there does not read", path_);
            if (wrote < 0) fail("cannot send to %s: %s", path_, strerror(errno));
            message = message.subspan(static_cast<size_t>(wrote));
            if (message.empty()) return;
        }
    }
    void show_reply() {
        Bytes reply;
        Arrival arrival;
        const uint64_t start = seconds_now();  // the socket's own timeout applies to each part separately
        do {
            arrival = receive(socket_, type_, reply);
            if (arrival == Arrival::kPart && settings_.timeout != 0 && seconds_now() - start > settings_.timeout)
                fail("%s: no whole reply within the timeout", path_);
        } while (arrival == Arrival::kPart);
        if (arrival == Arrival::kFailed && errno == EAGAIN) fail("%s: no reply within the timeout", path_);
        if (arrival == Arrival::kFailed) fail("cannot receive from %s: %s", path_, strerror(errno));
        if (arrival == Arrival::kEnd) fail("%s: the connection was closed without a reply", path_);
        if (arrival == Arrival::kTooLong) fail("%s: a reply of more than %zu bytes", path_, kLongestMessage);
        decoder_.show(reply, path_, "message", sent_);
        flush_output();
    }

    const char *path_;
    sockaddr_un address_;
    Settings settings_;
    Decoder &decoder_;
    Socket socket_;
    int type_ = 0;
    size_t sent_ = 0;
};

void send_texts(const char *path, Sender &sender) {
    FILE *const file = open_input(path);
    const char *const name = name_of_input(path);
    Bytes line, message;
    const auto send_message = [&] {
        if (!message.empty()) sender.send(message);
        message.resize(0);
    };
    for (size_t number = 1; read_line(file, line); number++) {
        const std::string_view text = trimmed(line.view());
        if (text.starts_with('{')) {
            char where[512];
            snprintf(where, sizeof where, "%s:%zu", name, number);
            send_message();
            encode_json(text, message, where);
            sender.send(message);
            message.resize(0);
        } else if (text.empty()) {
            send_message();
        } else {
            encode_line(text, message, name, number);
        }
    }
    send_message();
    close_input(file, path);
}

}  // namespace

int send(Arguments &arguments) {
    const bool is_raw = arguments.take("--raw"), wants_reply = arguments.take("--reply");
    const int type = take_type(arguments, 0);
    constexpr uint64_t kDay = 86400;
    const Settings settings = {type, arguments.take_number("--wait", kDay, 0),
                               arguments.take_number("--timeout", kDay, 5), wants_reply};
    Decoder decoder(arguments);
    const auto operands = arguments.operands(1, 2);
    const char *const input = operands.size() > 1 ? operands[1] : nullptr;
    Sender sender(operands[0], settings, decoder);
    if (is_raw)
        sender.send(read_input(input));
    else
        send_texts(input, sender);
    return decoder.status();
}

}  // namespace quill::cli

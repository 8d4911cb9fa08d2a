// quill listen.
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <initializer_list>
#include <span>

#include "command.h"
#include "damage.h"
#include "input.h"
#include "message.h"
#include "socket.h"

namespace quill::cli {

constexpr char kListenHelp[] =
    "usage: quill listen [--type TYPE] [--count N] [--names NAMES] [--pcap OUT]\n"
    "                    [--plain | --json] SOCKET\n"
    "\n"
    "Makes a Unix socket at the path SOCKET. Shows each codec message that arrives,\n"
    "as quill decode does. A damaged message is reported, and the command continues\n"
    "with the next one. The socket is removed at the end, also at SIGHUP, SIGINT,\n"
    "SIGPIPE and SIGTERM. A file that was at the path before is never removed. The\n"
    "socket's permissions follow the umask: after \"umask 0\", each user may send.\n"
    "\n"
    "  --type TYPE    datagram (default), seqpacket or stream. On a stream, a message\n"
    "                 ends when its sender closes the connection\n"
    "  --count N      end after N messages, with status 1 if one was damaged; without\n"
    "                 this option, continue until interrupted\n"
    "  --names NAMES  the names of the elements; see quill decode --help\n"
    "  --pcap OUT     also write the messages to OUT, as for quill decode. If OUT is\n"
    "                 a pipe (mkfifo), wireshark -k -i OUT shows them at once\n"
    "  --plain        print text that quill send reads\n"
    "  --json         print a JSON object for each message, one a line\n"
    "\n"
    "Messages of more than 1 MiB are refused. At most 32 senders are connected at a\n"
    "time, and others wait.\n"
    "\n"
    "example: quill listen --json --count 10 /tmp/events.sock\n";

namespace {

// The socket's file. As long as the socket is open, its inode is in use, and another file cannot have the same number.
struct {
    char path[sizeof sockaddr_un::sun_path];
    struct stat made;
} own_file;

// Async-signal-safe.
void remove_own_file() {
    struct stat now;
    if (*own_file.path && lstat(own_file.path, &now) == 0 && now.st_ino == own_file.made.st_ino &&
        now.st_dev == own_file.made.st_dev)
        unlink(own_file.path);
    *own_file.path = '\0';
}

void remove_and_end(int signal) {
    remove_own_file();
    raise(signal);  // the signal's handler was reset, so the signal now ends the program
}

void remove_at_end() {
    atexit(remove_own_file);
    struct sigaction action = {}, before;
    action.sa_handler = remove_and_end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGHUP, SIGINT, SIGPIPE, SIGTERM})
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
}

[[noreturn]] void explain(const char *path, const sockaddr_un &address) {
    struct stat found;
    if (errno != EADDRINUSE || lstat(path, &found) != 0) fail("cannot listen at %s: %s", path, strerror(errno));
    if (!S_ISSOCK(found.st_mode))
        fail("cannot listen at %s: %s is there", path,
             S_ISLNK(found.st_mode)   ? "a symbolic link"
             : S_ISDIR(found.st_mode) ? "a folder"
                                      : "another file");
    // A listener with a socket of another type refuses the datagram socket with an error other than ECONNREFUSED. The
    // attempt does not disturb that listener.
    if (!is_connected(Socket(SOCK_DGRAM), address) && errno == ECONNREFUSED)
        fail("cannot listen at %s: the socket of a process that has ended is there; remove it", path);
    fail("cannot listen at %s: another process does", path);
}

Socket listen_at(const char *path, int type) {
    const sockaddr_un address = address_of(path);
    Socket socket(type);
    remove_at_end();
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);  // no signal may come before the file's number is stored
    const bool bound = bind(socket.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    if (bound && lstat(path, &own_file.made) == 0) memcpy(own_file.path, address.sun_path, sizeof own_file.path);
    const int error = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    if (!bound) explain(path, address);
    if (type != SOCK_DGRAM && ::listen(socket.fd(), SOMAXCONN) != 0)
        fail("cannot listen at %s: %s", path, strerror(errno));
    return socket;
}

// Receives from all senders at once. So a sender that keeps its connection and sends nothing does not delay the others.
class Listener {
public:
    Listener(const char *path, int type, Decoder &decoder)
        : path_(path), type_(type), decoder_(decoder), socket_(listen_at(path, type)) {}

    void receive_messages(uint64_t count) {
        while (shown_ < count) {
            wait();
            if (polls_[0].revents != 0) take_new();
            for (size_t i = 0; i < kConnections && shown_ < count; i++)
                if (polls_[i + 1].revents != 0) take(connections_[i].socket, connections_[i].message);
        }
    }

private:
    static constexpr size_t kConnections = 32;
    struct Connection {
        Socket socket;
        Bytes message;
    };

    Connection *unused() {
        for (Connection &connection : connections_)
            if (!connection.socket.is_open()) return &connection;
        return nullptr;
    }
    void wait() {
        polls_[0] = {unused() ? socket_.fd() : -1, POLLIN, 0};
        for (size_t i = 0; i < kConnections; i++) polls_[i + 1] = {connections_[i].socket.fd(), POLLIN, 0};
        while (poll(polls_, kConnections + 1, -1) < 0)
            if (errno != EINTR) fail("cannot wait for messages: %s", strerror(errno));
    }
    void take_new() {
        if (type_ == SOCK_DGRAM) return take(socket_, datagram_);
        Connection &connection = *unused();
        connection.socket = Socket::of_connection(socket_);
        if (!connection.socket.is_open()) fail("cannot take a connection at %s: %s", path_, strerror(errno));
        connection.message.resize(0);
    }
    void take(Socket &socket, Bytes &message) {
        const Arrival arrival = receive(socket, type_, message);
        const int error = errno;
        if (arrival == Arrival::kPart) return;
        if (arrival == Arrival::kMessage) {
            decoder_.show(message, path_, "message", ++shown_);
        } else if (arrival == Arrival::kTooLong) {
            Damage damage;
            damage.expect(kLongestMessage, "the end");
            damage.find("more bytes");
            decoder_.refuse(damage, path_, "message", ++shown_);
        } else if (arrival == Arrival::kFailed) {
            if (type_ == SOCK_DGRAM) fail("cannot receive at %s: %s", path_, strerror(error));
            complain("%s: %s", path_, strerror(error));
        }
        flush_output();
        const bool goes_on = arrival == Arrival::kMessage || arrival == Arrival::kTooLong;
        if (type_ == SOCK_STREAM || (type_ == SOCK_SEQPACKET && !goes_on)) socket = Socket();
    }

    const char *path_;
    int type_;
    Decoder &decoder_;
    Socket socket_;
    Bytes datagram_;
    Connection connections_[kConnections];
    pollfd polls_[kConnections + 1];
    size_t shown_ = 0;
};

}  // namespace

int listen(Arguments &arguments) {
    const int type = take_type(arguments, SOCK_DGRAM);
    const uint64_t count = arguments.take_number("--count", UINT64_MAX, UINT64_MAX);
    Decoder decoder(arguments);
    const char *const path = arguments.operands(1, 1)[0];
    Listener listener(path, type, decoder);
    decoder.open_capture();  // only now: another listener at this path might still be writing to the file
    listener.receive_messages(count);
    remove_own_file();
    return decoder.status();
}

}  // namespace quill::cli

#include <quill/syslog.h>

#include <quill/types.h>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>  // IWYU pragma: keep
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "base/errno.h"
#include "base/fixed_file.h"
#include "base/paths.h"
#include "base/text_file.h"
#include "syslog/broken_pipe.h"
#include "syslog/record.h"
#include "syslog/recursive_mutex.h"

// A message is sent under the lock. The library installs its handler for a broken pipe, and connects if there is no
// connection. It builds the record in a buffer on the stack, and writes it in one piece. A write that fails closes the
// connection, and the next message connects again.
//
// The signal's action is also replaced and restored under the lock. Otherwise two threads whose messages overlap could
// save the library's handler as the caller's, and then restore it forever.

#ifdef __GLIBC__
extern "C" int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void *object);
#endif

namespace {

using quill::FileNumber;
using std::string_view;
namespace paths = quill::paths;

// The standard values, repeated here because <syslog.h> cannot be included: with fortification, it defines these
// functions itself.
enum Option { kProcessId = 1, kConsoleOnFailure = 2, kConnectNow = 8, kStandardErrorToo = 32 };
constexpr int kLevelBits = 7;
constexpr int kFacilityBits = 0x7f << 3;

constexpr char kIdentity[] = "syslog";
constexpr int kEveryLevel = 0xff;
constexpr int kRoleUnread = -1;
constexpr int kMeshPoint = 1;

// --- the state of the process, all of it guarded by lock

struct Log {
    int socket = -1;
    ino_t socket_inode = 0;
    bool connected = false;
    const char *identity = kIdentity;  // the caller's text
    int options = 0;
    int facility = QUILL_LOG_FACILITY;
    int mesh_role = kRoleUnread;
    bool fork_handlers_registered = false;
    struct sigaction callers_action = {};  // on a broken pipe, while a message is being sent
};

constinit Log state;
constinit quill::RecursiveMutex lock;
constinit quill::LocalTime local_time;

// setlogmask reads the mask without the lock.
constinit std::atomic<int> level_mask = kEveryLevel;

// Set by the SIGPIPE handler when its thread does not hold the lock; the current or next holder then closes the
// connection.
constinit std::atomic<bool> close_wanted = false;

// Returns whether the descriptor is our socket. A program that closes all descriptors, as daemons do, also closes this
// one, and may then have a socket of its own with that number.
bool is_ours(int fd) {
    struct stat found;
    return fstat(fd, &found) == 0 && S_ISSOCK(found.st_mode) && found.st_ino == state.socket_inode;
}

// The descriptor is forgotten before it is closed: the broken-pipe handler may run in between, and must not close it
// again.
void close_socket() {
    const int closing = state.socket;
    state.socket = -1;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (is_ours(closing)) close(closing);
}

// Closes the connection and keeps everything else.
void disconnect() {
    state.connected = false;
    close_socket();
}

void before_fork() { local_time.lock.lock(); }
void after_fork_in_parent() { local_time.lock.unlock(); }
void after_fork_in_child();

// glibc and uClibc provide pthread_atfork only as a static stub. It needs crtbeginS.o, which the library does not link
// and which may lack the CET mark. So the function that it calls is called directly (LSB Core, libpthread). The handle
// is null because the library is never unloaded.
bool prepare_for_fork() {
#ifdef __GLIBC__
    return __register_atfork(before_fork, after_fork_in_parent, after_fork_in_child, nullptr) == 0;
#else
    return pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child) == 0;
#endif
}

// Holds the lock. The thread cannot be cancelled meanwhile, because it would never release the lock.
class [[nodiscard]] Locked {
public:
    Locked() {
        lock.lock();
        if (!state.fork_handlers_registered) state.fork_handlers_registered = prepare_for_fork();
        close_if_wanted();
    }
    ~Locked() {
        close_if_wanted();
        lock.unlock();
    }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;

private:
    static void close_if_wanted() {
        if (close_wanted.exchange(false, std::memory_order_relaxed)) disconnect();
    }

    const quill::ErrnoGuard errno_guard_;
    const quill::NoCancellation no_cancellation_;
};

// --- the broken-pipe signal

// A thread that does not hold the lock must not wait for it here: its holder may be waiting for the daemon.
void on_broken_pipe(int) {
    const quill::ErrnoGuard errno_guard;
    if (lock.held_by_caller())
        disconnect();
    else
        close_wanted.store(true, std::memory_order_relaxed);
}

class [[nodiscard]] BrokenPipeHandler {
public:
    BrokenPipeHandler() {
        struct sigaction ours = {};
        ours.sa_handler = on_broken_pipe;
        sigemptyset(&ours.sa_mask);
        // The previous action is stored before ours is installed. A child that is forked while ours is installed reads
        // the stored action and restores it.
        installed_ = sigaction(SIGPIPE, nullptr, &previous_) == 0;
        if (installed_ && previous_.sa_handler != on_broken_pipe) {
            state.callers_action = previous_;
            quill::broken_pipe.callers_ignores.store(previous_.sa_handler == SIG_IGN, std::memory_order_relaxed);
            quill::broken_pipe.ours.store(on_broken_pipe, std::memory_order_relaxed);
        }
        std::atomic_signal_fence(std::memory_order_seq_cst);
        installed_ = installed_ && sigaction(SIGPIPE, &ours, nullptr) == 0;
    }
    ~BrokenPipeHandler() {
        if (installed_) sigaction(SIGPIPE, &previous_, nullptr);
    }
    BrokenPipeHandler(const BrokenPipeHandler &) = delete;
    BrokenPipeHandler &operator=(const BrokenPipeHandler &) = delete;

private:
    struct sigaction previous_;
    bool installed_;
};

// In the child, the thread that was logging does not exist, so this function restores what that thread would have
// restored. Waiting for its message before the fork would make fork as slow as the log daemon.
void after_fork_in_child() {
    local_time.lock.unlock();
    if (lock.held_by_caller()) return;
    lock.free_from_threads_left_behind();
    struct sigaction action;
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == on_broken_pipe)
        sigaction(SIGPIPE, &state.callers_action, nullptr);
}

// --- the connection

void read_mesh_role() {
    state.mesh_role = 0;
    const quill::Descriptor file = quill::open_fixed(paths::kMeshRole, O_RDONLY);
    if (quill::read_number(file, &state.mesh_role) == FileNumber::kNoNumber) state.mesh_role = kRoleUnread;
}

// Creates the socket if the options require it; returns false if that fails.
bool open_socket(int type) {
    if (!(state.options & kConnectNow)) return true;
    state.socket = quill::clear_of_standard_descriptors(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    struct stat made;
    if (state.socket == -1 || fstat(state.socket, &made) != 0) return false;
    state.socket_inode = made.st_ino;
    if (state.mesh_role == kMeshPoint && fcntl(state.socket, F_SETFL, O_NONBLOCK) == -1)
        perror("MESH_POINT, O_NONBLOCK");
    return true;
}

bool make_connection() {
    if (state.socket == -1 || state.connected) return false;
    struct sockaddr_un daemon = {};
    daemon.sun_family = AF_UNIX;
    memcpy(daemon.sun_path, paths::kLogDaemon, sizeof paths::kLogDaemon);
    constexpr socklen_t length = offsetof(struct sockaddr_un, sun_path) + sizeof paths::kLogDaemon - 1;
    state.connected = connect(state.socket, reinterpret_cast<const struct sockaddr *>(&daemon), length) == 0;
    return state.connected;
}

void open_log(const char *identity, int options, int facility) {
    if (state.mesh_role == kRoleUnread) read_mesh_role();
    if (identity) state.identity = identity;
    state.options = options;
    if (facility != 0 && (facility & ~kFacilityBits) == 0) state.facility = facility;

    if (state.socket == -1 && !open_socket(SOCK_DGRAM)) return;
    if (make_connection()) return;
    // Also reached when already connected. Then the socket is replaced but `connected` stays set, so the next message
    // fails and the one after it reconnects. Compatibility: daemons depend on it.
    close_socket();
    if (open_socket(SOCK_STREAM)) make_connection();
}

// --- destinations of a record

// Returns true if the daemon has the record, or if a mesh point drops it. Otherwise it closes the connection and
// returns false.
bool send_to_daemon(string_view record) {
    if (!is_ours(state.socket)) {
        disconnect();
        return false;
    }
    const size_t whole = record.size();
    while (!record.empty()) {
        // MSG_NOSIGNAL prevents SIGPIPE, because another thread of the program may have set an action for it in the
        // meantime.
        const ssize_t sent = send(state.socket, record.data(), record.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            record.remove_prefix(static_cast<size_t>(sent));
        } else if (errno == EAGAIN && state.mesh_role == kMeshPoint) {
            // In a stream, an incomplete record must not run into the next one.
            if (record.size() < whole) disconnect();
            return true;
        } else if (errno != EINTR && errno != EAGAIN) {
            disconnect();
            return false;
        }
    }
    return true;
}

void write_to_console(string_view text) {
    const quill::Descriptor console(open(paths::kConsole, O_WRONLY | O_NOCTTY | O_CLOEXEC));
    // Best effort: there is nowhere left to report a failed write. The same holds for standard error.
    if (console) (void)quill::write_all(console.get(), text);
}

bool is_logged(int priority) {
    if (priority & ~(kFacilityBits | kLevelBits)) return false;
    return level_mask.load(std::memory_order_relaxed) & (1 << (priority & kLevelBits));
}

}  // namespace

void openlog(const char *identity, int options, int facility) {
    Locked locked;
    open_log(identity, options, facility);
}

void vsyslog(int priority, const char *format, va_list arguments) {
    const quill::ErrnoGuard errno_guard;
    Locked locked;
    if (!is_logged(priority)) return;
    BrokenPipeHandler handler;
    if (state.socket == -1 || !state.connected) open_log(state.identity, state.options | kConnectNow, 0);
    if (!(priority & kFacilityBits)) priority |= state.facility;

    quill::Record record(priority, local_time.text(), state.identity, state.options & kProcessId ? getpid() : 0);
    errno_guard.restore();  // for %m
    record.add_message(format, arguments);
    if (state.options & kStandardErrorToo) (void)quill::write_all(STDERR_FILENO, record.for_standard_error());
    if (!send_to_daemon(record.for_daemon()) && (state.options & kConsoleOnFailure))
        write_to_console(record.for_console());
}

void syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

void __vsyslog_chk(int priority, int, const char *format, va_list arguments) { vsyslog(priority, format, arguments); }

void __syslog_chk(int priority, int flag, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    __vsyslog_chk(priority, flag, format, arguments);
    va_end(arguments);
}

void closelog() {
    Locked locked;
    disconnect();
    state.identity = kIdentity;
    state.options = 0;
    state.facility = QUILL_LOG_FACILITY;
    level_mask.store(kEveryLevel, std::memory_order_relaxed);
}

int setlogmask(int mask) QUILL_THROWS_NOTHING {
    const int previous = level_mask.load(std::memory_order_relaxed);
    Locked locked;
    if (mask != 0) level_mask.store(mask, std::memory_order_relaxed);
    return previous;
}

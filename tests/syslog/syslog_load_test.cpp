// Many threads log at once, to a daemon that is slow, or that is killed again and again.
#include <quill/syslog.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/descriptors.h"
#include "support/log_daemon.h"
#include "support/private_device.h"
#include "support/threads.h"

namespace {

using quill::test::LogDaemon;
using quill::test::open_descriptors;
using quill::test::Threads;

constexpr int kMostRecords = 100'000;  // of a thread
// The whole load in the optimised build; the sanitizers and the emulator see the same with fewer records.
#ifdef NDEBUG
constexpr int kRecords = kMostRecords;
#else
constexpr int kRecords = 4'000;
#endif
constexpr int kMostThreads = 8;

// The text of a thread's n-th message: who, which, and as many letters as these two say.
int letters_of(int thread, int n) { return (thread * 79 + n % 900 * 529) % 900; }
char letter_of(int n) { return static_cast<char>('a' + n % 26); }

std::string message_of(int thread, int n) {
    return std::to_string(thread) + " " + std::to_string(n) + " " +
           std::string(static_cast<size_t>(letters_of(thread, n)), letter_of(n));
}

// How often each message has come in, for all processes of a test. Counts without the heap, whose locks may be held in
// the child of a threaded process.
class Arrivals {
public:
    void count(std::string_view text) {
        int thread = -1, n = -1;
        if (take_number(text, thread) && take_number(text, n) && thread >= 0 && thread < kMostThreads && n >= 0 &&
            n < kMostRecords && text.size() == static_cast<size_t>(letters_of(thread, n)) &&
            text.find_first_not_of(letter_of(n)) == text.npos) {
            times_[thread][n]++;
            total_++;
        } else {
            damaged_++;
        }
    }
    // A whole record: header, identity, message, NUL.
    void count_record(std::string_view record) {
        constexpr std::string_view start = "<427>Nov 23 14:05:59 load: ";
        if (record.size() > start.size() && record.ends_with('\0')) {
            count(record.substr(start.size(), record.size() - start.size() - 1));
        } else {
            damaged_++;
        }
    }
    int times(int thread, int n) const { return times_[thread][n]; }
    int total() const { return total_; }
    int damaged() const { return damaged_; }

private:
    static bool take_number(std::string_view &text, int &number) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        const size_t length = static_cast<size_t>(end - text.data());
        if (error != std::errc{} || length == text.size() || *end != ' ') return false;
        text.remove_prefix(length + 1);
        return true;
    }

    std::atomic<uint8_t> times_[kMostThreads][kMostRecords];
    std::atomic<int> total_, damaged_;
};

struct Unmap {
    void operator()(Arrivals *shared) const { munmap(shared, sizeof *shared); }
};
std::unique_ptr<Arrivals, Unmap> make_arrivals() {
    void *memory = mmap(nullptr, sizeof(Arrivals), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) abort();
    return std::unique_ptr<Arrivals, Unmap>(new (memory) Arrivals());
}

class SyslogLoad : public testing::TestWithParam<int> {
protected:
    void SetUp() override { ENTER_PRIVATE_DEVICE(); }
    void TearDown() override { closelog(); }
};
INSTANTIATE_TEST_SUITE_P(, SyslogLoad, testing::Values(SOCK_DGRAM, SOCK_STREAM),
                         [](const auto &type) { return type.param == SOCK_DGRAM ? "Datagram" : "Stream"; });

TEST_P(SyslogLoad, EveryRecordArrivesWholeAndOnce) {
    LogDaemon daemon(GetParam());
    const auto arrivals = make_arrivals();
    openlog("load", LOG_NDELAY, 0);
    Threads threads(kMostThreads, [](int thread) {
        for (int n = 0; n < kRecords; n++) syslog(LOG_ERR, "%s", message_of(thread, n).c_str());
    });
    for (int i = 1; arrivals->total() + arrivals->damaged() < kMostThreads * kRecords; i++) {
        const std::string record = daemon.receive(10'000);
        if (record.empty()) break;
        arrivals->count_record(record);
        if (i % 1000 == 0) usleep(1000);  // a slow reader
    }
    threads.join();
    EXPECT_EQ(daemon.receive(), "");
    EXPECT_EQ(arrivals->damaged(), 0);
    int not_once = 0;
    for (int thread = 0; thread < kMostThreads; thread++)
        for (int n = 0; n < kRecords; n++) not_once += arrivals->times(thread, n) != 1;
    EXPECT_EQ(not_once, 0);
    std::cout << arrivals->total() << " records from " << kMostThreads << " threads\n";
}

// --- a daemon that is killed and started again

// A process that counts what arrives. The test has its socket too, so that what the daemon did not read before it was
// killed is not lost with it.
class MortalDaemon {
public:
    MortalDaemon(int type, Arrivals &arrivals) : type_(type), arrivals_(arrivals), log_(type), pid_(fork()) {
        if (pid_ == 0) live();
    }
    ~MortalDaemon() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        // From here on senders get an error; what they sent before is still there.
        shutdown(log_.socket(), SHUT_RD);
        if (type_ == SOCK_DGRAM) {
            for (std::string record; !(record = log_.receive()).empty();) arrivals_.count_record(record);
        } else {
            for (int connection; (connection = accept(log_.socket(), nullptr, nullptr)) != -1;) {
                shutdown(connection, SHUT_RD);
                read_stream(connection);
            }
        }
    }

private:
    [[noreturn]] void live() {
        for (;;)
            if (type_ == SOCK_DGRAM) {
                read_datagram();
            } else {
                read_stream(accept(log_.socket(), nullptr, nullptr));
            }
    }
    // Looked at, counted, and only then taken.
    void read_datagram() {
        char bytes[2048];
        const ssize_t length = recv(log_.socket(), bytes, sizeof bytes, MSG_PEEK);
        if (length > 0) arrivals_.count_record({bytes, static_cast<size_t>(length)});
        (void)!recv(log_.socket(), bytes, sizeof bytes, 0);
    }
    void read_stream(int connection) {
        char bytes[8192];
        size_t unread = 0;
        for (ssize_t length; (length = read(connection, bytes + unread, sizeof bytes - unread)) > 0;) {
            std::string_view rest(bytes, unread + static_cast<size_t>(length));
            for (size_t end; (end = rest.find('\0')) != rest.npos; rest.remove_prefix(end + 1))
                arrivals_.count_record(rest.substr(0, end + 1));
            unread = rest.size();
            memmove(bytes, rest.data(), unread);
        }
        close(connection);
    }

    int type_;
    Arrivals &arrivals_;
    LogDaemon log_;
    pid_t pid_;
};

// A console that a terminal's other end reads.
class Console {
public:
    explicit Console(Arrivals &arrivals) : arrivals_(arrivals) {
        unlink("/dev/console");
        if (mkfifo("/dev/console", 0600) != 0) abort();
        fd_ = open("/dev/console", O_RDWR | O_CLOEXEC);
        reader_ = std::thread([this] { read_lines(); });
    }
    // Reads what is left, and ends.
    void finish() {
        finished_ = true;
        reader_.join();
        close(fd_);
    }

private:
    void read_lines() {
        std::string unread;
        struct pollfd one = {fd_, POLLIN, 0};
        for (;;) {
            const bool last = finished_;
            if (poll(&one, 1, last ? 0 : 10) == 1) {
                char bytes[65536];
                const ssize_t length = read(fd_, bytes, sizeof bytes);
                unread.append(bytes, static_cast<size_t>(length));
            } else if (last) {
                return;
            }
            size_t start = 0;
            for (size_t end; (end = unread.find("\r\n", start)) != std::string::npos; start = end + 2)
                arrivals_.count(
                    std::string_view(unread).substr(start, end - start).substr(strlen("Nov 23 14:05:59 load: ")));
            unread.erase(0, start);
        }
    }

    Arrivals &arrivals_;
    int fd_;
    std::atomic<bool> finished_ = false;
    std::thread reader_;
};

TEST_P(SyslogLoad, ADaemonThatIsKilledAndRestarted) {
    constexpr int kRestarts = 200, kThreads = 4;
    const auto by_daemon = make_arrivals(), by_console = make_arrivals();
    const int descriptors = open_descriptors();
    openlog("load", LOG_CONS, 0);
    Console console(*by_console);
    std::optional<MortalDaemon> daemon(std::in_place, GetParam(), *by_daemon);

    std::atomic<bool> stop = false;
    int logged[kThreads] = {};
    Threads threads(kThreads, [&](int thread) {
        for (int n = 0; !stop && n < kMostRecords; n++) {
            syslog(LOG_ERR, "%s", message_of(thread, n).c_str());
            logged[thread] = n + 1;
            usleep(100);
        }
    });
    int resumed = 0;
    for (; resumed < kRestarts; resumed++) {
        const int before = by_daemon->total();
        for (int ms = 0; ms < 10'000 && by_daemon->total() == before; ms++) usleep(1000);
        if (by_daemon->total() == before) break;
        daemon.reset();
        usleep(500);
        daemon.emplace(GetParam(), *by_daemon);
    }
    stop = true;
    threads.join();
    daemon.reset();
    console.finish();
    closelog();

    EXPECT_EQ(resumed, kRestarts);
    EXPECT_EQ(by_daemon->damaged(), 0);
    EXPECT_EQ(by_console->damaged(), 0);
    EXPECT_GT(by_console->total(), 0);
    EXPECT_EQ(open_descriptors(), descriptors);
    int lost = 0, all = 0;
    for (int thread = 0; thread < kThreads; thread++) {
        all += logged[thread];
        for (int n = 0; n < logged[thread]; n++)
            lost += by_daemon->times(thread, n) == 0 && by_console->times(thread, n) == 0;
    }
    // What a killed daemon has not read from a stream is lost with its end of the connection.
    if (GetParam() == SOCK_DGRAM) {
        EXPECT_EQ(lost, 0);
    }
    std::cout << kRestarts << " restarts: " << all << " records logged, " << by_daemon->total() << " read, "
              << by_console->total() << " on the console, " << lost << " lost\n";
}

}  // namespace

// Many threads log at once to a daemon that is slow or that ends repeatedly.
#include <quill/syslog.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdio.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <iostream>
#include <string>
#include <vector>

#include "support/descriptors.h"
#include "support/log_daemon.h"
#include "support/private_device.h"
#include "support/threads.h"

namespace quill::test {
namespace {

using std::string;

constexpr int kThreads = 8;
// The optimised build runs the whole load. Builds with sanitizers and on the emulator run the same test with fewer
// records.
#ifdef NDEBUG
constexpr int kRecords = 100'000;  // of a thread
#else
constexpr int kRecords = 4'000;
#endif

// Returns the text of a thread's n-th message: both numbers, and letters whose number depends on them.
string message_of(int thread, int n) {
    const auto letters = static_cast<size_t>((thread * 79 + n % 900 * 529) % 900);
    return std::to_string(thread) + " " + std::to_string(n) + " " + string(letters, static_cast<char>('a' + n % 26));
}

// Counts the arrivals of each message.
class Arrivals {
public:
    void count(const string &line) {
        int thread, n;
        const string text = line.substr(std::min(line.size(), kTime + strlen("load: ")));
        if (sscanf(text.c_str(), "%d %d", &thread, &n) == 2 && text == message_of(thread, n)) {
            auto &times = times_[static_cast<size_t>(thread)];
            times.resize(std::max(times.size(), static_cast<size_t>(n) + 1));
            times[static_cast<size_t>(n)]++;
            total_++;
        } else {
            damaged_++;
        }
    }
    // Counts a whole record: priority, line, NUL.
    void count_record(const string &record) {
        if (!record.empty()) count(record.substr(strlen("<427>"), record.size() - strlen("<427>") - 1));
    }
    int times(int thread, int n) const {
        const auto &times = times_[static_cast<size_t>(thread)];
        return static_cast<size_t>(n) < times.size() ? times[static_cast<size_t>(n)] : 0;
    }
    int total() const { return total_; }
    int damaged() const { return damaged_; }

private:
    std::vector<uint8_t> times_[kThreads];
    int total_ = 0, damaged_ = 0;
};

class SyslogLoad : public testing::TestWithParam<int> {
protected:
    void SetUp() override { ENTER_PRIVATE_DEVICE(); }
    void TearDown() override { closelog(); }
};
INSTANTIATE_TEST_SUITE_P(, SyslogLoad, testing::Values(SOCK_DGRAM, SOCK_STREAM),
                         [](const auto &type) { return type.param == SOCK_DGRAM ? "Datagram" : "Stream"; });

TEST_P(SyslogLoad, EveryRecordArrivesWholeAndOnce) {
    LogDaemon daemon(GetParam());
    Arrivals arrivals;
    openlog("load", LOG_NDELAY, 0);
    Threads threads(kThreads, [](int thread) {
        for (int n = 0; n < kRecords; n++) syslog(LOG_ERR, "%s", message_of(thread, n).c_str());
    });
    for (int i = 1; arrivals.total() + arrivals.damaged() < kThreads * kRecords; i++) {
        const string record = daemon.receive(10'000);
        if (record.empty()) break;
        arrivals.count_record(record);
        if (i % 1000 == 0) usleep(1000);  // a slow reader
    }
    threads.join();
    EXPECT_EQ(daemon.receive(), "");
    EXPECT_EQ(arrivals.damaged(), 0);
    int not_once = 0;
    for (int thread = 0; thread < kThreads; thread++)
        for (int n = 0; n < kRecords; n++) not_once += arrivals.times(thread, n) != 1;
    EXPECT_EQ(not_once, 0);
}

// A pipe at /dev/console, from which the test reads.
class Console {
public:
    Console() {
        unlink("/dev/console");
        if (mkfifo("/dev/console", 0600) != 0) abort();
        fd_ = open("/dev/console", O_RDWR | O_CLOEXEC | O_NONBLOCK);
    }
    ~Console() { close(fd_); }
    void read_into(Arrivals &arrivals) {
        char bytes[65536];
        for (ssize_t length; (length = read(fd_, bytes, sizeof bytes)) > 0;)
            unread_.append(bytes, static_cast<size_t>(length));
        size_t start = 0;
        for (size_t end; (end = unread_.find("\r\n", start)) != string::npos; start = end + 2)
            arrivals.count(unread_.substr(start, end - start));
        unread_.erase(0, start);
    }

private:
    int fd_;
    string unread_;
};

TEST_P(SyslogLoad, ADaemonThatEndsAndIsStartedAgain) {
    constexpr int kRestarts = 200, kLoggers = 4;
    const int descriptors = open_descriptors();
    Arrivals by_daemon, by_console;
    std::atomic<bool> stop = false;
    int logged[kLoggers] = {};
    {
        Console console;
        openlog("load", LOG_CONS, 0);
        Threads threads(kLoggers, [&](int thread) {
            for (int &n = logged[thread]; !stop; n++) {
                syslog(LOG_ERR, "%s", message_of(thread, n).c_str());
                usleep(100);
            }
        });
        for (int restart = 0; restart < kRestarts; restart++) {
            LogDaemon daemon(GetParam());
            const int before = by_daemon.total();
            for (int ms = 0; ms < 10'000 && by_daemon.total() < before + 10; ms++) {
                console.read_into(by_console);
                by_daemon.count_record(daemon.receive(1));
            }
            ASSERT_GE(by_daemon.total(), before + 10);
            // From here on, senders get an error. Records that they sent before can still be read.
            shutdown(daemon.socket(), SHUT_RD);
            for (string record; !(record = daemon.receive()).empty();) by_daemon.count_record(record);
        }
        stop = true;
        for (int i = 0; i < 20; i++, usleep(1000)) console.read_into(by_console);
        threads.join();
        console.read_into(by_console);
        closelog();
    }
    EXPECT_EQ(by_daemon.damaged() + by_console.damaged(), 0);
    EXPECT_GT(by_console.total(), 0);
    EXPECT_EQ(open_descriptors(), descriptors);
    int lost = 0;
    for (int thread = 0; thread < kLoggers; thread++)
        for (int n = 0; n < logged[thread]; n++) lost += by_daemon.times(thread, n) + by_console.times(thread, n) == 0;
    // When a daemon closes a stream, the records that it has not read are lost.
    if (GetParam() == SOCK_DGRAM) {
        EXPECT_EQ(lost, 0);
    }
    std::cout << kRestarts << " restarts: " << by_daemon.total() << " records read, " << by_console.total()
              << " on the console, " << lost << " lost\n";
}

}  // namespace
}  // namespace quill::test

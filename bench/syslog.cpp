// The system log: sends records to a thread that reads datagrams at /dev/log of a private device.
#include <dlfcn.h>
#include <quill/syslog.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "bench.h"
#include "support/private_device.h"

namespace {

constexpr size_t kRecords = 1000;

void use_every_cpu() {
    cpu_set_t all;
    memset(&all, 0xff, sizeof all);
    sched_setaffinity(0, sizeof all, &all);
}

std::atomic<uint64_t> received;

// Returns false if this process cannot enter its own namespace, or cannot bind the socket there.
bool start_reader() {
    if (!quill::test::enter_private_device().empty()) return false;
    const int reader = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    if (bind(reader, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) return false;
    std::thread([reader] {
        use_every_cpu();
        char record[2048];
        while (recv(reader, record, sizeof record, 0) >= 0) received++;
    }).detach();
    return true;
}

using Syslog = void (*)(int, const char *, ...);
struct Client {
    void (*close)();
    void (*open)(const char *, int, int);
    Syslog log;
};

// Returns a function of the C library, because the library's functions replace those of the same names.
template <typename Function>
Function of_the_c_library(const char *name) {
    static void *const libc = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    return reinterpret_cast<Function>(dlsym(libc, name));
}

void send(Syslog log, size_t count) {
    for (size_t i = 0; i < count; i++)
        log(LOG_DAEMON | LOG_INFO, "station %s placed on VLAN %u", "00:1b:63:aa:bb:cc", static_cast<unsigned>(i));
}

void send_from_threads(Syslog log, size_t threads) {
    std::vector<std::thread> senders;
    for (size_t i = 0; i < threads; i++) {
        senders.emplace_back([=] {
            use_every_cpu();
            send(log, kRecords / threads);
        });
    }
    for (std::thread &sender : senders) sender.join();
}

void add_client(const char *contender, const std::function<Client()> &make_client, size_t threads) {
    const std::string row = std::string("syslog: ") + (threads == 1 ? "1 thread" : "4 threads");
    bench::add(row, contender, 0, kRecords, [=] {
        static const bool ready = start_reader();
        if (!ready) {
            fprintf(stderr, "syslog: no private /dev for this process, so no log to write to\n");
            exit(1);
        }
        const Client client = make_client();
        client.close();  // if the library's client were opened again while connected, the next message would be lost
        client.open("placementd", LOG_PID, LOG_DAEMON);
        return bench::Work{[log = client.log, threads]() -> uint64_t {
            const uint64_t before = received;
            if (threads == 1)
                send(log, kRecords);
            else
                send_from_threads(log, threads);
            while (received < before + kRecords) sched_yield();
            return received - before;
        }};
    });
}

const bool added = [] {
    for (const size_t threads : {1u, 4u}) {
        add_client(
            "quill",
            [] {
                return Client{closelog, openlog, syslog};
            },
            threads);
        add_client(
            "glibc",
            [] {
                return Client{of_the_c_library<decltype(Client::close)>("closelog"),
                              of_the_c_library<decltype(Client::open)>("openlog"), of_the_c_library<Syslog>("syslog")};
            },
            threads);
    }
    return true;
}();

}  // namespace

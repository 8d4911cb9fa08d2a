// Records of the system log: any text, format and identity must give one whole record.
#include <quill/syslog.h>
#include <stdarg.h>
#include <syslog.h>

#include <memory>

#include "fuzz/fuzz.h"
#include "support/log_daemon.h"
#include "support/private_device.h"

namespace {

std::unique_ptr<quill::test::LogDaemon> log_daemon;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    const std::string why = quill::test::enter_private_device();
    if (why.empty()) {
        log_daemon = std::make_unique<quill::test::LogDaemon>();
        return 0;
    }
    printf("records go nowhere: no private device: %s\n", why.c_str());
    return quill::fuzz::kSkipped;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage identities, texts;
    quill::fuzz::Input input(data, size);
    const int priority = static_cast<int>(input.below(65536)), width = static_cast<int>(input.below(2000));
    const int options = input.byte() & (LOG_PID | LOG_NDELAY);
    const std::string identity = input.text(1500);
    const std::vector<uint8_t> bytes = input.rest(3000);
    const std::string text(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    openlog(identities.hold_text(identity), options, 0);
    const bool formatted = !input.empty() && data[size - 1] % 2 == 0;
    if (!formatted) {
        syslog(priority, "%s", texts.hold_text(text));
    } else {
        // The format is a variable, because the compiler's checks of formats reject %m.
        static const char *format = "%*s|%m|%.*s%%";
        syslog(priority, format, width, texts.hold_text(text), width / 7, text.c_str());
    }
    if (log_daemon) {
        const std::string record = log_daemon->receive();
        EXPECT(record.size() <= 1024 && log_daemon->receive().empty());
        const int facility = priority & LOG_FACMASK ? priority & LOG_FACMASK : QUILL_LOG_FACILITY;
        if ((priority & ~(LOG_PRIMASK | LOG_FACMASK)) == 0) {
            EXPECT(record.starts_with("<" + std::to_string(facility | LOG_PRI(priority)) + ">"));
            EXPECT(record.find('\0') == record.size() - 1);
            const bool short_enough = !formatted && identity.size() + text.size() < 900 && !text.empty();
            if (short_enough)
                EXPECT(record.find(text) != std::string::npos && record.find(identity) != std::string::npos);
        }
    }
    closelog();
    return 0;
}

// A record of the system log, and the local time in it.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <time.h>

#include <array>
#include <string_view>

#include "base/bounded_text.h"
#include "base/errno.h"
#include "syslog/recursive_mutex.h"

namespace quill {

// The local time as the daemon expects it. The text is calculated once a second, because reading the time zone is
// expensive.
class LocalTime {
public:
    // Held while the C library calculates the time. The C library uses a lock of its own for that, which could stay
    // locked forever in the child of a fork. So fork waits for this lock, which takes microseconds and does not depend
    // on a daemon.
    RecursiveMutex lock;

    std::string_view text() {
        constexpr size_t kStart = 4, kLength = 15;  // of "Mon Nov 23 14:05:59 2026\n"
        const time_t now = time(nullptr);
        if (now != second_) {
            lock.lock();
            tzset();  // the time zone may change while the process runs
            if (!ctime_r(&now, text_)) memcpy(text_, "Thu Jan  1 00:00:00", kStart + kLength);
            lock.unlock();
            second_ = now;
        }
        return {text_ + kStart, kLength};
    }

private:
    time_t second_ = -1;
    char text_[26] = "";
};

class Record {
public:
    // `process` is the id of a process, or 0 for none.
    Record(int priority, std::string_view time, const char *identity, pid_t process) : text_(bytes_.data(), kTextSize) {
        text_.add('<');
        text_.add(priority);
        text_.add('>');
        time_ = text_.length();
        text_.add(time);
        text_.add(' ');
        identity_ = text_.length();
        const size_t length = strnlen(identity, kLongestIdentity + 1);
        text_.add(length <= kLongestIdentity ? std::string_view(identity, length) : "<BUFFER OVERRUN ATTEMPT>");
        if (process) {
            text_.add('[');
            text_.add(process);
            text_.add(']');
        }
        text_.add(": ");
    }

    // A message may be too long for the record or for printf, or have an argument that printf cannot convert. Then the
    // message starts with a mark, and the part that printf has written is kept.
    [[gnu::format(printf, 2, 0)]] void add_message(const char *format, va_list arguments) {
        const ErrnoGuard errno_guard;  // for %m
        va_list once_more;
        va_copy(once_more, arguments);
        const BoundedText header = text_;
        if (!text_.add_format(format, arguments)) {
            text_ = header;
            text_.add("[truncated] ");
            errno_guard.restore();
            (void)text_.add_format(format, once_more);
        }
        va_end(once_more);
    }

    // These functions return the record in the form for each destination. The result is valid until the next of these
    // calls.
    std::string_view for_daemon() { return ended({"", 1}, 0); }
    std::string_view for_standard_error() { return ended("\n", identity_); }
    std::string_view for_console() { return ended("\r\n", time_); }

private:
    // The text has room for a NUL; the console's line ending needs one byte more.
    static constexpr size_t kSize = 1024, kTextSize = kSize - 1;
    // The header, the process id and the mark of a cut message leave room for a longer identity than this.
    static constexpr size_t kLongestIdentity = 959;

    std::string_view ended(std::string_view ending, size_t start) {
        memcpy(text_.end(), ending.data(), ending.size());
        return {bytes_.data() + start, text_.view().size() + ending.size() - start};
    }

    std::array<char, kSize> bytes_;
    BoundedText text_;
    size_t time_;      // where the time starts
    size_t identity_;  // where the identity starts
};

}  // namespace quill

// Memory that ends where a page without access begins. A test that reads or writes one byte after the memory ends.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <span>
#include <string_view>

namespace quill::test {

class GuardedPage {
public:
    GuardedPage() : size_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
        void *pages = mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) abort();
        start_ = static_cast<uint8_t *>(pages);
        if (mprotect(start_ + size_, size_, PROT_NONE) != 0) abort();
    }
    ~GuardedPage() { munmap(start_, 2 * size_); }
    GuardedPage(const GuardedPage &) = delete;
    GuardedPage &operator=(const GuardedPage &) = delete;

    // Returns the last bytes of the page, filled with the given bytes. The next call reuses the page.
    uint8_t *hold(std::span<const uint8_t> bytes) {
        uint8_t *at = start_ + size_ - bytes.size();
        if (!bytes.empty()) memcpy(at, bytes.data(), bytes.size());
        return at;
    }
    // The same for a text with its NUL.
    char *hold_text(std::string_view text) {
        char *at = reinterpret_cast<char *>(room(text.size() + 1, 0));
        return static_cast<char *>(memcpy(at, text.data(), text.size()));
    }
    uint8_t *room(size_t length, uint8_t fill) {
        uint8_t *at = start_ + size_ - length;
        memset(at, fill, length);
        return at;
    }

private:
    size_t size_;
    uint8_t *start_;
};

}  // namespace quill::test

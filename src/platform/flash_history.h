// The history of flash transfers: a file that all processes which make them have mapped.
#pragma once

#include <quill/flash.h>
#include <stdint.h>

namespace quill {

enum class FlashOperation : uint32_t { kWrite = 0, kRead = 1 };

struct FlashTransfer {
    FlashOperation operation;
    uint32_t offset, length;
    uint32_t milliseconds;  // that it took
};

uint64_t monotonic_milliseconds();

// The history, made if it is missing, and mapped for the life of the process; null when that fails.
quill_flash_history *flash_history();

// Does nothing where there can be no history.
void add_to_flash_history(const FlashTransfer &transfer);

}  // namespace quill

// The history of flash transfers: a file. Every process that transfers to or from flash maps it.
#pragma once

#include <quill/flash.h>
#include <stdint.h>

namespace quill {

enum class FlashOperation : uint32_t { kWrite = 0, kRead = 1 };

struct FlashTransfer {
    FlashOperation operation;
    uint32_t offset, length;
    uint32_t milliseconds;  // the duration
};

uint64_t monotonic_milliseconds();

// Returns the history, mapped for the life of the process; null if that fails. A missing history is created.
quill_flash_history *flash_history();

// Adds a record of the transfer. Does nothing if there is no history.
void add_to_flash_history(const FlashTransfer &transfer);

}  // namespace quill

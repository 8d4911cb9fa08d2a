// The compiled-in certificates with their sizes, which only the files that they come from know.
#pragma once

#include <stdint.h>

#include <span>

namespace quill {

extern const std::span<const uint8_t> kParentCertificate, kTopCertificate;

}  // namespace quill

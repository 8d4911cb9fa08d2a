// The compiled-in certificates with their sizes, which depend on the certificate files of the build.
#pragma once

#include <stdint.h>

#include <span>

namespace quill {

extern const std::span<const uint8_t> kParentCertificate, kTopCertificate;

}  // namespace quill

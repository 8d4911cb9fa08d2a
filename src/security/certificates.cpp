#include "security/certificates.h"

#include <quill/reg_table.h>  // IWYU pragma: keep

// The bytes of the two certificate files. The build writes each file as a list of numbers.
constexpr uint8_t Parent_CA_Cert[] = {
#include "parent_certificate.inc"  // IWYU pragma: keep
};
constexpr uint8_t Top_CA_Cert_1[] = {
#include "top_certificate.inc"  // IWYU pragma: keep
};
constexpr uint32_t Top_CA_Certs_count = 1;

constexpr std::span<const uint8_t> quill::kParentCertificate(Parent_CA_Cert);
constexpr std::span<const uint8_t> quill::kTopCertificate(Top_CA_Cert_1);

#include <gtest/gtest.h>
#include <quill/ap_image.h>

#include <string>

#include "support/case_file.h"

namespace {

std::string all_images() {
    static std::string called_with;
    ap_get_all_image_filenames([](const char *filename) { called_with += filename + std::string(" "); });
    return called_with;
}

constexpr quill::test::CaseFunction kFunctions[] = {
    QUILL_CASE_FUNCTION(all_images),         QUILL_CASE_FUNCTION(ap_get_image_filename),
    QUILL_CASE_FUNCTION(ap_get_image_type),  QUILL_CASE_FUNCTION(isImgCompatWithCfg),
    QUILL_CASE_FUNCTION(isImgCompatWithCPU),
};

TEST(ApImage, Cases) { quill::test::expect_cases("platform/ap_image.cases", kFunctions); }

}  // namespace

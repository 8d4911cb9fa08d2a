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

TEST(ApImage, Cases) {
    quill::test::expect_cases("platform/ap_image.cases",
                              QUILL_CASE_FUNCTIONS(all_images, ap_get_image_filename, ap_get_image_type,
                                                   isImgCompatWithCfg, isImgCompatWithCPU));
}

}  // namespace

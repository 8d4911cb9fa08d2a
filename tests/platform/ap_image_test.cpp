#include <gtest/gtest.h>
#include <quill/ap_image.h>

#include <iterator>
#include <string>

namespace {

constexpr struct {
    uint32_t type;
    const char *filename;
} kImages[] = {{7, "mips64.qim"},        {10, "mips32.qim"},  {15, "armv5te.qim"}, {25, "e500.qim"},
               {26, "mips32-14mb.qim"},  {30, "armv7ns.qim"}, {40, "ipq806x.qim"}, {43, "e5500.qim"},
               {23, "armv5te-14mb.qim"}, {48, "ipq40xx.qim"}};

TEST(ApImage, FilesByTypeAndBack) {
    int types = 0;
    for (uint32_t type = 0; type < 300; type++) types += ap_get_image_filename(type) != nullptr;
    EXPECT_EQ(types, 10);
    for (const auto &image : kImages) {
        EXPECT_STREQ(ap_get_image_filename(image.type), image.filename);
        EXPECT_EQ(ap_get_image_type(image.filename), image.type);
    }
    EXPECT_EQ(ap_get_image_filename(UINT32_MAX), nullptr);
    for (const char *other : {"", "E5500.qim", "e5500.qi", "e5500.qimx", "e5500"})
        EXPECT_EQ(ap_get_image_type(other), UINT32_MAX) << other;
}

std::string called_with;

TEST(ApImage, FullSet) {
    ap_get_all_image_filenames([](const char *filename) { called_with += filename + std::string(" "); });
    EXPECT_EQ(called_with, "mips32.qim armv5te.qim e500.qim armv7ns.qim ipq806x.qim e5500.qim ipq40xx.qim ");
}

TEST(ApImage, Compatibility) {
    EXPECT_EQ(isImgCompatWithCPU(), 1);
    // Every pair of versions of these numbers.
    const uint32_t values[] = {0, 1, 2, 3, 4, 5, 0x80000000, UINT32_MAX};
    const size_t n = std::size(values);
    for (size_t i = 0; i < n * n * n * n; i++) {
        const uint32_t a1 = values[i % n], a2 = values[i / n % n], a5 = values[i / n / n % n],
                       a6 = values[i / n / n / n];
        int expected = 1;
        if (!(a1 > 2 && !(a1 == 3 && a2 <= 1))) expected = a5 <= 3 && !(a5 == 3 && a6 > 1);
        ASSERT_EQ(isImgCompatWithCfg(a1, a2, a1, a6, a5, a6), expected) << a1 << a2 << a5 << a6;
    }
}

}  // namespace

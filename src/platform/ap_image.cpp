#include <quill/ap_image.h>
#include <string.h>

namespace {

struct Image {
    uint32_t type;
    const char *filename;
    bool listed;  // in the full set
};

// In the order of the full set. The images for 14 MB of flash and for mips64 are not in the full set.
constexpr Image kImages[] = {
    {7, "mips64.qim", false},         //
    {10, "mips32.qim", true},         //
    {15, "armv5te.qim", true},        //
    {25, "e500.qim", true},           //
    {26, "mips32-14mb.qim", false},   //
    {23, "armv5te-14mb.qim", false},  //
    {30, "armv7ns.qim", true},        //
    {40, "ipq806x.qim", true},        //
    {43, "e5500.qim", true},          //
    {48, "ipq40xx.qim", true},        //
};

constexpr uint32_t kNoType = 0xffffffff;

// Returns whether version major.minor is above 3.1.
constexpr bool is_above_3_1(uint32_t major, uint32_t minor) { return major > 3 || (major == 3 && minor > 1); }

}  // namespace

const char *ap_get_image_filename(uint32_t type) {
    for (const Image &image : kImages)
        if (image.type == type) return image.filename;
    return nullptr;
}

uint32_t ap_get_image_type(const char *filename) {
    for (const Image &image : kImages)
        if (strcmp(image.filename, filename) == 0) return image.type;
    return kNoType;
}

void ap_get_all_image_filenames(void (*callback)(const char *filename)) {
    for (const Image &image : kImages)
        if (image.listed) callback(image.filename);
}

int isImgCompatWithCPU() { return 1; }

int isImgCompatWithCfg(uint32_t a1, uint32_t a2, uint32_t, uint32_t, uint32_t a5, uint32_t a6) {
    return is_above_3_1(a1, a2) || !is_above_3_1(a5, a6);
}

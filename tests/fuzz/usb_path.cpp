// Searches for names of any bytes on USB storage. A found path must be a file there, and nothing is written outside of
// the buffer.
#include <quill/storage.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "fuzz/fuzz.h"
#include "support/private_device.h"

namespace {

const std::set<std::string> kNames = {"a", "images/a", "images/b.bin", "%s", "100%%"};
bool is_private;

bool is_usb_path(const char *text) {
    return std::string_view(text).starts_with("/mnt/usbdisk/") && strlen(text) < QUILL_USB_PATH_SIZE;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    const std::string why = quill::test::enter_private_device();
    is_private = why.empty();
    if (!is_private) printf("nothing is on any stick: no private device: %s\n", why.c_str());
    if (!is_private) return quill::fuzz::kSkipped;
    for (const std::string root : {"/mnt/usbdisk/slot0/0/", "/mnt/usbdisk/stick/"}) {
        for (const char *folder : {"images", ".hidden"}) std::filesystem::create_directories(root + folder);
        for (const std::string &name : kNames) quill::test::write_file(root + name, "x");
        quill::test::write_file(root + ".hidden/a", "x");  // a search for ".hidden/a" finds "a" at the top
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page, out;
    quill::fuzz::Input input(data, size);
    const int slot = static_cast<int>(input.below(3)), partition = static_cast<int>(input.below(3));
    const std::string name = input.text();
    char *at = quill::fuzz::room(out, QUILL_USB_PATH_SIZE);
    const char *const found = chkUsbPath(page.hold_text(name), at);
    struct stat file;
    EXPECT(found ? found == at && is_usb_path(found) : !is_private || !kNames.contains(name));
    // The search skips directories that begin with ".". The returned path contains them nevertheless.
    const bool plain = ("/" + name).find("/.") == std::string::npos;
    if (found && plain) EXPECT(lstat(found, &file) == 0 && S_ISREG(file.st_mode));
    at = quill::fuzz::room(out, QUILL_USB_PATH_SIZE);
    const std::string place = "/mnt/usbdisk/slot" + std::to_string(slot) + "/" + std::to_string(partition) + "/" + name;
    const bool present = chkUsbSlotPartPath(page.hold_text(name), slot, partition, at) == 1;
    if (place.size() < QUILL_USB_PATH_SIZE) EXPECT(present == (stat(place.c_str(), &file) == 0));
    EXPECT(present ? is_usb_path(at) : std::all_of(at, at + QUILL_USB_PATH_SIZE, [](char c) { return c == '\0'; }));
    return 0;
}

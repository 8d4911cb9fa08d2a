// Names looked for on USB storage: whatever they hold, what is found is a file there, and nothing is written outside.
#include <quill/storage.h>
#include <sys/stat.h>

#include <filesystem>

#include "fuzz/fuzz.h"
#include "support/private_device.h"

namespace {

bool is_private;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    is_private = quill::test::enter_private_device().empty();
    if (!is_private) return 0;  // where the machine allows none, nothing is on any stick
    for (const std::string root : {"/mnt/usbdisk/slot0/0/", "/mnt/usbdisk/stick/"}) {
        std::filesystem::create_directories(root + "images");
        std::filesystem::create_directories(root + ".hidden");
        for (const char *name : {"a", "images/a", "images/b.bin", ".hidden/a", "%s", "100%%"}) {
            quill::test::write_file(root + name, "x");
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static quill::test::GuardedPage page, out;
    quill::fuzz::Input input(data, size);
    const int slot = static_cast<int>(input.below(3)), partition = static_cast<int>(input.below(3));
    const std::string name = input.text();
    char *const found = chkUsbPath(page.hold_text(name), quill::fuzz::room(out, QUILL_USB_PATH_SIZE));
    struct stat file;
    if (found) EXPECT(strncmp(found, "/mnt/usbdisk/", 13) == 0 && strlen(found) < QUILL_USB_PATH_SIZE);
    const bool on_stick = is_private && (name == "a" || name == "images/a" || name == "images/b.bin" || name == "%s");
    EXPECT(found || !on_stick);
    // The search skips directories that begin with "." and what lies behind an empty one; the path that it makes does not.
    const bool plain = ("/" + name).find("//") == std::string::npos && ("/" + name).find("/.") == std::string::npos;
    if (found && plain) EXPECT(lstat(found, &file) == 0 && S_ISREG(file.st_mode));
    char *const at = quill::fuzz::room(out, QUILL_USB_PATH_SIZE);
    if (chkUsbSlotPartPath(page.hold_text(name), slot, partition, at)) {
        EXPECT(strncmp(at, "/mnt/usbdisk/", 13) == 0 && strlen(at) < QUILL_USB_PATH_SIZE);
    } else {
        for (int i = 0; i < QUILL_USB_PATH_SIZE; i++) EXPECT(at[i] == '\0');
    }
    return 0;
}

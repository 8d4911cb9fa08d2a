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
    const std::string why = quill::test::enter_private_device();
    is_private = why.empty();
    if (!is_private) {
        printf("nothing is on any stick: no private device: %s\n", why.c_str());
        return quill::fuzz::kSkipped;
    }
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
    // Not .hidden/a: of that, "a" at the top is found.
    const bool on_stick =
        name == "a" || name == "images/a" || name == "images/b.bin" || name == "%s" || name == "100%%";
    EXPECT(found || !on_stick || !is_private);
    // The search skips directories that begin with "."; the path that it makes does not.
    const bool plain = ("/" + name).find("/.") == std::string::npos;
    if (found && plain) EXPECT(lstat(found, &file) == 0 && S_ISREG(file.st_mode));
    char *const at = quill::fuzz::room(out, QUILL_USB_PATH_SIZE);
    const std::string place = "/mnt/usbdisk/slot" + std::to_string(slot) + "/" + std::to_string(partition) + "/" + name;
    const bool present = chkUsbSlotPartPath(page.hold_text(name), slot, partition, at) == 1;
    if (place.size() < QUILL_USB_PATH_SIZE) EXPECT(present == (stat(place.c_str(), &file) == 0));
    if (present) {
        EXPECT(strncmp(at, "/mnt/usbdisk/", 13) == 0 && strlen(at) < QUILL_USB_PATH_SIZE);
    } else {
        for (int i = 0; i < QUILL_USB_PATH_SIZE; i++) EXPECT(at[i] == '\0');
    }
    return 0;
}

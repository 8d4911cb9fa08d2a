/* read_flash: makes one transfer from the flash, which adds a record to the history. */
#include <quill/flash.h>

int main(void) {
    char bytes[16];
    return ReadApFlash(256, sizeof bytes, bytes, NULL) != 0;
}

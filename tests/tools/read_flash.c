/* read_flash: one transfer from the flash, for the history that it leaves. */
#include <quill/flash.h>

int main(void) {
    char bytes[16];
    return ReadApFlash(256, sizeof bytes, bytes, NULL) != 0;
}

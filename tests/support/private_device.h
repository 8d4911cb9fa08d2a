// A private device for the test: a mount namespace and an empty namespace of System V semaphores. A test can therefore
// give the fixed paths of the product any content, without changing these paths of the machine. /dev, /tmp, /flash,
// /mnt/usbdisk and /quill/reg_table have only what every program needs, and /flash1 is missing.
#pragma once

#include <string>

namespace quill::test {

// Moves the calling thread, and the threads and processes that it starts from then on, into a private device. Returns
// an empty text, or the reason why this machine allows no private device.
std::string enter_private_device();

// Does the same without a device. The thread sees the machine as it is, and its mounts are private from then on.
std::string enter_private_mounts();

// In a private device, makes /proc empty, so that a test can write files with the kernel's names. self, thread-self and
// sys stay.
std::string enter_private_proc();
// Restores the machine's /proc: some sanitizers read about threads there when the test ends.
void leave_private_proc();

// Writes a file, or replaces the content of an existing one.
void write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);

}  // namespace quill::test

// The first statement of a test that needs a private device. If the machine allows none, the test reports why and is
// skipped.
#define ENTER_PRIVATE_DEVICE()                                                     \
    if (const std::string why = quill::test::enter_private_device(); !why.empty()) \
    GTEST_SKIP() << "no private device: " << why
#define ENTER_PRIVATE_PROC()                                                     \
    if (const std::string why = quill::test::enter_private_proc(); !why.empty()) \
    GTEST_SKIP() << "no private /proc: " << why

// A device of the test's own: a mount namespace in which /dev, /tmp and /flash are empty but for what every program needs,
// so that the fixed paths of the product can be given any content without touching the machine's.
#pragma once

#include <string>

namespace quill::test {

// Moves the calling thread, and the threads and processes that it starts from then on, into a private device. Returns
// an empty text, or why this machine allows none.
std::string enter_private_device();

// Writes a file, over an old one.
void write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);

}  // namespace quill::test

// The first statement of a test that needs one: where there can be none, the test says so and counts as skipped.
#define ENTER_PRIVATE_DEVICE()                                                     \
    if (const std::string why = quill::test::enter_private_device(); !why.empty()) \
    GTEST_SKIP() << "no private device: " << why

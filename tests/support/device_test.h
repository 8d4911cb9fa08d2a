// The fixture of tests in a private device. Each test must leave no open descriptor and no child.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "support/descriptors.h"
#include "support/private_device.h"

namespace quill::test {

class DeviceTest : public testing::Test {
protected:
    void SetUp() override {
        ENTER_PRIVATE_DEVICE();
        descriptors_ = open_descriptors();
    }
    void TearDown() override {
        leave_private_proc();
        if (IsSkipped()) return;
        EXPECT_GE(open_descriptors(), descriptors_);
        EXPECT_LE(open_descriptors(), descriptors_ + kept_descriptors_);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    }

    int descriptors_ = 0;
    int kept_descriptors_ = 0;  // the number of descriptors that the code may keep open
};

// The fixture of tests in a private device with an empty /proc.
class DeviceAndProcTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (IsSkipped()) return;
        ENTER_PRIVATE_PROC();
    }
};

}  // namespace quill::test

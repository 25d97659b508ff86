#pragma once
// A plain machine for each test, which must hold nothing at its end.

#include <gtest/gtest.h>

#include "platform/host/control.h"

namespace kv::test {

class HostTest : public testing::Test {
protected:
    void SetUp() override {
        host::reset_all();
        host::set_messages_quiet(true);
        before_ = host::live_objects();
    }
    void TearDown() override { EXPECT_TRUE(before_ == host::live_objects()) << "something is still held"; }

private:
    host::LiveObjects before_{};
};

}  // namespace kv::test

#pragma once
// A plain machine of 64 bits for each test, which must hold nothing at its end.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/host/control.h"

namespace kv::test {

class HostTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // What the user was shown.
    static std::vector<std::u16string> shown();

    // Runs the work with each call of the kinds failing in its turn, the last time with none; nothing is held after
    // each. `failed` names the function that failed, and lets the calls behind it succeed; "" in the last run.
    using Failed = std::function<std::string()>;
    void fail_each_call(std::initializer_list<host::CallKind> kinds, const std::function<void(const Failed&)>& work);

    host::LiveObjects before{};

private:
    int failed_calls_ = 0;
};

}  // namespace kv::test

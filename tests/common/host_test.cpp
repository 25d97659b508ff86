#include "tests/common/host_test.h"

#include <optional>

#include "support/process_state.h"

namespace kv::test {

void HostTest::SetUp() {
    host::reset_all();
    host::set_messages_quiet(true);
    process_state().os_level = 11;
    process_state().processor = PROCESSOR_ARCHITECTURE_AMD64;
    before = host::live_objects();
}

void HostTest::TearDown() {
    host::clear_failures();
    EXPECT_EQ(host::live_objects(), before) << "something is still held";
}

std::vector<std::u16string> HostTest::shown() {
    std::vector<std::u16string> texts;
    for (const host::Message& message : host::messages()) texts.push_back(message.text);
    return texts;
}

void HostTest::fail_each_call(std::initializer_list<host::CallKind> kinds,
                              const std::function<void(const Failed&)>& work) {
    constexpr uint64_t kMostCalls = 20000;
    for (host::CallKind kind : kinds) {
        uint64_t call = 1;
        for (bool failing = true; failing && !HasFailure(); ++call) {
            SCOPED_TRACE("call " + std::to_string(call) + " of kind " + std::to_string(static_cast<int>(kind)));
            ASSERT_LT(call, kMostCalls);
            host::clear_failures();
            host::fail_call(kind, call);
            std::optional<std::string> name;
            const Failed failed = [&] {
                if (!name) name = host::failed_function();
                host::clear_failures();
                return *name;
            };
            work(failed);
            failing = !failed().empty();
            failed_calls_ += failing;
            EXPECT_EQ(host::live_objects(), before);
        }
        EXPECT_GT(call, 2u) << "no call of kind " << static_cast<int>(kind);
    }
    RecordProperty("failed_calls", failed_calls_);  // for whoever counts (campaign/faults)
}

}  // namespace kv::test

// The folder of what processes share was looked for anew at each use. When the user's own one could not be looked at
// for once, the dispatcher served its pipe elsewhere, did not find it where it asked to end, and stayed for ever.

#include <cstdlib>

#include "platform/host/control.h"
#include "tests/common/host_test.h"
#include "tests/common/workspace.h"

namespace kv::test {
namespace {

TEST_F(HostTest, ThePipeOfAProcessStaysInOneFolder) {
    constexpr const char* kRuntime = "XDG_RUNTIME_DIR";
    const char* found = std::getenv(kRuntime);
    const std::string kept = found ? found : "";
    const Workspace users;
    setenv(kRuntime, users.path("").c_str(), 1);
    host::reset_all();
    const std::string folder = host::shared_folder();
    EXPECT_EQ(folder, users.path("/karvo"));
    setenv(kRuntime, "/no/such/folder", 1);
    EXPECT_EQ(host::shared_folder(), folder);
    found ? setenv(kRuntime, kept.c_str(), 1) : unsetenv(kRuntime);
    host::reset_all();
}

}  // namespace
}  // namespace kv::test

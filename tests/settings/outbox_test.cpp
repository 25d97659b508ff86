#include "settings/outbox.h"

#include "tests/common/host_test.h"

namespace kv::test {
namespace {

using Text = std::u16string;
const Text kProduct = u"Software\\Velmora Software\\Karvo12";

struct OutboxTest : HostTest {
    static Text outbox() {
        PathText folder;
        read_outbox(folder);
        return folder.c_str();
    }
};

TEST_F(OutboxTest, TheUsersComesBeforeTheMachines) {
    EXPECT_EQ(outbox(), u"");
    EXPECT_TRUE(write_outbox(u""));
    host::set_registry_string(HKEY_LOCAL_MACHINE, kProduct, u"Outbox", u"\\\\server\\jobs");
    EXPECT_EQ(outbox(), u"\\\\server\\jobs");
    EXPECT_FALSE(write_outbox(u"jobs"));
    EXPECT_TRUE(write_outbox(u"D:\\jobs"));
    EXPECT_EQ(outbox(), u"D:\\jobs");
    host::set_registry_string(HKEY_CURRENT_USER, kProduct, u"Outbox", u"jobs");  // somebody else's
    EXPECT_EQ(outbox(), u"\\\\server\\jobs");
    EXPECT_TRUE(write_outbox(u""));
    EXPECT_FALSE(host::registry_value_exists(HKEY_CURRENT_USER, kProduct, u"Outbox"));
}

TEST_F(OutboxTest, OnlyFullPathsSayWhereAFolderIs) {
    for (const WCHAR* path : {u"C:\\", u"z:/jobs", u"\\\\server\\jobs"}) EXPECT_TRUE(is_full_path(path));
    for (const WCHAR* path : {u"", u"jobs", u"C:jobs", u"C:", u"\\jobs", u"\\\\", u"\\\\\\jobs", u"1:\\jobs"})
        EXPECT_FALSE(is_full_path(path));
}

}  // namespace
}  // namespace kv::test

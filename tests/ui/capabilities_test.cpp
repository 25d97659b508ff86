#include "ui/capabilities.h"

#include "settings/device_mode.h"
#include "support/process_state.h"
#include "tests/common/host_test.h"
#include "ui/texts.h"

namespace kv::test {
namespace {

using Text = std::u16string;
const Text kProduct = u"Software\\Velmora Software\\Karvo12";

class CapabilitiesTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        process_state().resource_module = host::driver_module();
        const Text paper = kProduct + u"\\CustomPapers\\Receipt";
        host::set_registry_dword(HKEY_CURRENT_USER, paper, u"ID", 300);
        host::set_registry_dword(HKEY_CURRENT_USER, paper, u"Width", 80000);
        host::set_registry_dword(HKEY_CURRENT_USER, paper, u"Height", 200000);
        host::set_registry_string(HKEY_CURRENT_USER, kProduct + u"\\PaperTrays", u"301",
                                  u"Tray with a name of more than 24 units");
    }
};

TEST_F(CapabilitiesTest, AnswersWithNumbers) {
    const std::pair<WORD, DWORD> answers[] = {
        {DC_FIELDS, 0x00066E03 | DM_PAPERLENGTH | DM_PAPERWIDTH | DM_FORMNAME},
        {DC_SIZE, 220},
        {DC_EXTRA, 364},
        {DC_VERSION, 0x0401},
        {DC_DRIVER, 0x0C04},
        {DC_MAXEXTENT, 0x7FFF7FFF},  // 3276.7 mm
        {DC_DUPLEX, 0},
        {DC_TRUETYPE, DCTT_DOWNLOAD},
        {DC_ORIENTATION, 90},
        {DC_COPIES, 1},
        {DC_COLLATE, 0},
        {DC_COLORDEVICE, 1},
        {DC_NUP, kNoSuchCapability},
        {99, kNoSuchCapability},
    };
    for (const auto& [question, answer] : answers)
        EXPECT_EQ(device_capability(u"P", question, nullptr), answer) << question;
}

TEST_F(CapabilitiesTest, ListsPapersWithTheUsersOwn) {
    ASSERT_EQ(device_capability(u"P", DC_PAPERS, nullptr), 67u);
    std::vector<WORD> ids(68, 0xEEEE);
    std::vector<POINT> sizes(68, POINT{-1, -1});
    std::vector<WCHAR> names(68 * 64, u'!');
    for (WORD question : {DC_PAPERS, DC_PAPERSIZE, DC_PAPERNAMES}) {
        void* output = question == DC_PAPERS      ? static_cast<void*>(ids.data())
                       : question == DC_PAPERSIZE ? static_cast<void*>(sizes.data())
                                                  : names.data();
        EXPECT_EQ(device_capability(u"P", question, output), 67u);
    }
    EXPECT_TRUE(ids[8] == 9 && ids[47] == 50 && ids[66] == 300 && ids[67] == 0xEEEE);
    EXPECT_TRUE(sizes[8].x == 2100 && sizes[8].y == 2970 && sizes[66].x == 800 && sizes[66].y == 2000 &&
                sizes[67].x == -1);
    EXPECT_EQ(Text(&names[8 * 64]), u"A4");
    EXPECT_EQ(Text(&names[66 * 64]), u"Receipt");
    EXPECT_EQ(names[67 * 64], u'!');
}

TEST_F(CapabilitiesTest, ListsTraysAndResolutions) {
    ASSERT_EQ(device_capability(u"P", DC_BINS, nullptr), 2u);
    WORD bins[3] = {};
    WCHAR names[3 * 24];
    std::fill(std::begin(names), std::end(names), u'!');
    EXPECT_EQ(device_capability(u"P", DC_BINS, bins), 2u);
    EXPECT_TRUE(bins[0] == 1 && bins[1] == 301 && bins[2] == 0);
    EXPECT_EQ(device_capability(u"P", DC_BINNAMES, names), 2u);
    EXPECT_EQ(Text(names), u"Default tray");
    EXPECT_EQ(Text(names + 24), u"Tray with a name of mor");  // 23 units and the end
    EXPECT_EQ(names[48], u'!');
    const DWORD count = device_capability(u"P", DC_ENUMRESOLUTIONS, nullptr);
    std::vector<LONG> resolutions(2 * count + 1, -1);
    EXPECT_EQ(device_capability(u"P", DC_ENUMRESOLUTIONS, resolutions.data()), count);
    EXPECT_TRUE(resolutions[0] == 75 && resolutions[1] == 75 && resolutions[2 * count - 1] == 2400);
    EXPECT_EQ(resolutions[2 * count], -1);
}

}  // namespace
}  // namespace kv::test

// The host's code pages convert as Windows' do.

#include <gtest/gtest.h>

#include <string>

#include "platform/host/control.h"

namespace kv {
namespace {

class CodePageTest : public testing::Test {
protected:
    void SetUp() override { host::reset_all(); }
};

struct Character {
    UINT code_page;
    std::string bytes;
    char16_t unit;
};
const Character kCharacters[] = {
    {874, "\xA1", 0x0E01},     {932, "\x82\xA0", 0x3042},   {932, "\x81\x60", 0xFF5E}, {936, "\xC4\xE3", 0x4F60},
    {936, "\x80", 0x20AC},     {949, "\xB0\xA1", 0xAC00},   {949, "\x81\x41", 0xAC02}, {950, "\xA4\x40", 0x4E00},
    {950, "\xA3\xE1", 0x20AC}, {1250, "\x8A", 0x0160},      {1251, "\xC6", 0x0416},    {1252, "\x80", 0x20AC},
    {1252, "\x81", 0x0081},    {1253, "\xC1", 0x0391},      {1254, "\xD0", 0x011E},    {1255, "\xE0", 0x05D0},
    {1256, "\xC7", 0x0627},    {1257, "\xC0", 0x0104},      {1258, "\xD0", 0x0110},    {1361, "\x88\x61", 0xAC00},
    {10000, "\x8E", 0x00E9},   {65001, "\xC3\xA9", 0x00E9},
};

TEST_F(CodePageTest, ConvertsBothWays) {
    for (const Character& c : kCharacters) {
        // ASCII is the same in all of them, the backslash of the East Asian ones too.
        const std::string text = "a\\" + c.bytes + "~";
        const std::u16string units = u"a\\" + std::u16string(1, c.unit) + u"~";
        WCHAR wide[16];
        const int count = MultiByteToWideChar(c.code_page, 0, text.data(), static_cast<int>(text.size()), wide, 16);
        EXPECT_EQ(std::u16string(wide, static_cast<size_t>(std::max(count, 0))), units) << c.code_page;
        char narrow[16];
        BOOL replaced = TRUE;
        const int size = WideCharToMultiByte(c.code_page, 0, units.data(), static_cast<int>(units.size()), narrow, 16,
                                             nullptr, &replaced);
        EXPECT_EQ(std::string(narrow, static_cast<size_t>(std::max(size, 0))), text) << c.code_page;
        EXPECT_FALSE(replaced) << c.code_page;
    }
}

TEST_F(CodePageTest, ReportsWhatHasNoPlace) {
    for (const Character& c : kCharacters) {
        if (c.code_page == 65001) continue;
        char narrow[16];
        BOOL replaced = FALSE;
        EXPECT_EQ(WideCharToMultiByte(c.code_page, 0, u"a\xABCD", 2, narrow, 16, nullptr, &replaced), 2) << c.code_page;
        EXPECT_TRUE(replaced && narrow[0] == 'a' && narrow[1] == '?') << c.code_page;
    }
    // Not installed, as on most systems.
    WCHAR wide[4];
    EXPECT_EQ(MultiByteToWideChar(57002, 0, "a", 1, wide, 4), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

}  // namespace
}  // namespace kv

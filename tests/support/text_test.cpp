#include "support/text.h"

#include <gtest/gtest.h>

#include "platform/host/control.h"
#include "support/os_level.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/record_buffer.h"
#include "support/reg_key.h"
#include "support/time_text.h"

namespace kv {
namespace {

using Text = std::basic_string<WCHAR>;

TEST(TextTest, TruncatesAndTerminates) {
    TextBuffer<5> text(TEXT("abcdefg"));
    EXPECT_EQ(Text(text.c_str()), TEXT("abcd"));
    text.assign(TEXT("ab"));
    text.append(TEXT("cde"));
    EXPECT_EQ(Text(text.c_str()), TEXT("abcd"));
    text.assign(nullptr);
    EXPECT_TRUE(text.empty());
}

TEST(TextTest, FormatsNumbersAndTexts) {
    PathText out;
    format_text(out.data(), out.capacity(), TEXT("%s_%08X|%d|%u|%3d|%%|%x"), TEXT("pipe"), 0x1Au, -5, 4000000000u, 7,
                0xABu);
    EXPECT_EQ(Text(out.c_str()), TEXT("pipe_0000001A|-5|4000000000|  7|%|ab"));
    TextBuffer<4> small;
    EXPECT_EQ(format_text(small.data(), small.capacity(), TEXT("%d"), -2147483647 - 1), 3u);
    EXPECT_EQ(Text(small.c_str()), TEXT("-21"));
}

TEST(TextTest, FormatsAsTheLibraryDoes) {
    PathText out;
    auto format = [&](const WCHAR* pattern, auto... values) {
        format_text(out.data(), out.capacity(), pattern, values...);
        return Text(out.c_str());
    };
    EXPECT_EQ(format(TEXT("%-4d|%+d|% d|%04d|%-04d|"), 7, 7, 7, -7, 7), TEXT("7   |+7| 7|-007|7   |"));
    EXPECT_EQ(format(TEXT("%.3d|%5.3d|%05.3d"), 7, 7, 7), TEXT("007|  007|  007"));
    EXPECT_EQ(format(TEXT("%#x|%#06x|%o|%hd|%hhu"), 10, 10, 8, 65537, 257), TEXT("0xa|0x000a|10|1|1"));
    EXPECT_EQ(format(TEXT("%lld|%lu"), -9000000000LL, 5UL), TEXT("-9000000000|5"));
    EXPECT_EQ(format(TEXT("%*d|%-*d|%.*f"), 3, 7, -3, 7, 2, 1.125), TEXT("  7|7  |1.12"));
    EXPECT_EQ(format(TEXT("%07.1f|%g"), -2.5, 0.5), TEXT("-0002.5|0.5"));
    EXPECT_EQ(format(TEXT("%5s|%-3s|%.1s|%hs|%c%%"), TEXT("ab"), TEXT("c"), TEXT("de"), "f", 'g'),
              TEXT("   ab|c  |d|f|g%"));
    EXPECT_EQ(format(TEXT("%s|%q|%"), static_cast<const WCHAR*>(nullptr)), TEXT("|q|"));
}

TEST(TextTest, KeepsDoubleByteCharactersWhole) {
    host::reset_all();
    host::machine().ansi_code_page = 932;
    char out[4];
    EXPECT_EQ(copy_ansi(out, sizeof out, "a\x82\xA0\x82\xA2", 5), 3u);
    EXPECT_STREQ(out, "a\x82\xA0");
    EXPECT_EQ(to_ansi(out, 3, TEXT("\u3042\u3044")), 2u);
    WCHAR wide[2];
    EXPECT_EQ(to_wide(wide, 2, "\x82\xA0\x82\xA2"), 1u);
    EXPECT_EQ(wide[0], 0x3042);
}

TEST(PathTest, TakesPathsApartAndJoinsThem) {
    struct {
        const WCHAR *folder, *name, *joined;
    } joins[] = {{TEXT("C:\\a"), TEXT("b"), TEXT("C:\\a\\b")},
                 {TEXT("C:\\a\\"), TEXT("b"), TEXT("C:\\a\\b")},
                 {TEXT("C:\\a"), TEXT("D:b"), TEXT("D:b")},
                 {TEXT("C:\\a"), TEXT("\\\\server\\b"), TEXT("\\\\server\\b")}};
    for (const auto& join : joins) {
        PathText path;
        JoinPath(join.folder, join.name, path);
        EXPECT_EQ(Text(path.c_str()), join.joined);
    }
    EXPECT_EQ(Text(FindExtension(TEXT("C:\\a.b\\c"))), TEXT(""));
    EXPECT_EQ(Text(FindExtension(TEXT("C:\\a.b\\c.d.kv"))), TEXT(".kv"));
    EXPECT_EQ(Text(GetFileNamePart(TEXT("C:\\a\\b.c"))), TEXT("b.c"));
}

TEST(PathTest, PutsLowIntegrityFilesIntoTheProductsFolder) {
    host::reset_all();
    process_state().os_level = 11;
    struct {
        uint32_t integrity;
        bool has_low_folder;
        const WCHAR* folder;
    } cases[] = {{0x2000, true, TEXT("C:\\Windows\\Temp\\")},
                 {0x1000, true, TEXT("C:\\Users\\user\\AppData\\LocalLow\\Karvo")},
                 {0, true, TEXT("C:\\Users\\user\\AppData\\LocalLow\\Karvo")},
                 {0x1000, false, TEXT("C:\\Windows\\Temp\\")}};
    for (const auto& test : cases) {
        host::machine().integrity = test.integrity;
        host::machine().has_local_app_data_low = test.has_low_folder;
        PathText folder, file;
        EXPECT_TRUE(GetTempFolder(folder));
        EXPECT_EQ(Text(folder.c_str()), test.folder);
        EXPECT_TRUE(CreateTempFile(nullptr, file) && FileExists(file.c_str()));
        EXPECT_EQ(Text(GetFileNamePart(file.c_str())).substr(0, 3), TEXT("~KV"));
    }
}

TEST(OsLevelTest, ClassifiesVersions) {
    struct {
        DWORD major, minor, build;
        bool server;
        int level;
    } cases[] = {{4, 0, 1381, false, 1},    {5, 0, 2195, true, 2},    {5, 1, 2600, false, 3},
                 {5, 2, 3790, true, 4},     {5, 2, 3790, false, 3},   {6, 0, 6002, true, 6},
                 {6, 0, 6002, false, 5},    {6, 1, 7601, false, 7},   {6, 2, 9200, true, 10},
                 {6, 3, 9600, false, 9},    {6, 4, 22000, false, 12}, {10, 0, 21999, false, 11},
                 {10, 0, 22000, false, 12}, {10, 0, 14393, true, 13}, {10, 0, 17763, true, 14},
                 {10, 0, 20348, true, 15},  {11, 0, 1, false, 16},    {10, 0, 20347, true, 14}};
    for (const auto& test : cases) {
        EXPECT_EQ(classify_os(test.major, test.minor, test.build, test.server), test.level) << test.major << test.minor;
    }
    host::reset_all();
    EXPECT_EQ(GetOsLevel(), 11);
    host::machine().product_type = 3;
    EXPECT_EQ(GetOsLevel(), 14);
    host::machine().platform = 1;
    EXPECT_EQ(GetOsLevel(), 0);
}

class RegKeyTest : public testing::Test {
protected:
    void SetUp() override {
        host::reset_all();
        process_state().os_level = 11;
        process_state().processor = PROCESSOR_ARCHITECTURE_AMD64;
    }
    static constexpr const WCHAR* kKey = TEXT("Software\\Velmora Software\\Karvo12");
};

TEST_F(RegKeyTest, CreatesMachineKeysAtHighIntegrityOnly) {
    CRegKey key;
    EXPECT_FALSE(create_product_key(key, HKEY_LOCAL_MACHINE));
    EXPECT_EQ(host::calls_made(host::CallKind::Registry), 0u);
    EXPECT_TRUE(create_product_key(key, HKEY_CURRENT_USER));
    host::machine().integrity = 0x3000;
    EXPECT_TRUE(create_product_key(key, HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(host::registry_key_exists(HKEY_LOCAL_MACHINE, kKey));
}

TEST_F(RegKeyTest, ReadsAndWritesTypedValues) {
    CRegKey key;
    ASSERT_TRUE(create_printer_key(key, HKEY_CURRENT_USER, TEXT("\\\\server\\printer")));
    EXPECT_TRUE(host::registry_key_exists(HKEY_CURRENT_USER, Text(kKey) + TEXT("\\KarvoPrinters\\,,server,printer")));
    EXPECT_TRUE(key.WriteDword(TEXT("Number"), 300) && key.write_string(TEXT("Text"), TEXT("a longer text")));
    EXPECT_EQ(key.ReadDword(TEXT("NUMBER"), 1), 300u);
    EXPECT_EQ(key.ReadDword(TEXT("Text"), 1), 1u);
    EXPECT_EQ(key.ReadString(TEXT("Number")), nullptr);
    EXPECT_EQ(Text(key.ReadString(TEXT("text"))), TEXT("a longer text"));
    PathText path(TEXT("old"));
    EXPECT_FALSE(key.read_path(TEXT("Number"), path) || !path.empty());
    EXPECT_TRUE(key.read_path(TEXT("text"), path));
    EXPECT_EQ(Text(path.c_str()), TEXT("a longer text"));
    for (size_t length : {259u, 260u}) {
        EXPECT_TRUE(key.write_string(TEXT("long"), std::u16string(length, u'x').c_str()));
        EXPECT_EQ(key.read_path(TEXT("long"), path), length < 260);
        EXPECT_EQ(path.length(), length < 260 ? length : 0);
    }
    EXPECT_TRUE(key.DeleteValue(TEXT("long")));
    EXPECT_EQ(Text(key.EnumValueName(1)), TEXT("Text"));
    EXPECT_EQ(key.EnumValueName(2), nullptr);
    EXPECT_TRUE(key.DeleteValue(TEXT("Number")));
    EXPECT_FALSE(key.ValueExists(TEXT("Number")));
}

TEST(RecordBufferTest, MovesToMovableMemoryWithoutLoss) {
    host::reset_all();
    CRecordBuffer buffer;
    std::string expected;
    for (int i = 0; i < 300; ++i) {
        std::string piece(10, static_cast<char>('a' + i % 26));
        ASSERT_TRUE(buffer.append(piece.data(), 10));
        expected += piece;
    }
    ASSERT_TRUE(buffer.append_text(TEXT("A"), true));
    expected += std::string("A\0\0\0", 4);
    ASSERT_EQ(buffer.size(), expected.size());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size() + 2),
              expected + std::string(2, 0));
    host::fail_call(host::CallKind::Allocation, 1);
    host::set_messages_quiet(true);
    std::string large(5000, 'x');
    EXPECT_FALSE(buffer.append(large.data(), 5000));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size()), expected);
}

TEST(TimeTextTest, IsForPeople) {
    struct {
        SYSTEMTIME time;  // year, month, day of week, day, hour, minute, second
        const WCHAR* text;
    } cases[] = {{{2026, 1, 1, 5, 15, 4, 5, 0}, TEXT("Mon Jan 5, 2026 3:04:05pm")},
                 {{2026, 12, 6, 26, 0, 0, 0, 0}, TEXT("Sat Dec 26, 2026 12:00:00am")},
                 {{2027, 2, 0, 28, 12, 59, 59, 0}, TEXT("Sun Feb 28, 2027 12:59:59pm")},
                 {{2027, 2, 0, 28, 11, 9, 9, 0}, TEXT("Sun Feb 28, 2027 11:09:09am")}};
    for (const auto& moment : cases) EXPECT_EQ(Text(time_text(moment.time).c_str()), moment.text);
}

}  // namespace
}  // namespace kv

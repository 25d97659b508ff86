#include "support/text.h"

#include <set>

#include "support/message.h"
#include "support/os_level.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/record_buffer.h"
#include "support/reg_key.h"
#include "support/time_text.h"
#include "tests/common/host_test.h"

namespace kv::test {
namespace {

using Text = std::u16string;
struct TextTest : HostTest {};
struct PathTest : HostTest {};
struct MessageTest : HostTest {};
struct RegKeyTest : HostTest {};

TEST_F(TextTest, TruncatesAndTerminates) {
    TextBuffer<5> text(u"abcdefg");
    EXPECT_EQ(Text(text.c_str()), u"abcd");
    text.assign(u"ab");
    text.append(u"cde");
    EXPECT_EQ(Text(text.c_str()), u"abcd");
    text.assign(nullptr);
    EXPECT_TRUE(text.empty());
    TextBuffer<4> number;
    EXPECT_EQ(format_text(number.data(), number.capacity(), u"%d", -2147483647 - 1), 3u);
    EXPECT_EQ(Text(number.c_str()), u"-21");
    for (const auto& [capacity, expected] : {std::pair{1u, u""}, std::pair{2u, u"a"}, std::pair{3u, u"ab"}}) {
        WCHAR wide[] = u"....";
        EXPECT_EQ(to_wide(wide, capacity, "ab", CP_ACP), capacity - 1);
        EXPECT_EQ(Text(wide), expected);
        EXPECT_EQ(wide[3], u'.');
    }
}

TEST_F(TextTest, ComparesUnitByUnitWithoutCase) {
    // order: of the upper-case units.
    const std::tuple<const WCHAR*, const WCHAR*, int> cases[] = {{u"a\u00C4Z9_", u"A\u00E4z9_", 0},
                                                                 {u"stra\u00DFe", u"STRASSE", 1},
                                                                 {u"\u00E6", u"ae", 1},
                                                                 {u"a", u"ab", -1},
                                                                 {u"b", u"AB", 1},
                                                                 {nullptr, u"", 0},
                                                                 {nullptr, u"a", -1},
                                                                 {u"[", u"{", -1},
                                                                 {u"z", u"_", -1},
                                                                 {u"co-op", u"coop", -1}};
    int row = 0;
    for (const auto& [a, b, order] : cases) {
        EXPECT_EQ(same_text_ignoring_case(a, b), order == 0) << row;
        const int found = compare_text_ignoring_case(a, b), back = compare_text_ignoring_case(b, a);
        EXPECT_EQ((found > 0) - (found < 0), order) << row;
        EXPECT_EQ((back > 0) - (back < 0), -order) << row++;
    }
    EXPECT_TRUE(starts_with_ignoring_case(Text(301, u'a').c_str(), Text(300, u'A').c_str()));
    EXPECT_FALSE(starts_with_ignoring_case(u"a", u"ab"));
}

TEST_F(TextTest, FormatsAsTheLibraryDoes) {
    PathText out;
    auto format = [&](const WCHAR* pattern, auto... values) {
        format_text(out.data(), out.capacity(), pattern, values...);
        return Text(out.c_str());
    };
    EXPECT_EQ(format(u"%s_%08X|%d|%u|%3d|%%|%x", u"pipe", 0x1Au, -5, 4000000000u, 7, 0xABu),
              u"pipe_0000001A|-5|4000000000|  7|%|ab");
    EXPECT_EQ(format(u"%-4d|%+d|% d|%04d|%-04d|", 7, 7, 7, -7, 7), u"7   |+7| 7|-007|7   |");
    EXPECT_EQ(format(u"%.3d|%5.3d|%05.3d", 7, 7, 7), u"007|  007|  007");
    EXPECT_EQ(format(u"%#x|%#06x|%o|%hd|%hhu", 10, 10, 8, 65537, 257), u"0xa|0x000a|10|1|1");
    EXPECT_EQ(format(u"%lld|%lu", -9000000000LL, 5UL), u"-9000000000|5");
    EXPECT_EQ(format(u"%*d|%-*d|%.*f", 3, 7, -3, 7, 2, 1.125), u"  7|7  |1.12");
    EXPECT_EQ(format(u"%07.1f|%g", -2.5, 0.5), u"-0002.5|0.5");
    EXPECT_EQ(format(u"%5s|%-3s|%.1s|%hs|%c%%", u"ab", u"c", u"de", "f", 'g'), u"   ab|c  |d|f|g%");
    EXPECT_EQ(format(u"%s|%q|%", static_cast<const WCHAR*>(nullptr)), u"|q|");
}

TEST_F(TextTest, KeepsDoubleByteCharactersWhole) {
    host::machine().ansi_code_page = 932;
    char out[4];
    EXPECT_EQ(copy_ansi(out, sizeof out, "a\x82\xA0\x82\xA2", 5), 3u);
    EXPECT_STREQ(out, "a\x82\xA0");
    EXPECT_EQ(to_ansi(out, 3, u"\u3042\u3044"), 2u);
    for (const WCHAR* nothing : {static_cast<const WCHAR*>(nullptr), u""}) {
        out[0] = 'x';
        EXPECT_EQ(to_ansi(out, sizeof out, nothing), 0u);
        EXPECT_STREQ(out, "");
    }
    WCHAR wide[2];
    EXPECT_EQ(to_wide(wide, 2, "\x82\xA0\x82\xA2"), 1u);
    EXPECT_EQ(wide[0], 0x3042);
}

TEST_F(PathTest, TakesPathsApartAndJoinsThem) {
    const WCHAR* const joins[][3] = {{u"C:\\a", u"b", u"C:\\a\\b"},
                                     {u"C:\\a\\", u"b", u"C:\\a\\b"},
                                     {u"C:\\a", u"D:b", u"D:b"},
                                     {u"C:\\a", u"\\\\server\\b", u"\\\\server\\b"}};
    for (const auto& [folder, name, joined] : joins) {
        PathText path;
        JoinPath(folder, name, path);
        EXPECT_EQ(Text(path.c_str()), joined);
    }
    EXPECT_EQ(Text(FindExtension(u"C:\\a.b\\c")), u"");
    EXPECT_EQ(Text(FindExtension(u"C:\\a.b\\c.d.kv")), u".kv");
    EXPECT_EQ(Text(GetFileNamePart(u"C:\\a\\b.c")), u"b.c");
}

TEST_F(PathTest, PutsLowIntegrityFilesIntoTheProductsFolder) {
    const std::tuple<uint32_t, bool, const WCHAR*> cases[] = {
        {0x2000, true, u"C:\\Windows\\Temp\\"},
        {0x1000, true, u"C:\\Users\\user\\AppData\\LocalLow\\Karvo"},
        {0, true, u"C:\\Users\\user\\AppData\\LocalLow\\Karvo"},
        {0x1000, false, u"C:\\Windows\\Temp\\"}};
    for (const auto& [integrity, has_low_folder, expected] : cases) {
        host::machine().integrity = integrity;
        host::machine().has_local_app_data_low = has_low_folder;
        PathText folder, file;
        EXPECT_TRUE(GetTempFolder(folder));
        EXPECT_EQ(Text(folder.c_str()), expected);
        EXPECT_TRUE(CreateTempFile(nullptr, file) && FileExists(file.c_str()));
        EXPECT_EQ(Text(GetFileNamePart(file.c_str())).substr(0, 3), u"~KV");
    }
}

using OsLevelTest = HostTest;
TEST_F(OsLevelTest, ClassifiesVersions) {
    const std::tuple<DWORD, DWORD, DWORD, bool, int> cases[] = {
        {4, 0, 1381, false, 1},    {5, 0, 2195, true, 2},    {5, 1, 2600, false, 3},   {5, 2, 3790, true, 4},
        {5, 2, 3790, false, 3},    {6, 0, 6002, true, 6},    {6, 0, 6002, false, 5},   {6, 1, 7601, false, 7},
        {6, 2, 9200, true, 10},    {6, 3, 9600, false, 9},   {6, 4, 22000, false, 12}, {10, 0, 21999, false, 11},
        {10, 0, 22000, false, 12}, {10, 0, 14393, true, 13}, {10, 0, 17763, true, 14}, {10, 0, 20348, true, 15},
        {11, 0, 1, false, 16},     {10, 0, 20347, true, 14}};
    for (const auto& [major, minor, build, server, level] : cases) {
        EXPECT_EQ(classify_os(major, minor, build, server), level) << major << minor;
    }
    EXPECT_EQ(GetOsLevel(), 11);
    host::machine().product_type = 3;
    EXPECT_EQ(GetOsLevel(), 14);
    host::machine().platform = 1;
    EXPECT_EQ(GetOsLevel(), 0);
}

// What a workstation's libraries may still know better.
DWORD product = 0, os_kind = 0;
BOOL WINAPI product_info(DWORD major, DWORD minor, DWORD, DWORD, DWORD* type) {
    *type = product;
    return major == 6 && minor == 3;
}
BOOL WINAPI is_os(DWORD kind) { return kind == os_kind; }

TEST_F(OsLevelTest, KnowsServersByEditionAndByTheShell) {
    auto address = [](auto* function) { return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function)); };
    host::Module kernel, shell;
    kernel.path = u"C:\\Windows\\System32\\kernel32.dll";
    kernel.functions["GetProductInfo"] = address(&product_info);
    shell.path = u"C:\\Windows\\System32\\shlwapi.dll";
    shell.functions["#437"] = address(&is_os);
    host::register_module(kernel);
    host::register_module(shell);
    const std::set<DWORD> editions = {7,  8,  9,  10, 12,  13,  14,  15,  17,  18,  19,  20,  21,  22,  23,  24, 25,
                                      29, 30, 31, 32, 33,  34,  35,  36,  37,  38,  39,  40,  41,  42,  43,  44, 45,
                                      46, 50, 51, 52, 53,  54,  55,  56,  57,  59,  60,  61,  62,  63,  64,  76, 77,
                                      79, 80, 95, 96, 109, 110, 143, 144, 145, 146, 147, 148, 159, 160, 168, 169};
    const std::set<DWORD> kinds = {9, 10, 22, 23, 29, 31, 32};
    for (DWORD number = 0; number < 256; ++number) {
        product = number, os_kind = 0xFFFFFFFF;
        EXPECT_EQ(IsServerOs(), editions.contains(number)) << number;
        product = 0, os_kind = number;
        EXPECT_EQ(IsServerOs(), kinds.contains(number)) << number;
    }
}

constexpr const WCHAR* kKey = u"Software\\Velmora Software\\Karvo12";

TEST_F(RegKeyTest, CreatesMachineKeysAtHighIntegrityOnly) {
    CRegKey key;
    EXPECT_FALSE(create_product_key(key, HKEY_LOCAL_MACHINE));
    EXPECT_EQ(host::calls_made(host::CallKind::Registry), 0u);
    EXPECT_TRUE(create_product_key(key, HKEY_CURRENT_USER));
    host::machine().integrity = 0x3000;
    EXPECT_TRUE(create_product_key(key, HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(host::registry_key_exists(HKEY_LOCAL_MACHINE, kKey));
}

TEST_F(RegKeyTest, AsksForNoViewWhereTheProcessorHasOne) {
    host::set_registry_string(HKEY_LOCAL_MACHINE, u"Software\\WOW6432Node\\Only", u"there", u"x");
    CRegKey key;
    EXPECT_TRUE(key.Open(KEY_READ | KEY_WOW64_32KEY, HKEY_LOCAL_MACHINE, u"Software\\Only"));
    process_state().processor = PROCESSOR_ARCHITECTURE_INTEL;
    EXPECT_FALSE(key.Open(KEY_READ | KEY_WOW64_32KEY, HKEY_LOCAL_MACHINE, u"Software\\Only"));
}

TEST_F(RegKeyTest, ReadsAndWritesTypedValues) {
    CRegKey key;
    ASSERT_TRUE(create_printer_key(key, HKEY_CURRENT_USER, u"\\\\server\\printer"));
    EXPECT_TRUE(host::registry_key_exists(HKEY_CURRENT_USER, Text(kKey) + u"\\KarvoPrinters\\,,server,printer"));
    EXPECT_TRUE(key.WriteDword(u"Number", 300) && key.write_string(u"Text", u"a longer text"));
    EXPECT_EQ(key.ReadDword(u"NUMBER", 1), 300u);
    EXPECT_EQ(key.ReadDword(u"Text", 1), 1u);
    EXPECT_EQ(key.ReadString(u"Number"), nullptr);
    EXPECT_EQ(Text(key.ReadString(u"text")), u"a longer text");
    PathText path(u"old");
    EXPECT_FALSE(key.read_path(u"Number", path) || !path.empty());
    EXPECT_TRUE(key.read_path(u"text", path));
    EXPECT_EQ(Text(path.c_str()), u"a longer text");
    for (size_t length : {259u, 260u}) {
        EXPECT_TRUE(key.write_string(u"long", std::u16string(length, u'x').c_str()));
        EXPECT_EQ(key.read_path(u"long", path), length < 260);
        EXPECT_EQ(path.length(), length < 260 ? length : 0);
    }
    EXPECT_TRUE(key.DeleteValue(u"long"));
    EXPECT_EQ(Text(key.EnumValueName(1)), u"Text");
    EXPECT_EQ(key.EnumValueName(2), nullptr);
    EXPECT_TRUE(key.DeleteValue(u"Number"));
    EXPECT_FALSE(key.ValueExists(u"Number"));
}

TEST_F(MessageTest, AreShownOnlyWhereSomebodyCanCloseThem) {
    // Silent, session, whether that is unknown, whether the station is visible; whether a box is seen.
    const std::tuple<DWORD, uint32_t, bool, bool, bool> cases[] = {
        {0, 1, false, true, true},   {1, 1, false, true, false}, {0, 0, false, true, false},
        {0, 1, false, false, false}, {0, 0, true, true, true},   {0, 1, true, false, false}};
    for (const auto& [silent, session, unknown, visible, seen] : cases) {
        process_state().silent = silent;
        host::machine().session = session;
        host::machine().session_query_fails = unknown;
        host::machine().visible_window_station = visible;
        const size_t earlier = shown().size();
        SetLastError(77);
        report_out_of_memory(u"AllocMem");
        report_system_error(u"GetPrinter", 99999);  // without a text, which is an error of its own
        report_file_error(12151, u"a", 99999);
        EXPECT_EQ(GetLastError(), 77u);
        EXPECT_EQ(shown().size() - earlier, seen ? 3u : 0u) << silent << session << unknown << visible;
    }
    process_state().silent = 0;
}

TEST_F(MessageTest, FillInTextsAndNothingElse) {
    host::Module library;
    library.strings = {{1, u"%s and %s, %s%d %n%-5s 100%%"}};
    process_state().resource_module = host::register_module(library);
    report_message(1, u"%s", u"b");
    report_message(12144, u"SendDispatch failed.");
    EXPECT_EQ(shown(), (std::vector<Text>{u"%s and b, %d %n%-5s 100%", u"SendDispatch failed."}));
    process_state().resource_module = nullptr;
}

using RecordBufferTest = HostTest;
TEST_F(RecordBufferTest, GrowsByWhatIsMissingOrAStep) {
    CGlobalObj block;
    ASSERT_TRUE(block.Alloc(4, GMEM_MOVEABLE, 16));
    const std::string text = "of forty characters, without the last one";
    ASSERT_TRUE(block.append(text.data(), 40));
    EXPECT_EQ(block.size(), 40u);
    ASSERT_TRUE(block.append("e", 1));
    EXPECT_EQ(block.size(), 56u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(block.data()), block.used()), text);
}

TEST_F(RecordBufferTest, MovesToMovableMemoryWithoutLoss) {
    CRecordBuffer buffer;
    std::string expected;
    for (int i = 0; i < 300; ++i) {
        const std::string piece(10, static_cast<char>('a' + i % 26));
        ASSERT_TRUE(buffer.append(piece.data(), 10));
        expected += piece;
    }
    ASSERT_TRUE(buffer.append_text(u"A", true));
    expected += std::string("A\0\0\0", 4);
    ASSERT_EQ(buffer.size(), expected.size());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size() + 2),
              expected + std::string(2, 0));
    host::fail_call(host::CallKind::Allocation, 1);
    std::string large(5000, 'x');
    EXPECT_FALSE(buffer.append(large.data(), 5000));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size()), expected);
}

TEST(TimeTextTest, IsForPeople) {
    struct {
        SYSTEMTIME time;  // year, month, day of week, day, hour, minute, second
        const WCHAR* text;
    } cases[] = {{{2026, 1, 1, 5, 15, 4, 5, 0}, u"Mon Jan 5, 2026 3:04:05pm"},
                 {{2026, 12, 6, 26, 0, 0, 0, 0}, u"Sat Dec 26, 2026 12:00:00am"},
                 {{2027, 2, 0, 28, 12, 59, 59, 0}, u"Sun Feb 28, 2027 12:59:59pm"},
                 {{2027, 2, 0, 28, 11, 9, 9, 0}, u"Sun Feb 28, 2027 11:09:09am"}};
    for (const auto& moment : cases) EXPECT_EQ(Text(time_text(moment.time).c_str()), moment.text);
}

}  // namespace
}  // namespace kv::test

// The installed fonts and the user's cache of their names.

#include "fonts/font_cache.h"

#include <filesystem>
#include <thread>

#include "fonts/name_table.h"
#include "fonts/process_fonts.h"
#include "support/reg_key.h"
#include "tests/common/host_test.h"
#include "tests/common/text_test.h"
#include "tests/common/workspace.h"
#include "tests/fonts/font_builder.h"

namespace kv::test {
namespace {

constexpr DWORD kBoth = kCacheByUniqueId | kCacheByPostScriptName;

std::vector<std::u16string> texts(const TextList& list) {
    std::vector<const WCHAR*> pointers(list.count());
    list.list(pointers.data());
    return {pointers.begin(), pointers.end()};
}

FontPlan plan_of(const std::u16string& family, const std::u16string& postscript, const std::u16string& unique) {
    FontPlan plan;
    plan.family = plan.full = family;
    plan.postscript = postscript;
    plan.unique = unique;
    return plan;
}

struct FontCacheTest : HostTest {
    void SetUp() override {
        HostTest::SetUp();
        empty_folder();
    }
    void TearDown() override {
        EXPECT_TRUE(shown().empty());
        empty_folder();
        HostTest::TearDown();
    }
    static std::string folder() { return host::host_path(u"C:\\Windows\\Fonts"); }
    static void empty_folder() {
        for (const auto& entry : std::filesystem::directory_iterator(folder())) std::filesystem::remove(entry.path());
    }
    static void list(const std::u16string& display_name, const std::u16string& file) {
        host::set_registry_string(HKEY_LOCAL_MACHINE, kFontsKey, display_name, file);
    }
    // Lists a font under the name of its file and puts the file there.
    static void install(const std::string& name, const Bytes& bytes) {
        const std::u16string wide(name.begin(), name.end());
        list(wide + u" (TrueType)", wide);
        write_file(folder() + "/" + name, bytes);
    }
    // The same with a font of these names.
    static void install(const std::string& name, const std::u16string& family, const std::u16string& postscript,
                        const std::u16string& unique) {
        install(name, build_font(plan_of(family, postscript, unique)));
    }
    // A new process brings the cache up to date.
    static BOOL refresh() {
        CFontCache cache;
        return cache.refresh(kBoth);
    }
    static std::u16string value(const std::u16string& part, const std::u16string& name) {
        return registry_text(kCacheKey + u"\\" + part, name);
    }
    static std::string hash() {
        CRegKey key;
        Bytes bytes(32);
        DWORD size = 0;
        if (!key.Open(KEY_READ, HKEY_CURRENT_USER, kCacheKey.c_str())) return "no key";
        if (!key.read_raw(u"Hash", bytes.data(), 32, &size)) return "none";
        bytes.resize(size);
        return to_hex(bytes);
    }
    static std::u16string resolve(const Bytes& font, const WCHAR* family = u"Any") {
        CFontCache cache;
        FamilyText installed;
        return ResolveFaceName(cache, family, font, installed) ? installed.c_str() : u"(not found)";
    }
};

TEST_F(FontCacheTest, LoadsTheListOfInstalledFonts) {
    list(u"Arial (TrueType)", u"arial.ttf");
    list(u"Gulim & GulimChe&Not & \u00A0Dotum\u3000 (truetype)", u"gulim.ttc");
    list(u"Again (OpenType)", u"ARIAL.TTF");
    list(u"x(OPENTYPE)", u"D:\\fonts\\x.otf");
    list(u"(TrueType)", u"nameless.ttf");
    list(u" \t & (TrueType)", u"blank.ttf");
    list(u"Courier 10,12,15", u"coure.fon");
    list(u"Roman (All res)", u"roman.fon");
    const CInstalledFonts fonts;
    for (auto face : {u"Arial", u"Gulim", u"GulimChe&Not", u"Dotum", u"Again", u"x"}) EXPECT_TRUE(fonts.has_face(face));
    for (auto face : {u"", u" ", u"&", u"Courier 10,12,15", u"Roman"}) EXPECT_FALSE(fonts.has_face(face));
    EXPECT_EQ(texts(fonts.files()),
              (std::vector<std::u16string>{u"arial.ttf", u"gulim.ttc", u"D:\\fonts\\x.otf", u"blank.ttf"}));
    EXPECT_TRUE(fonts.has_face(u"aRIAL"));
    EXPECT_TRUE(fonts.has_face(u"@Dotum"));
    EXPECT_FALSE(fonts.has_face(u"Aria"));
    EXPECT_FALSE(fonts.has_face(u"@@Dotum"));
}

TEST_F(FontCacheTest, AListWithoutMemoryStaysAsItWas) {
    TextList list;
    ASSERT_TRUE(list.add(u"a", 1));
    host::fail_call(host::CallKind::Allocation, 1);
    host::set_messages_quiet(true);
    EXPECT_FALSE(list.add(std::u16string(2000, u'b').c_str(), 2000));
    EXPECT_EQ(texts(list), std::vector<std::u16string>{u"a"});
    host::reset_all();
}

TEST_F(FontCacheTest, RemembersEachFontByBothNames) {
    install("B.ttf", u"Bravo", u"Bravo-PS", u"Bravo 1");
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Alpha 1");
    list(u"Missing (TrueType)", u"Z:\\nowhere\\missing.ttf");
    // Not only the Fonts folder holds fonts.
    list(u"Elsewhere (TrueType)", u"C:\\Windows\\c.ttf");
    write_file(host::host_path(u"C:\\Windows\\c.ttf"), build_font(plan_of(u"Charlie", u"Charlie-PS", u"Charlie 1")));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Alpha 1"), u"Alpha");
    EXPECT_EQ(value(u"1", u"Bravo 1"), u"Bravo");
    EXPECT_EQ(value(u"1", u"Charlie 1"), u"Charlie");
    EXPECT_EQ(value(u"2", u"Alpha-PS"), u"Alpha");
    EXPECT_EQ(value(u"2", u"Charlie-PS"), u"Charlie");
    CRegKey key;
    ASSERT_TRUE(key.Open(KEY_READ, HKEY_CURRENT_USER, kCacheKey.c_str()));
    EXPECT_EQ(key.ReadDword(u"Version", 0), 4u);
    for (auto part : {u"1", u"2"}) {
        const std::u16string stamp = value(part, u"");
        EXPECT_TRUE(stamp.ends_with(u"am") || stamp.ends_with(u"pm"));
    }
}

TEST_F(FontCacheTest, TheHashIsThatOfTheSortedNames) {
    install("B.ttf", {});
    install("a.ttf", {});
    EXPECT_TRUE(refresh());
    // MD5 of "a.ttfB.ttf" in UTF-16.
    EXPECT_EQ(hash(), "CB 4E 04 97 CC AC 77 DD 63 6A C7 02 20 AA DE 69 ");
}

TEST_F(FontCacheTest, IsRebuiltOnlyWhenTheListHasChanged) {
    auto forget = [] {
        CRegKey key;
        ASSERT_TRUE(key.Open(KEY_READ | KEY_WRITE, HKEY_CURRENT_USER, (kCacheKey + u"\\1").c_str()));
        key.DeleteValue(u"Alpha 1");
    };
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Alpha 1");
    EXPECT_TRUE(refresh());
    forget();
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Alpha 1"), u"(none)");
    host::set_registry_dword(HKEY_CURRENT_USER, kCacheKey, u"Version", 3);
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Alpha 1"), u"Alpha");
    forget();
    install("b.ttf", u"Bravo", u"Bravo-PS", u"Bravo 1");
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Alpha 1"), u"Alpha");
    EXPECT_EQ(value(u"2", u"Bravo-PS"), u"Bravo");
}

TEST_F(FontCacheTest, OneProcessLooksOnce) {
    CFontCache cache;
    EXPECT_TRUE(cache.refresh(0));
    EXPECT_FALSE(host::registry_key_exists(HKEY_CURRENT_USER, kCacheKey));
    EXPECT_TRUE(cache.refresh(kBoth));
    EXPECT_EQ(hash(), "D4 1D 8C D9 8F 00 B2 04 E9 80 09 98 EC F8 42 7E ");  // of no files
    host::set_registry_dword(HKEY_CURRENT_USER, kCacheKey, u"Version", 3);
    EXPECT_TRUE(cache.refresh(kBoth));
    CRegKey key;
    ASSERT_TRUE(key.Open(KEY_READ, HKEY_CURRENT_USER, kCacheKey.c_str()));
    EXPECT_EQ(key.ReadDword(u"Version", 0), 3u);
}

TEST_F(FontCacheTest, AnIdentifierOfTwoFamiliesStandsForNeither) {
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Same");
    install("b.ttf", u"ALPHA", u"Alpha-Bold", u"Same");
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Same"), u"ALPHA");  // one family
    install("c.ttf", u"Charlie", u"Charlie-PS", u"Same");
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Same"), u"");
    install("d.ttf", u"Charlie", u"Charlie-PS", u"Same");
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Same"), u"");  // for good
    // Their other names stand for them still, however often the cache is made.
    for (const auto& [name, family] : {std::pair{u"Alpha-PS", u"Alpha"}, {u"Charlie-PS", u"Charlie"}}) {
        EXPECT_EQ(value(u"2", name), family);
    }
}

TEST_F(FontCacheTest, MembersOfCollectionsGiveWay) {
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Same");
    install("b.ttc", build_collection({plan_of(u"Bravo", u"Bravo-PS", u"Same"), plan_of(u"Bravo 2", u"Alpha-PS", u"B2"),
                                       plan_of(u"Bravo 3", u"Bravo3-PS", u"B2")}));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Same"), u"Alpha");
    EXPECT_EQ(value(u"1", u"B2"), u"Bravo 2");  // the first that came
    EXPECT_EQ(value(u"2", u"Bravo-PS"), u"Bravo");
    EXPECT_EQ(value(u"2", u"Alpha-PS"), u"Bravo 2");  // the last that came
    EXPECT_EQ(value(u"2", u"Bravo3-PS"), u"Bravo 3");
}

// Each of these members may read a mebibyte of names, long ones or many; all of them together a few.
TEST_F(FontCacheTest, ACollectionIsReadWithinABudget) {
    auto member = [](const char16_t* name) {
        return Tables{{"cmap", windows_cmap()},
                      {"name", name_table({windows_name(kNameFamily, name), windows_name(kNameUnique, name),
                                           windows_name(kNameFull, name)})}};
    };
    for (const auto& [count, length] : {std::pair<size_t, size_t>{33, 0x3FFF}, {3000, 1}}) {
        Big costly;  // all records have the first one's text
        costly.add(name_table(std::vector<Name>(count, windows_name(kNameFull, std::u16string(length, u'A')))));
        for (size_t record = 0; record < count; ++record) {
            costly.bytes[6 + 12 * record + 10] = costly.bytes[6 + 12 * record + 11] = 0;
        }
        std::vector<Tables> members(6, Tables{{"cmap", windows_cmap()}, {"name", costly.bytes}});
        members.insert(members.begin(), member(u"First"));
        members.push_back(member(u"Last"));
        const Bytes file = collection({}, members);
        install("a.ttc", file);
        EXPECT_TRUE(refresh());
        EXPECT_EQ(value(u"1", u"First"), u"First");
        EXPECT_EQ(value(u"1", u"Last"), u"(none)");
        // A face that the budget does not reach counts as not installed.
        IFIMETRICS metrics = {};
        metrics.flInfo = FM_INFO_TECH_TRUETYPE;
        for (const auto& [face, embed] : {std::pair{u"Last", TRUE}, {u"First", FALSE}}) {
            list(std::u16string(face) + u" (TrueType)", u"a.ttc");
            ASSERT_TRUE(create_process_fonts());
            EXPECT_EQ(ShouldEmbedFont(metrics, file), embed) << count;
            release_process_fonts();
        }
        host::reset_all();
    }
}

TEST_F(FontCacheTest, FontsThatAreNotRemembered) {
    FontPlan variable = plan_of(u"Variable", u"Variable-PS", u"Variable 1");
    variable.variable = true;
    install("a.ttf", build_font(variable));
    install("b.ttf", u"", u"NoFamily-PS", u"NoFamily 1");
    install("c.ttf", u"NoUnique", u"NoUnique-PS", u"");
    install("d.ttf", u"NoPostScript", u"", u"NoPostScript 1");
    install("e.ttf", Bytes(50, 7));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", u"Variable 1"), u"(none)");
    EXPECT_EQ(value(u"2", u"Variable-PS"), u"(none)");
    EXPECT_EQ(value(u"2", u"NoFamily-PS"), u"(none)");
    EXPECT_EQ(value(u"2", u"NoUnique-PS"), u"(none)");
    EXPECT_EQ(value(u"1", u"NoPostScript 1"), u"NoPostScript");
}

TEST_F(FontCacheTest, LongNamesAreCut) {
    install("a.ttf",
            build_font(plan_of(std::u16string(300, u'F'), std::u16string(300, u'P'), std::u16string(600, u'U'))));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(value(u"1", std::u16string(511, u'U')), std::u16string(255, u'F'));
    EXPECT_EQ(value(u"2", std::u16string(255, u'P')), std::u16string(255, u'F'));
}

TEST_F(FontCacheTest, StopsBeforeWriting) {
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Alpha 1");
    list(u"Nameless (TrueType)", u"");
    EXPECT_TRUE(refresh());  // a file without a name
    EXPECT_EQ(hash(), "none");
    list(u"Nameless (TrueType)", u"b.ttf");
    CFontCache cache;
    host::fail_call(host::CallKind::File, 1);  // the Fonts folder cannot be found
    EXPECT_TRUE(cache.refresh(kBoth));
    EXPECT_EQ(host::failed_function(), "SHGetFolderPathW");
    EXPECT_EQ(hash(), "none");
    EXPECT_EQ(value(u"1", u"Alpha 1"), u"(none)");
}

TEST_F(FontCacheTest, FindsFamiliesByTheNamesInTheFile) {
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Alpha 1");
    install("b.ttf", u"Bravo", u"Bravo-PS", u"Conflict");
    install("c.ttf", u"Charlie", u"Charlie-PS", u"Conflict");
    const Bytes both = build_font(plan_of(u"Zulu", u"Bravo-PS", u"Alpha 1"));
    const std::tuple<Bytes, const WCHAR*, std::u16string> cases[] = {
        {both, u"Any", u"Alpha"},
        {build_font(plan_of(u"Zulu", u"Alpha-PS", u"Zulu 1")), u"Any", u"Alpha"},
        {build_font(plan_of(u"Alpha", u"Zulu-PS", u"Zulu 1")), u"Any", u"(not found)"},
        {build_font(plan_of(u"Zulu", u"Zulu-PS", u"Conflict")), u"Any", u"(not found)"},
        {both, u"@Any", u"(not found)"},
        {both, u"", u"(not found)"},
        {{}, u"Any", u"(not found)"},
        {build_collection({plan_of(u"Alpha", u"Alpha-PS", u"Alpha 1")}), u"Any", u"(not found)"},
    };
    for (const auto& [font, face, family] : cases) EXPECT_EQ(resolve(font, face), family);
    // A symbol font is found by its identifier alone.
    FontPlan symbol = plan_of(u"Zulu", u"Alpha-PS", u"Zulu 1");
    symbol.symbol = true;
    symbol.glyphs = {{u'\uF041', 600}};
    EXPECT_EQ(resolve(build_font(symbol)), u"(not found)");
    symbol.unique = u"Alpha 1";
    EXPECT_EQ(resolve(build_font(symbol)), u"Alpha");
}

TEST_F(FontCacheTest, OtherValuesThanTextsAreNoFamily) {
    install("a.ttf", u"Alpha", u"Alpha-PS", u"Alpha 1");
    EXPECT_TRUE(refresh());
    CRegKey key;
    ASSERT_TRUE(key.Open(KEY_READ | KEY_WRITE, HKEY_CURRENT_USER, (kCacheKey + u"\\1").c_str()));
    ASSERT_TRUE(key.write(u"Alpha 1", REG_EXPAND_SZ, u"Other", 12));
    EXPECT_EQ(resolve(build_font(plan_of(u"Zulu", u"Zulu-PS", u"Alpha 1"))), u"(not found)");
}

// A font file that cannot be read, on a server that is gone, must not keep other threads from printing.
TEST_F(FontCacheTest, AFaultLeavesNoLockHeld) {
    ASSERT_TRUE(create_process_fonts());
    const std::span<const BYTE> gone(reinterpret_cast<const BYTE*>(16), 4096);
    FamilyText family;
    EXPECT_FALSE(find_installed_family(u"Any", gone, family));
    const Bytes font = build_font(plan_of(u"Zulu", u"Zulu-PS", u"Zulu 1"));
    std::thread([&] { EXPECT_FALSE(find_installed_family(u"Any", font, family)); }).join();
    release_process_fonts();
}

// Whatever call fails, nothing is held, and a cache that is marked current has every font whose file could be read.
TEST_F(FontCacheTest, EveryCallOfARefresh) {
    const auto prepare = [] {
        host::reset_all();
        host::set_messages_quiet(true);
        install("a.ttf", u"Alpha", u"Alpha-PS", u"Alpha 1");
        install("b.ttc", build_collection({plan_of(u"Bravo", u"Bravo-PS", u"Bravo 1")}));
    };
    prepare();
    const Bytes font = build_font(plan_of(u"Zulu", u"Alpha-PS", u"Bravo 1"));
    fail_each_call({host::CallKind::Allocation, host::CallKind::File, host::CallKind::Registry}, [&](auto& failed) {
        const std::u16string found = resolve(font);
        const std::string function = failed();
        const bool allowed = !function.empty() && (found == u"Alpha" || found == u"(not found)");
        EXPECT_TRUE(found == u"Bravo" || allowed) << function;
        prepare();
    });
    host::reset_all();
}

}  // namespace
}  // namespace kv::test

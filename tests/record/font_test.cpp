// Font definitions, and the font files that travel with a job.

#include <filesystem>
#include <fstream>
#include <functional>

#include "engine/path.h"
#include "fonts/md5.h"
#include "record/font_recorder.h"
#include "support/little_endian.h"
#include "tests/common/text_test.h"

namespace kv::test {
namespace {

using engine::Font;
using engine::FontFile;
using engine::String;

// Of a definition's body.
constexpr size_t kClipOffset = 4 + 25, kFaceOffset = 4 + 28;

DWORD u32_at(const Bytes& bytes, size_t at) {
    return bytes.at(at) | bytes.at(at + 1) << 8 | bytes.at(at + 2) << 16 | DWORD{bytes.at(at + 3)} << 24;
}

std::u16string face_of(const Bytes& definition) {
    std::u16string face;
    for (size_t at = kFaceOffset; at + 1 < definition.size(); at += 2) {
        const auto unit = static_cast<char16_t>(definition[at] | definition[at + 1] << 8);
        if (unit == 0) break;
        face += unit;
    }
    return face;
}

std::vector<Bytes> bodies(const std::vector<Record>& records, int type) {
    std::vector<Bytes> found;
    for (const Record& record : records) {
        if (record.type == type) found.push_back(record.body);
    }
    return found;
}

// The position of the first record of a type on a document's first page; the records before it are short ones.
DWORD position_of(const std::vector<Record>& records, int type) {
    DWORD position = 18;
    for (const Record& record : records) {
        if (record.type == type) break;
        position += 2 + static_cast<DWORD>(record.body.size());
    }
    return position;
}

struct FontTest : TextTest {
    void print(Font& font, POINTL at = {100, 200}) {
        String text(font, u"A", at);
        EXPECT_TRUE(draw(text, font));
    }
    // The definition of a font as the only one of a page.
    Bytes definition(Font& font) {
        start_page();
        print(font);
        const auto found = bodies(finish(), 9);
        EXPECT_EQ(found.size(), 1u);
        return found.empty() ? Bytes(96) : found[0];
    }
    void choose(const std::u16string& name, uint32_t value) {
        host::set_registry_dword(HKEY_CURRENT_USER, kProductKey, name, value);
    }
    // Files of the temporary folder that are no job.
    std::vector<std::string> captured() {
        std::vector<std::string> names = temporary_files();
        std::erase_if(names, [](const std::string& name) { return name.ends_with(".kv"); });
        return names;
    }
    static std::string temporary_path(const std::string& name) {
        return host::host_path(u"C:\\Windows\\Temp") + "/" + name;
    }
};

FontPlan other_font() {
    FontPlan plan;
    plan.family = plan.full = u"Other";
    plan.postscript = u"Other";
    plan.unique = u"Other 1";
    return plan;
}

TEST_F(FontTest, SizesAndRotations) {
    struct {
        XFORML transform;
        LONG height, width, escapement;
    } cases[] = {
        {{0.1f, 0, 0, 0.1f, 3, 4}, -100, 0, 0},
        {{0.0125f, 0, 0, 0.0125f, 0, 0}, -13, 0, 0},  // 12.5
        {{0.1f, 0.000009f, -0.000009f, 0.1f, 0, 0}, -100, 0, 0},
        {{0.1f, 0, 0, 0.2f, 0, 0}, -200, 45, 0},  // 450 units on average
        {{0, -0.1f, 0.1f, 0, 0, 0}, -100, 0, 900},
        {{-0.1f, 0, 0, -0.1f, 0, 0}, -100, 0, 1800},
        {{0, 0.2f, -0.1f, 0, 0, 0}, -100, 90, 2700},
        {{0.0866025f, -0.05f, 0.05f, 0.0866025f, 0, 0}, -100, 0, 300},
        {{0.0866025f, 0.05f, -0.05f, 0.0866025f, 0, 0}, -100, 0, 3300},
        {{0.1f, 0, 0, -0.1f, 0, 0}, -100, 0, 0},  // mirrored
    };
    for (const auto& size : cases) {
        Font font(sans, 0, size.transform);
        const Bytes body = definition(font);
        EXPECT_EQ(static_cast<LONG>(u32_at(body, 4)), size.height);
        EXPECT_EQ(static_cast<LONG>(u32_at(body, 8)), size.width);
        EXPECT_EQ(static_cast<LONG>(u32_at(body, 12)), size.escapement);
        EXPECT_EQ(static_cast<LONG>(u32_at(body, 16)), size.escapement);
    }
}

TEST_F(FontTest, Styles) {
    struct {
        USHORT weight, selection;
        FLONG simulations, info;
        BYTE charset;
        const char* hex;  // weight, then italic to pitch and family
    } cases[] = {
        {400, 0, 0, FM_INFO_TECH_TRUETYPE, 0, "90 01 00 00 00 00 00 01 07 20 02 02 "},
        {400, 0x01, FO_SIM_BOLD, FM_INFO_TECH_TRUETYPE, 128, "BC 02 00 00 01 00 00 80 07 20 02 02 "},
        {900, 0x02, FO_SIM_BOLD, FM_INFO_TECH_TRUETYPE, 2, "84 03 00 00 00 01 00 02 07 20 02 02 "},
        {400, 0x10, FO_SIM_ITALIC, FM_INFO_TECH_OUTLINE_NOT_TRUETYPE, 0, "90 01 00 00 01 00 01 01 00 00 02 02 "},
    };
    for (const auto& style : cases) {
        Font font(sans, 0, 100);
        font.metrics().usWinWeight = style.weight;
        font.metrics().fsSelection = style.selection;
        font.metrics().flInfo = style.info;
        font.metrics().jWinCharSet = style.charset;
        font.flFontType |= style.simulations;
        const Bytes body = definition(font);
        EXPECT_EQ(to_hex(Bytes(body.begin() + 20, body.begin() + 32)), style.hex);
    }
}

TEST_F(FontTest, FaceNamesAreCutAndFilled) {
    const std::pair<std::u16string, const char*> cases[] = {
        {u"A name of more than thirty-one characters", "65 00 20 00 00 00 "},  // its 30th and 31st characters
        {u"Q", "FF FF FF FF FF FF "}};
    for (const auto& [name, end] : cases) {
        Font font(sans, 0, 100);
        font.metrics().flInfo = FM_INFO_TECH_BITMAP;
        font.rename(name, u"");
        const Bytes body = definition(font);
        EXPECT_EQ(face_of(body), name.substr(0, 31));
        EXPECT_EQ(to_hex(Bytes(body.end() - 6, body.end())), end);
    }
}

TEST_F(FontTest, IsDefinedOnceADocument) {
    Font font(sans, 0, 100), same(sans, 0, 100), larger(sans, 0, 120);
    for (int document = 0; document < 2; ++document) {
        start_page();  // each time with the same job number
        engine::Path path;
        path.add_rect({1, 1, 5, 5});
        if (document == 1) {
            EXPECT_TRUE(device->fill(path, nullptr, black, FP_WINDINGMODE));
        }
        for (Font* used : {&font, &same, &larger, &font, &same}) print(*used);
        const auto records = finish();
        const auto definitions = bodies(records, 9);
        ASSERT_EQ(definitions.size(), 2u);
        EXPECT_EQ(u32_at(definitions[0], 0), 0x20000000u + position_of(records, 9));
        // Texts name the fonts by these identifiers.
        const auto states = bodies(records, 19);
        ASSERT_EQ(states.size(), 3u);
        EXPECT_EQ(u32_at(states[0], 1), u32_at(definitions[0], 0));
        EXPECT_EQ(u32_at(states[1], 1), u32_at(definitions[1], 0));
        EXPECT_EQ(u32_at(states[2], 1), u32_at(definitions[0], 0));
    }
}

TEST_F(FontTest, ADefinitionMovesWithTheDocument) {
    Font font(sans, 0, 100);
    start_page();
    print(font);
    ASSERT_TRUE(device->send_page());
    DEVMODEW mode = {};
    mode.dmSize = sizeof mode;
    mode.dmSpecVersion = 0x0401;
    mode.dmFields = DM_ORIENTATION;
    mode.dmOrientation = DMORIENT_LANDSCAPE;
    ASSERT_TRUE(device->reset(mode));
    ASSERT_TRUE(device->start_page());
    print(font);
    EXPECT_EQ(pdevice().statistics.fonts, 1u);
    end_page_and_document();
}

TEST_F(FontTest, AFileTravelsOnce) {
    auto file = font_file(other_font());
    Font font(file, 0, 100), larger(file, 0, 120);
    start_page();
    print(font);
    print(larger);
    EXPECT_EQ(pdevice().statistics.font_files, 1u);
    EXPECT_EQ(pdevice().statistics.fonts, 2u);
    const auto records = finish();
    ASSERT_EQ(records[0].type, 28);
    BytesBuilder embedded;
    embedded.u32({0x20000012, static_cast<int64_t>(file->bytes().size())});
    embedded.bytes.insert(embedded.bytes.end(), file->bytes().begin(), file->bytes().end());
    EXPECT_EQ(to_hex(records[0].body), to_hex(embedded.bytes));
    EXPECT_EQ(bodies(records, 28).size(), 1u);
    const auto definitions = bodies(records, 9);
    ASSERT_EQ(definitions.size(), 2u);
    BytesBuilder reference;
    reference.u32({0x20000012}).u16({0, 1});
    reference.bytes.resize(64);
    for (const Bytes& body : definitions) {
        EXPECT_EQ(body[kClipOffset], 0x80);  // clip precision: embedded
        EXPECT_EQ(to_hex(Bytes(body.begin() + kFaceOffset, body.end())), to_hex(reference.bytes));
    }
    // The next document carries it again.
    start_page();
    print(larger);
    print(font);
    EXPECT_EQ(bodies(finish(), 28).size(), 1u);
}

TEST_F(FontTest, FilesOfOneNameAreTwoDefinitions) {
    FontPlan changed = other_font();
    changed.postscript = u"Other2";
    auto file = font_file(other_font()), same = font_file(other_font()), other = font_file(changed);
    // No member has the name of the font, which therefore stands in the definition.
    auto members = std::make_shared<FontFile>(build_collection({other_font()}));
    auto more = std::make_shared<FontFile>(build_collection({other_font(), other_font()}));
    struct {
        std::shared_ptr<FontFile> first, second;
        const char16_t *first_face, *second_face;
        size_t files, definitions;
    } cases[] = {{file, same, u"Other", u"Other", 1, 1},
                 {file, other, u"Other", u"Other", 2, 2},
                 {file, same, u"Other", u"@Other", 2, 2},
                 {members, members, u"Lost", u"Lost", 1, 1},
                 {members, more, u"Other", u"Other", 2, 2},
                 {members, more, u"Lost", u"Lost", 2, 2},
                 {sans, font_file(changed), u"Test Sans", u"Test Sans", 1, 2}};
    for (const auto& pair : cases) {
        Font first(pair.first, 0, 100), second(pair.second, 0, 100), again(pair.first, 0, 100);
        first.rename(pair.first_face, pair.first_face);
        second.rename(pair.second_face, pair.second_face);
        again.rename(pair.first_face, pair.first_face);
        start_page();
        for (Font* used : {&first, &second, &again}) print(*used);
        EXPECT_EQ(pdevice().statistics.fonts, pair.definitions);
        const auto records = finish();
        EXPECT_EQ(bodies(records, 28).size(), pair.files) << &pair - cases;
        EXPECT_EQ(bodies(records, 9).size(), pair.definitions) << &pair - cases;
        EXPECT_EQ(bodies(records, 19).size(), pair.definitions == 1 ? 1u : 3u) << "the first font comes back";
    }
}

// Without memory a text is left out with its font, or the font's file is; never a definition that texts name.
TEST_F(FontTest, TextsHaveDefinitionsWhateverAllocationFails) {
    bool failing = true;
    for (uint64_t call = 1; failing; ++call) {
        Font font(font_file(other_font()), 0, 100);
        String text(font, u"A", {100, 200});
        start_page();
        host::fail_call(host::CallKind::Allocation, call);
        EXPECT_TRUE(draw(text, font));
        failing = !host::failed_function().empty();
        host::clear_failures();
        std::vector<int> types;
        for (const Record& record : finish()) {
            if (record.type == 9) {
                const size_t files = static_cast<size_t>(std::count(types.begin(), types.end(), 28));
                EXPECT_EQ(record.body.at(29), files ? 0x80 : 0x20) << "lfClipPrecision says whether the file is there";
            }
            types.push_back(record.type);
        }
        const std::vector<int> whole = {28, 9, 19, 30}, named = {9, 19, 30};
        EXPECT_TRUE(types == whole || (failing && (types == named || types.empty()))) << call;
    }
}

// Bands of an image wait for more when a definition is due. What cannot be written then fails the document, whatever
// the drawing call answers.
TEST_F(FontTest, AnImageThatIsLostFailsTheDocument) {
    Font installed(sans, 0, 100), embedded(font_file(other_font()), 0, 100);
    engine::Bitmap band(BMF_24BPP, 40, 20, engine::RowOrder::BottomUp);
    engine::Brush hatch = engine::Brush::hatched(HS_DIAGCROSS_INDEX, 0xFF0000, 0xFFFFFF);
    String text(installed, u"A", {100, 200});
    struct {
        std::function<BOOL()> call;
        uint64_t joining;  // the number of its allocation for the joined bands
    } cases[] = {
        {[&] { return draw(text, installed); }, 1},  // its definition
        {[&] { return draw(text, embedded); }, 3},   // its file, behind the table of files and the place in it
        {[&] {
             return device->bit_blt(nullptr, nullptr, nullptr, nullptr, {0, 0, 9, 9}, nullptr, &hatch, 0xF0F0);
         },
         1},
    };
    for (const auto& due : cases) {
        for (bool fails : {false, true}) {  // the first time the engine's object gets what the driver keeps on it
            SCOPED_TRACE(2 * (&due - cases) + fails);
            start_page();
            for (LONG y : {0, 20}) device->copy_bits(band, nullptr, nullptr, {0, y, 40, y + 20}, {0, 0});
            if (fails) host::fail_call(host::CallKind::Allocation, due.joining);
            EXPECT_TRUE(due.call());
            EXPECT_EQ(pdevice().failed, fails ? 1u : 0u);
            host::clear_failures();
            host::printer(printer).output.clear();
            EXPECT_EQ(device->send_page(), !fails);
            device->end_document();
            EXPECT_EQ(job().empty(), fails);
        }
    }
}

TEST_F(FontTest, ManyFiles) {
    start_page();
    for (double size : {100, 110}) {
        for (int i = 0; i < 205; ++i) {
            FontPlan plan = other_font();
            plan.family = plan.full = u"Other " + std::u16string(1, static_cast<char16_t>(u'A' + i));
            Font font(font_file(plan), 0, size);
            print(font);
        }
    }
    EXPECT_EQ(pdevice().statistics.font_files, 205u);
    EXPECT_EQ(pdevice().statistics.fonts, 410u);
    EXPECT_EQ(bodies(finish(), 28).size(), 205u);
}

TEST_F(FontTest, MembersAndVerticalFonts) {
    FontPlan one = other_font(), two = other_font();
    two.family = two.full = u"Second";
    auto file = std::make_shared<FontFile>(build_collection({one, two}));
    Font member(file, 1, 100), vertical(file, 1, 100), stranger(file, 0, 100), alone(font_file(one), 0, 100);
    vertical.rename(u"@Second", u"@Second");
    alone.rename(u"@Other", u"@Other");
    stranger.rename(u"Unknown", u"Unknown");
    struct {
        Font* font;
        const char* reference;
    } cases[] = {{&member, "03 00 01 00 00 00 00 00 "},
                 {&vertical, "07 00 01 00 00 00 00 00 "},
                 {&alone, "05 00 00 00 00 00 00 00 "}};
    for (const auto& reference : cases) {
        start_page();
        print(*reference.font);
        const auto records = finish();
        ASSERT_EQ(records[0].type, 28);
        const Bytes body = bodies(records, 9).at(0);
        EXPECT_EQ(u32_at(body, kFaceOffset), 0x20000012u);
        EXPECT_EQ(to_hex(Bytes(body.begin() + kFaceOffset + 6, body.begin() + kFaceOffset + 14)), reference.reference);
    }
    start_page();
    print(stranger);
    const auto records = finish();
    EXPECT_EQ(bodies(records, 28).size(), 1u);
    EXPECT_EQ(face_of(bodies(records, 9).at(0)), u"Unknown");
    EXPECT_EQ(bodies(records, 9).at(0)[kClipOffset], 0x80);
}

TEST_F(FontTest, ACollectionWithAnInstalledMemberStays) {
    FontPlan one = other_font(), two = other_font();
    two.family = two.full = u"Second";
    auto file = std::make_shared<FontFile>(build_collection({one, two}));
    install(u"Something & SECOND (TrueType)", u"second.ttc", {});
    reload_fonts();
    Font font(file, 0, 100);
    EXPECT_EQ(definition(font)[kClipOffset], 0x20);
}

TEST_F(FontTest, SettingsEmbedInstalledFonts) {
    choose(u"EmbedFonts", 1);
    Font font(sans, 0, 100);
    start_page();
    print(font);
    EXPECT_EQ(bodies(finish(), 28).size(), 1u);
    EXPECT_TRUE(captured().empty());
}

TEST_F(FontTest, CapturedFontsLieInTheTemporaryFolder) {
    choose(u"CaptureFonts", 1);
    Font font(sans, 0, 100);
    std::ofstream(temporary_path("00000012.ttf")) << std::string(5000, 'x');  // is replaced
    start_page();
    print(font);  // at position 18
    EXPECT_EQ(bodies(finish(), 28).size(), 1u);
    ASSERT_EQ(captured(), (std::vector<std::string>{"00000012.ttf"}));
    std::ifstream in(temporary_path("00000012.ttf"), std::ios::binary);
    EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(in), {}), sans->bytes());
    std::filesystem::remove(temporary_path("00000012.ttf"));
}

TEST_F(FontTest, AFontWithoutBytesKeepsItsName) {
    for (auto setting : {u"", u"EmbedFonts", u"CaptureFonts"}) {
        if (*setting) choose(setting, 1);
        Font font(font_file(other_font()), 0, 100);
        font.give_bytes({});
        start_page();
        print(font);
        const auto records = finish();
        ASSERT_EQ(records.size(), 3u);
        EXPECT_EQ(face_of(records[0].body), u"Other");
        EXPECT_EQ(records[0].body[kClipOffset], 0x20);
    }
    ASSERT_EQ(captured().size(), 1u);
    EXPECT_EQ(std::filesystem::file_size(temporary_path(captured()[0])), 0u);
    std::filesystem::remove(temporary_path(captured()[0]));
}

TEST_F(FontTest, AnInstalledFontKeepsTheNameTheSystemKnows) {
    FontPlan known_id = other_font(), known_name = other_font();
    known_id.unique = u"Test Sans 1";
    known_name.postscript = u"TestSans";
    for (const FontPlan& plan : {known_id, known_name}) {
        auto file = font_file(plan);
        Font font(file, 0, 100), vertical(file, 0, 100);
        font.rename(u"Engine's Name", u"Engine's Name");
        const Bytes body = definition(font);
        EXPECT_EQ(face_of(body), u"Test Sans");
        EXPECT_EQ(body[kClipOffset], 0x20);
        // A vertical font is not looked up.
        vertical.rename(u"@Engine's Name", u"@Engine's Name");
        EXPECT_EQ(definition(vertical)[kClipOffset], 0x80);
    }
}

TEST_F(FontTest, IdentifiersOfLargeJobsAreCounted) {
    process_state().font_ids.next();
    const DWORD font_id = process_state().font_ids.next() + 1, file_id = process_state().font_file_ids.next() + 1;
    Font font(font_file(other_font()), 0, 100);
    start_page();
    pdevice().position = 0x20000000;
    print(font);
    const auto records = finish();
    EXPECT_EQ(u32_at(records.at(0).body, 0), file_id);
    EXPECT_EQ(u32_at(records.at(1).body, 0), font_id);
    EXPECT_EQ(u32_at(records.at(1).body, kFaceOffset), file_id);
}

TEST_F(FontTest, DamagedFilesDoNoHarm) {
    const Bytes good = build_font(other_font()), collection = build_collection({other_font(), other_font()});
    choose(u"EmbedFonts", 0);
    uint32_t random = 1;
    auto next = [&] { return random = random * 1664525 + 1013904223; };
    start_page();
    size_t drawn = 0;
    for (const Bytes& whole : {good, collection}) {
        for (int round = 0; round < 400; ++round) {
            Bytes damaged = whole;
            if (round % 2) damaged.resize(1 + next() % damaged.size());
            for (int hit = 0; hit < 4; ++hit) damaged[next() % damaged.size()] = static_cast<BYTE>(next() >> 16);
            Font font(sans, 0, 100);
            font.rename(u"Other", u"Other");
            font.give_bytes(damaged);
            print(font);
            ++drawn;
        }
    }
    EXPECT_EQ(drawn, 800u);
    EXPECT_GE(pdevice().statistics.fonts, 1u);
    EXPECT_EQ(pdevice().failed, 0u);
    finish();
}

TEST_F(FontTest, TheEnginesFontsAreLetGo) {
    FONTOBJ unseen = {};
    DrvDestroyFont(nullptr);
    DrvDestroyFont(&unseen);
    const auto held = host::live_objects();
    open_device();
    {
        Font font(font_file(other_font()), 0, 100);
        start_page();
        print(font);
        EXPECT_NE(font.pvConsumer, nullptr);
        DrvDestroyFont(&font);
        EXPECT_EQ(font.pvConsumer, nullptr);
        print(font);  // is realised anew
        EXPECT_EQ(pdevice().statistics.fonts, 1u);
        finish();
    }
    close_device();
    EXPECT_EQ(host::live_objects(), held);
}

}  // namespace
}  // namespace kv::test

#include <gtest/gtest.h>

#include <cmath>

#include "drawing/fonts.h"
#include "drawing/glyph_names.h"
#include "drawing/glyph_run.h"
#include "drawing/page_words.h"
#include "reader/checker.h"
#include "tests/common/job_builder.h"
#include "tests/common/samples.h"
#include "tests/common/workspace.h"
#include "tests/drawing/exercise.h"

namespace kvjob::test {
namespace {

TEST(TextBodiesTest, ATextRecordHoldsWhatItsFlagsSay) {
    // characters, glyphs, an opaque rectangle and offsets of two glyphs
    const Buffer body =
        Body().u8({0x78, 2}).u16({'a', 'b', 0, 7, 8, -5, 20, 11, 12}).add(rect16(1, 2, 3, 4)).u16({0, -3});
    const TextRun run = read_text(body, false);
    EXPECT_EQ(run.count, 2u);
    EXPECT_EQ(run.characters, (std::vector<uint16_t>{'a', 'b'}));
    EXPECT_EQ(run.glyphs, (std::vector<uint16_t>{7, 8}));
    EXPECT_EQ(run.x, -5);
    EXPECT_EQ(run.y, 20);
    EXPECT_EQ(run.advances, (std::vector<uint16_t>{11, 12}));
    EXPECT_EQ(run.opaque, (Rect{1, 2, 3, 4}));
    EXPECT_EQ(run.offsets, (std::vector<uint16_t>{0, 0xFFFD}));
    const TextRun wide = read_text(Body().u8({0x20, 1}).u16({7}).u32({100000, -2}).u16({5}).bytes, true);
    EXPECT_EQ(wide.x, 100000);
    EXPECT_EQ(wide.y, -2);
    EXPECT_TRUE(wide.characters.empty());
}

TEST(TextBodiesTest, AFontNamesAFaceOrAFile) {
    const FontDefinition named = read_font(font_definition(9, -50, u"Ab"));
    EXPECT_EQ(named.id, 9u);
    EXPECT_EQ(named.height, -50);
    EXPECT_EQ(named.weight, 400);
    EXPECT_EQ(named.face, "Ab");
    EXPECT_FALSE(named.file);
    const FontDefinition member = read_font(embedded_font_definition(9, -50, 0x20000077, 3, Body().u32({2})));
    ASSERT_TRUE(member.file);
    EXPECT_EQ(member.file->file, 0x20000077u);
    EXPECT_EQ(member.file->member, 2);
    EXPECT_FALSE(member.file->vertical);
    EXPECT_TRUE(read_font(embedded_font_definition(9, -50, 1, 5)).file->vertical);
}

// What the check says of a job, joined by bars.
std::string faults_of(const Buffer& job) {
    std::string messages;
    for (const Finding& finding : check_job(job)) messages += (messages.empty() ? "" : "|") + finding.message;
    return messages;
}

// A page with a font that is introduced, and chosen when `chosen`, and one more record.
std::string faults_of_record(int type, const Buffer& body, bool chosen) {
    JobBuilder job;
    const uint32_t font = job.start_page().next_id();
    job.record(9, font_definition(font, -50, u"DejaVu Sans"));
    if (chosen) job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    return faults_of(job.record(type, body).end_page().finish());
}

TEST(TextCheckTest, FindsFaultsOfText) {
    const Buffer sound = Body().u8({0x40, 1}).u16({'a', 0, 5, 5, 9});
    const struct {
        int type;
        Buffer body;
        const char* faults;
    } cases[] = {
        {30, sound, ""},
        {30, {0x40, 0}, "text: no glyphs"},
        {30, {0, 1}, "text: neither characters nor glyphs"},
        {30, {0x41, 1}, "text: unknown flags"},
        {30, Body().u8({0x40, 1}).u16({'a', 1, 5, 5, 9}), "text: characters without their end"},
        {30, Body().u8({0x40, 1}).u16({'a', 0, 5, 5}), "text: body ends too early"},
        {30, Body().u8({0x48, 1}).u16({'a', 0, 5, 5, 9, 2}), "text: the first glyph lies off its own baseline"},
        {30, Body().u8({0x50, 1}).u16({'a', 0, 5, 5, 9, 1, 1, 2, 2}), "text: opaque rectangle of transparent text"},
        {54, Body().u8({0x40, 1}).u16({'a', 0}).u32({5, 5}).u16({9}), "text: 32-bit coordinates where 16 bits do"},
        {19, {0x48, 0, 0, 0, 0, 2}, "text state: fields 0x40 repeat what they were"},
        {19, {0x40, 9, 9, 9, 0}, "text state: text colour is not snapped"},
        {19, {0x80, 0x4D, 0, 0, 0}, "text state: font 0x4D was not introduced"},
        {19, {0x08, 3}, "text state: background mode is 3"},
        {19, {0x04, 3}, "text state: unknown change bits"},
    };
    for (const auto& c : cases) EXPECT_EQ(faults_of_record(c.type, c.body, true), c.faults);
    EXPECT_EQ(faults_of_record(30, sound, false), "text: no font was set on the page");
}

TEST(TextCheckTest, FindsFaultsOfFonts) {
    const struct {
        size_t at;
        Buffer bytes;
        const char* faults;
    } cases[] = {
        {4, {40, 0, 0, 0}, "font definition: height of cells instead of the em"},
        {16, {1}, "font definition: orientation differs from the escapement"},
        {24, {2}, "font definition: style flag is 2"},
        {27, {0}, "font definition: character set 0"},
        {95, {0}, "font definition: bytes behind the face name"},
    };
    const uint32_t id = JobBuilder().start_page().next_id();
    auto faults_of_definition = [](int type, const Buffer& body) {
        return faults_of(JobBuilder().start_page().record(type, body).end_page().finish());
    };
    for (const auto& c : cases) {
        Buffer body = font_definition(id, -40, u"A");
        std::copy(c.bytes.begin(), c.bytes.end(), body.begin() + static_cast<ptrdiff_t>(c.at));
        EXPECT_EQ(faults_of_definition(9, body), c.faults);
    }
    EXPECT_EQ(faults_of_definition(9, embedded_font_definition(id, -50, 0x20000001, 1)),
              "font definition: font file 0x20000001 was not introduced");
    EXPECT_EQ(faults_of_definition(28, Body().u32({id, 5}).fill(4, 0)),
              "embedded font file: size does not match the length");
}

TextRun run_of(int x, int y, const std::vector<uint16_t>& advances, const std::vector<uint16_t>& offsets = {}) {
    TextRun run;
    run.count = advances.size(), run.characters.assign(run.count, 'x');
    run.x = x, run.y = y, run.advances = advances, run.offsets = offsets;
    return run;
}

TEST(GlyphRunTest, GlyphsFollowTheBaseline) {
    struct Case {
        int escapement;
        double x, y;  // of the second glyph: 10 along the baseline and 2 above it
    };
    const double half = std::sqrt(0.5);
    for (const Case& each : {Case{0, 110, 198},
                             {3595, 110, 198},
                             {900, 98, 190},
                             {905, 98, 190},
                             {1800, 90, 202},
                             {2700, 102, 210},
                             {450, 100 + 8 * half, 200 - 12 * half}}) {
        FontDefinition font = {};
        font.escapement = each.escapement;
        const auto glyphs = place_glyphs(run_of(100, 200, {10, 5}, {0, 2}), font, nullptr);
        ASSERT_EQ(glyphs.size(), 2u);
        EXPECT_EQ(glyphs[0].x, 100);
        EXPECT_NEAR(glyphs[1].x, each.x, 1e-9) << each.escapement;
        EXPECT_NEAR(glyphs[1].y, each.y, 1e-9) << each.escapement;
    }
    const auto backwards = place_glyphs(run_of(100, 200, {0xFFF6, 0}), {}, nullptr);
    EXPECT_EQ(backwards[1].x, 90);
    TextRun pair = run_of(0, 0, {7, 3, 1});
    pair.characters = {0xD83D, 0xDE00, 'a'};
    const auto joined = place_glyphs(pair, {}, nullptr);
    ASSERT_EQ(joined.size(), 2u);
    EXPECT_EQ(joined[0].character, 0x1F600u);
    EXPECT_EQ(joined[1].x, 10);
}

TEST(GlyphNamesTest, NamesSayWhatTheMapDoesNot) {
    auto of_font = [](const std::string& name) { return uint32_t{name == "a" || name == "eacute" ? 0xE1u : 0u}; };
    const std::pair<const char*, std::u32string> cases[] = {{"a.sc", U"\u00E1"},
                                                            {"uni0061", U"a"},
                                                            {"uni00660069", U"fi"},
                                                            {"uni0066_uni0069.alt", U"fi"},
                                                            {"u1F600", U"\U0001F600"},
                                                            {"f_f_i", U""},
                                                            {"ffi", U"ffi"},
                                                            {"a_fl", U"\u00E1fl"},
                                                            {"uniD800", U""},
                                                            {"uni006", U""},
                                                            {"u110000", U""},
                                                            {"u61", U""},
                                                            {"uni00g1", U""},
                                                            {".notdef", U""},
                                                            {"", U""},
                                                            {"glyph12", U""}};
    for (const auto& [name, text] : cases) EXPECT_EQ(text_of_glyph_name(name, of_font), text) << name;
}

// The glyphs of the sample font follow each other from the blank, which is 3, as in ASCII.
Buffer text_record(const std::string& text, int x, int y, int advance, bool by_glyph = false) {
    Body body;
    body.u8({by_glyph ? 0x20 : 0x40, static_cast<int>(text.size())});
    for (char c : text) body.u16({by_glyph ? c - ' ' + 3 : c});
    if (!by_glyph) body.u16({0});
    body.u16({x, y});
    for (size_t i = 0; i < text.size(); ++i) body.u16({advance});
    return body;
}

std::string text_of(const Buffer& job) {
    const JobMap map(job);
    FontStore fonts(map);
    Reports reports(stderr);
    return page_text(map, fonts, 0, reports);
}

TEST(PageTextTest, LinesRunsAndBlanks) {
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -100);
    job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    job.record(30, text_record("none", 400, 210, 62));  // a little lower, to the right
    job.record(30, text_record("dug", 100, 400, 62));
    job.record(30, text_record("bead", 152, 200, 62));  // ends where the next begins
    job.record(30, text_record("ABBA", 900, 200, 68, true));
    job.record(30, text_record("iii", 100, 600, 60));  // 28 wide, so far apart
    EXPECT_EQ(text_of(job.end_page().finish()), "beadnone ABBA\ndug\ni i i\n");
}

// A record of two lines, with another's word between those of the first; letters of 60 pixels or a little more.
TEST(PageTextTest, ARecordOfSeveralLines) {
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -100);
    job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    Body lines;
    lines.u8({0x48, 6}).u16({'a', 'b', 'g', 'd', 'e', 'd', 0, 100, 200});
    lines.u16({62, 300, 62, -424, 62, 62}).u16({0, 0, 0, 0, -120, -120});
    job.record(30, lines).record(30, text_record("ed", 300, 200, 62));
    EXPECT_EQ(text_of(job.end_page().finish()), "ab ed gd\ned\n");
}

TEST(PageTextTest, TurnedTextFollowsTheUprightText) {
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -100);
    const uint32_t turned = job.next_id();
    job.record(9, font_definition(turned, -100, u"DejaVu Sans", 900));
    job.record(19, Body().u8({0xC8}).u32({turned, 0}).u8({1}));
    job.record(30, text_record("up", 300, 500, 60)).record(30, text_record("down", 400, 500, 62));
    job.record(19, Body().u8({0x80}).u32({font})).record(30, text_record("gone", 300, 500, 62));
    EXPECT_EQ(text_of(job.end_page().finish()), "gone\nup\ndown\n");
}

TEST(FontsTest, EmbeddedFilesComeOutAsTheyWere) {
    JobBuilder job;
    start_page_with_font(job, -100);
    const Buffer bytes = job.end_page().finish();
    EXPECT_EQ(faults_of(bytes), "");
    const kv::test::Workspace folder;
    std::FILE* list = std::fopen(folder.path("list").c_str(), "w");
    Reports reports(stderr);
    Kept kept;
    const JobMap map(bytes);
    FontStore fonts(map);
    auto visit = [&](const std::variant<ListedFont, ListedFontFile>& found) {
        print_font(found, list);
        if (const auto* file = std::get_if<ListedFontFile>(&found)) extract_font(*file, kept.open());
    };
    for_each_font(map, fonts, visit, reports);
    EXPECT_EQ(reports.count(), 0u);
    std::fclose(list);
    // Its record follows the page start.
    EXPECT_EQ(kept.files["font-20000012.ttf"], sample_font());
    EXPECT_NE(folder.read("list").find("\"DejaVu Sans\""), std::string::npos);
}

}  // namespace
}  // namespace kvjob::test

#include "settings/page_size.h"
#include "settings/paper_table.h"
#include "tests/settings/settings_fixture.h"

namespace kv::test {
namespace {

using PaperTest = SettingsTest;

// Inches (1) or millimetres (2), in the order of the system's ids, 48 and 49 left out.
TEST_F(PaperTest, KnowsThePapersOfTheSystem) {
    static const struct {
        const char16_t* name;
        WORD units;
        double width, height;
    } kPapers[] = {{u"Letter", 1, 8.5, 11},
                   {u"Letter Small", 1, 8.5, 11},
                   {u"Tabloid", 1, 11, 17},
                   {u"Ledger", 1, 11, 17},
                   {u"Legal", 1, 8.5, 14},
                   {u"Statement", 1, 5.5, 8.5},
                   {u"Executive", 1, 7.25, 10.5},
                   {u"A3", 2, 297, 420},
                   {u"A4", 2, 210, 297},
                   {u"A4 Small", 2, 210, 297},
                   {u"A5", 2, 148, 210},
                   {u"B4 (JIS)", 2, 257, 364},
                   {u"B5 (JIS)", 2, 182, 257},
                   {u"Folio", 1, 8.5, 13},
                   {u"Quarto", 2, 215, 275},
                   {u"10x14", 1, 10, 14},
                   {u"11x17", 1, 11, 17},
                   {u"Note", 1, 8.5, 11},
                   {u"Envelope #9", 1, 3.875, 8.875},
                   {u"Envelope #10", 1, 4.125, 9.5},
                   {u"Envelope #11", 1, 4.5, 10.375},
                   {u"Envelope #12", 1, 4.75, 11},
                   {u"Envelope #14", 1, 5, 11.5},
                   {u"C size sheet", 1, 17, 22},
                   {u"D size sheet", 1, 22, 34},
                   {u"E size sheet", 1, 34, 44},
                   {u"Envelope DL", 2, 110, 220},
                   {u"Envelope C5", 2, 162, 229},
                   {u"Envelope C3", 2, 324, 458},
                   {u"Envelope C4", 2, 229, 324},
                   {u"Envelope C6", 2, 114, 162},
                   {u"Envelope C65", 2, 114, 229},
                   {u"Envelope B4", 2, 250, 353},
                   {u"Envelope B5", 2, 176, 250},
                   {u"Envelope B6", 2, 125, 176},
                   {u"Envelope Italy", 2, 110, 230},
                   {u"Envelope Monarch", 1, 3.875, 7.5},
                   {u"6 3/4 Envelope", 1, 3.625, 6.5},
                   {u"US Std Fanfold", 1, 11, 14.875},
                   {u"German Std Fanfold", 1, 8.5, 12},
                   {u"German Legal Fanfold", 1, 8.5, 13},
                   {u"B4 (ISO)", 2, 250, 353},
                   {u"Japanese Postcard", 2, 100, 148},
                   {u"9x11", 1, 9, 11},
                   {u"10x11", 1, 10, 11},
                   {u"11x15", 1, 11, 15},
                   {u"Envelope Invite", 2, 220, 220},
                   {u"Letter Extra", 1, 9.5, 12},
                   {u"Legal Extra", 1, 9.5, 15},
                   {u"Tabloid Extra", 1, 11.69, 18},
                   {u"A4 Extra", 2, 235.458, 322.326},
                   {u"Letter Transverse", 1, 8.5, 11},
                   {u"A4 Transverse", 2, 210, 297},
                   {u"Letter Extra Transverse", 1, 9.5, 12},
                   {u"SuperA/SuperA/A4", 2, 227, 356},
                   {u"SuperB/SuperB/A3", 2, 305, 487},
                   {u"Letter Plus", 1, 8.5, 12.69},
                   {u"A4 Plus", 2, 210, 330},
                   {u"A5 Transverse", 2, 148, 210},
                   {u"B5 (JIS) Transverse", 2, 182, 257},
                   {u"A3 Extra", 2, 322, 445},
                   {u"A5 Extra", 2, 174, 235},
                   {u"B5 (ISO) Extra", 2, 201, 276},
                   {u"A2", 2, 420, 594},
                   {u"A3 Transverse", 2, 297, 420},
                   {u"A3 Extra Transverse", 2, 322, 445}};
    WORD id = 0;
    for (const auto& expected : kPapers) {
        id = id == 47 ? WORD{50} : static_cast<WORD>(id + 1);
        const PaperRecord* paper = find_standard_paper(id);
        if (!paper) FAIL() << id;
        const double micrometres = expected.units == 1 ? 25400 : 1000;
        EXPECT_TRUE(paper->id == id && paper->units == expected.units && Text(paper->name) == expected.name) << id;
        EXPECT_NEAR(paper->width, expected.width * micrometres, 0.5) << id;
        EXPECT_NEAR(paper->height, expected.height * micrometres, 0.5) << id;
    }
    for (WORD other : std::initializer_list<WORD>{0, 48, 49, 69}) EXPECT_FALSE(find_standard_paper(other));
}

TEST_F(PaperTest, GivesCustomPapersIdsAndWritesThemBack) {
    custom_paper(u"a", 300, 100000, 200000, 7);
    custom_paper(u"b", 301, 100000, 200000, 0);
    custom_paper(u"c", 0, 100000, 200000, 1);
    custom_paper(u"d", 303, 100000, 200000, 2);
    custom_paper(u"flat", 0, 100000, 0, 2);
    CCustomPaperList papers;
    papers.Load();
    ASSERT_EQ(papers.count(), 4);
    WORD index = 0;
    ASSERT_TRUE(papers.FindByName(u"C", &index));
    EXPECT_EQ(papers[index].id, 302);
    EXPECT_EQ(papers[0].units, 1);
    EXPECT_EQ(papers[1].units, 2);
    EXPECT_EQ(NewCustomPaperId(papers), 304);
    CCustomPaperList again;
    again.Load();
    EXPECT_EQ(again[index].id, 302);
    EXPECT_FALSE(host::registry_value_exists(HKEY_CURRENT_USER, kProduct + u"\\CustomPapers\\flat", u"ID"));
}

TEST_F(PaperTest, SizesPagesInPixels) {
    DriverDevMode mode = defaults();
    PageSize a4 = GetPaperSizePixels(mode, 600);
    EXPECT_TRUE(a4.width_px == 4961 && a4.height_px == 7016 && a4.width_mm == 210 && a4.height_mm == 297);
    RECTL printable = GetPrintableRect(mode);
    EXPECT_TRUE(printable.left == 150 && printable.top == 150 && printable.right == 4811 && printable.bottom == 6866);
    mode.dmOrientation = DMORIENT_LANDSCAPE;
    EXPECT_EQ(GetPaperSizePixels(mode, 600).width_px, 7016);
    mode.dmOrientation = 3;  // left as it is
    mode.dmPaperSize = 256;
    mode.dmPaperWidth = 2540;
    mode.dmPaperLength = 1270;
    const PageSize custom = GetPaperSizePixels(mode, 600);
    EXPECT_TRUE(custom.width_px == 6000 && custom.width_mm == 254 && custom.height_mm == 127);
    for (SHORT unusable : std::initializer_list<SHORT>{0, -1, -32768}) {
        mode.dmPaperLength = unusable;
        EXPECT_EQ(GetPaperSizePixels(mode, 600).width_px, 4961) << unusable;
    }
}

}  // namespace
}  // namespace kv::test

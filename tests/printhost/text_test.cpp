// Text as the jobs hold it.

#include "tests/printhost/font_tables.h"
#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

// Glyphs 36 to 38 of the font are the letters A to C.
constexpr const char* kLetters =
    "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
    "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
    "1 beginbfrange <0024> <0026> <0041> endbfrange\n"
    "endcmap end end";

class Text : public Print {
protected:
    // The five objects of a font that is called by glyph numbers, each an em wide. characters: the PDF file says which
    // they are.
    void add_font(const std::vector<std::string>& tables, bool characters) {
        const FontBytes mono = read_font(kMonoFont);
        const FontBytes font = collected ? collection_with(mono, tables) : with_tables(mono, tables);
        int next = PdfText::kFirstObject + static_cast<int>(pdf.objects.size());
        auto reference = [&] { return std::to_string(++next) + " 0 R "; };
        const std::string descendant = reference(), descriptor = reference(), map = reference(), file = reference();
        pdf.objects.insert(
            pdf.objects.end(),
            {"<< /Type /Font /Subtype /Type0 /BaseFont /QWERTY+Mono /Encoding /Identity-" + writing + " " +
                 (characters ? "/ToUnicode " + map : "") + "/DescendantFonts [" + descendant + "] >>",
             "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /QWERTY+Mono /CIDToGIDMap /Identity /DW 1000 "
             "/CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) /Supplement 0 >> /FontDescriptor " +
                 descriptor + ">>",
             "<< /Type /FontDescriptor /FontName /QWERTY+Mono /Flags 4 /FontBBox [0 0 1000 1000] /FontFile2 " + file +
                 ">>",
             pdf_stream("", kLetters), pdf_stream("", std::string(font.begin(), font.end()))});
    }
    // A page with that font as /F.
    Lines texts_of(const std::string& content, const std::vector<std::string>& tables, bool characters) {
        pdf.objects.clear();
        add_font(tables, characters);
        pdf.objects.push_back(
            pdf_stream("/Type /XObject /Subtype /Form /BBox [0 0 720 720] /Group << /S /Transparency >> "
                       "/Resources << /Font << /F 10 0 R >> >>",
                       "BT /F 20 Tf 100 400 Td <00250026> Tj ET 0 0 9 9 re f"));
        return texts_of(content,
                        "/Font << /F 10 0 R >> /XObject << /Group 15 0 R >> /ExtGState << /Half << /ca 0.5 >> >>");
    }
    Lines texts_of(const std::string& content, const std::string& resources) {
        Lines lines;
        for (const std::string& line : records_of("BT /F 20 Tf " + content + " ET", resources, set)) {
            if (!line.starts_with("drawing state")) lines.push_back(line);
        }
        return lines;
    }
    static ptrdiff_t count(const Lines& lines, const char* start) {
        return std::count_if(lines.begin(), lines.end(), [=](auto& line) { return line.starts_with(start); });
    }

    std::string writing = "H", set;
    bool collected = false;  // the font is the first of a collection
};

std::string without_file(const std::string& definition) {
    const size_t id = definition.find(" id="), height = definition.find(" height=");
    return definition.substr(0, id) + definition.substr(height, definition.find(" file=") - height);
}

// An em of 40 pixels; the last advance is the font's own, 1233 / 2048 of it.
TEST_F(Text, GoesAsCharactersThatThePdfFileKnows) {
    const Lines lines = texts_of("100 600 Td <002400250026> Tj", kTablesOfPdf, true);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(lines[0].starts_with("embedded font file"));
    EXPECT_EQ(
        without_file(lines[1]),
        "font definition: length=96 height=-40 weight=400 italic=0 char_set=1 out_precision=7 clip_precision=0x80 "
        "pitch_and_family=2");
    EXPECT_TRUE(lines[2].starts_with("text state"));
    EXPECT_EQ(lines[3], "text: length=20 text=\"ABC\" x=200 y=240 advances=[40, 40, 24]");
    EXPECT_EQ(run(workspace, "kvjob", "text out.kv").output.substr(0, 5), "A B C");
    // What is extracted is a font with its map.
    EXPECT_EQ(run(workspace, "kvjob", "fonts --extract fonts out.kv").exit_code, 0);
}

TEST_F(Text, GoesAsGlyphsOtherwise) {
    const Lines lines = texts_of("100 600 Td <00240025> Tj", kTablesOfPdf, false);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[3], "text: length=14 glyphs=[1, 2] x=200 y=240 advances=[40, 24]");
    // The whole font has its own numbers.
    set = "--set EmbedFonts=1";
    EXPECT_EQ(texts_of("100 600 Td <00240025> Tj", kTablesOfPdf, false).back(),
              "text: length=14 glyphs=[36, 37] x=200 y=240 advances=[40, 24]");
    // A font's own map gives characters, too, where it has the glyph.
    std::vector<std::string> tables = kTablesOfPdf;
    tables.insert(tables.begin(), "cmap");
    EXPECT_EQ(texts_of("100 600 Td <00240025> Tj", tables, true).back(),
              "text: length=16 text=\"AB\" x=200 y=240 advances=[40, 24]");
}

TEST_F(Text, TurnedStretchedSlantedAndMirrored) {
    const std::vector<std::string>& tables = kTablesOfPdf;
    // Up the page.
    Lines lines = texts_of("0 1 -1 0 100 600 Tm <00240025> Tj", tables, true);
    EXPECT_NE(lines[1].find("escapement=900"), std::string::npos) << lines[1];
    EXPECT_EQ(lines.back(), "text: length=16 text=\"AB\" x=200 y=240 advances=[40, 24]");
    // Twice as wide: an average letter of 1233 / 2048 of 80 pixels.
    lines = texts_of("2 0 0 1 100 600 Tm <00240025> Tj", tables, true);
    EXPECT_NE(lines[1].find(" height=-40 width=48 "), std::string::npos) << lines[1];
    EXPECT_EQ(lines.back(), "text: length=16 text=\"AB\" x=200 y=240 advances=[80, 48]");
    // A font file of its own leans; its letters are an em wide, as the PDF file says.
    lines = texts_of("1 0 0 1 100 600 Tm <0024> Tj 1 0 0.5 1 200 600 Tm <0025> Tj", tables, true);
    EXPECT_EQ(count(lines, "embedded"), 2);
    EXPECT_EQ(lines.back(), "text: length=12 text=\"B\" x=400 y=240 advances=[40]");
    lines = texts_of("-1 0 0 1 100 600 Tm <0024> Tj", tables, true);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].starts_with("fill path"));
    EXPECT_NE(messages.find("1 mirrored or tiny texts as outlines"), std::string::npos) << messages;
}

TEST_F(Text, RenderingModes) {
    EXPECT_TRUE(texts_of("1 Tr 100 600 Td <0024> Tj", kTablesOfPdf, true).at(0).starts_with("stroke path"));
    EXPECT_EQ(texts_of("3 Tr 100 600 Td <0024> Tj", kTablesOfPdf, true), Lines());
    const Lines clipped = texts_of("7 Tr 100 600 Td <0024> Tj ET 0 0 720 720 re f BT", kTablesOfPdf, true);
    ASSERT_EQ(clipped.size(), 2u);
    EXPECT_TRUE(clipped[0].starts_with("path clip"));
    EXPECT_TRUE(clipped[1].starts_with("rectangle fill"));
}

TEST_F(Text, WhatBecomesOfLettersIsCounted) {
    struct {
        const char *content, *expected;
    } const cases[] = {
        {"<002400250026> Tj", "3 as text, 0 as outlines, 0 in images, 0 stroked"},
        {"<00240025> Tj -1 0 0 1 100 500 Tm <0026> Tj", "2 as text, 1 as outlines, 0 in images, 0 stroked"},
        {"1 Tr <00240025> Tj", "0 as text, 0 as outlines, 0 in images, 2 stroked"},
        {"<0024> Tj ET /Half gs /Group Do BT", "1 as text, 0 as outlines, 2 in images, 0 stroked"},
    };
    for (const auto& test : cases) {
        texts_of(std::string("1 0 0 1 100 600 Tm ") + test.content, kTablesOfPdf, true);
        EXPECT_NE(messages.find(std::string("  letters in TrueType fonts: ") + test.expected + "\n"), std::string::npos)
            << messages;
    }
}

// Fonts that the file names alone, and glyphs that are drawings: of "a" a square, of "b" one in a colour of its own.
TEST_F(Text, OtherFontsGoWithFilesMadeForThem) {
    Lines lines =
        texts_of("100 600 Td (AB) Tj", "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(lines[0].starts_with("embedded font file"));
    EXPECT_EQ(lines[3], "text: length=16 text=\"AB\" x=200 y=240 advances=[27, 27]");

    pdf.objects = {
        "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] /FontMatrix [0.001 0 0 0.001 0 0] /FirstChar 97 "
        "/LastChar 98 /Widths [500 1000] /Encoding << /Differences [97 /a /b] >> /CharProcs << /a 11 0 R /b 12 0 R >> "
        ">>",
        pdf_stream("", "500 0 0 0 400 400 d1 0 0 400 400 re f"), pdf_stream("", "1000 0 d0 1 0 0 rg 0 0 400 400 re f")};
    lines = texts_of("100 600 Td (aba) Tj", "/Font << /F 10 0 R >>");
    // An em of 40 pixels: a's at 200 and 260, the last one 20 wide, b at 220.
    EXPECT_EQ(count(lines, "text: length=16 text=\"aa\" x=200 y=240 advances=[60, 20]"), 1);
    EXPECT_EQ(count(lines, "rectangle fill"), 1);
    EXPECT_NE(messages.find("letters in Type 3 fonts: 2 as text, 1 as outlines"), std::string::npos) << messages;
    EXPECT_EQ(run(workspace, "kvjob", "text out.kv").output.substr(0, 3), "a a");
}

// Letters A to C are 36 to 38; an em of 40 pixels, lines 40 pixels apart.
TEST_F(Text, WhatHasOneFontAndColourIsOneRecord) {
    const std::string two_lines = "100 600 Td <00240025> Tj 0 -20 Td <00250026> Tj ";
    const char* const both =
        "text: length=32 text=\"ABBC\" x=200 y=240 advances=[40, 65496, 40, 24] offsets=[0, 0, 65496, 65496]";
    const char* const first = "text: length=16 text=\"AB\" x=200 y=240 advances=[40, 24]";
    const char* const second = "text: length=16 text=\"BC\" x=200 y=280 advances=[40, 24]";
    const struct {
        const char* name;
        std::string content;
        Lines expected;  // with "fill" for any
    } cases[] = {
        {"lines", two_lines, {both}},
        {"a line in between that is drawn smaller",
         "/F 10 Tf 100 580 Td <0024> Tj /F 20 Tf 0 20 Td <00240025> Tj /F 10 Tf 40 0 Td <0026> Tj /F 20 Tf -40 -20 Td "
         "<00250026> Tj",
         {"text: length=20 text=\"AC\" x=200 y=280 advances=[80, 12] offsets=[0, 40]", both}},
        {"another colour elsewhere",
         two_lines + "1 0 0 rg 0 -20 Td <0024> Tj",
         {both, "text: length=12 text=\"A\" x=200 y=320 advances=[24]"}},
        {"another colour on top",
         "100 600 Td <00240025> Tj 1 0 0 rg 0 0 Td <0024> Tj 0 g 0 -20 Td <00250026> Tj",
         {first, second, "text: length=12 text=\"A\" x=200 y=240 advances=[24]"}},
        {"an area elsewhere",
         "100 600 Td <00240025> Tj ET 300 300 50 50 re f BT 100 580 Td <00250026> Tj",
         {"fill", both}},
        {"an area on top",
         "100 600 Td <00240025> Tj ET 1 0 0 rg 110 590 50 50 re f 0 g BT 100 580 Td <00250026> Tj",
         {first, "fill", second}},
        {"an area on top of the same colour",
         "100 600 Td <00240025> Tj ET 110 590 50 50 re f BT 100 580 Td <00250026> Tj",
         {"fill", both}},
        {"a clip through the second line",
         "100 600 Td <00240025> Tj ET 0 585 720 99 re W n BT 100 580 Td <00250026> Tj",
         {second, first}},
    };
    for (const auto& test : cases) {
        Lines drawn;
        for (const std::string& line : texts_of(test.content, kTablesOfPdf, true)) {
            if (line.starts_with("text: ")) drawn.push_back(line);
            if (line.starts_with("rectangle fill")) drawn.push_back("fill");
        }
        EXPECT_EQ(drawn, test.expected) << test.name;
    }
}

// Jobs hold fonts, whatever files these come in.
TEST_F(Text, AMemberOfACollectionBecomesAFontOfItsOwn) {
    const std::string content = "100 600 Td <002400250026> Tj";
    const Lines plain = texts_of(content, kTablesOfPdf, true);
    collected = true;
    const Lines lines = texts_of(content, kTablesOfPdf, true);
    ASSERT_EQ(lines.size(), 4u) << messages;
    EXPECT_EQ(lines[3], plain[3]);
    EXPECT_EQ(run(workspace, "kvjob", "fonts --extract fonts out.kv").exit_code, 0);
    for (const auto& file : std::filesystem::directory_iterator(workspace.path("fonts"))) {
        EXPECT_EQ(table_of(read_font(file.path().c_str()), "glyf").empty(), false) << file.path();
    }
}

// One file travels once, whatever sizes and pages it is used in.
TEST_F(Text, AFontFileIsEmbeddedOnce) {
    const Lines lines = texts_of("100 600 Td <0024> Tj /F 10 Tf 0 -50 Td <0025> Tj", kTablesOfPdf, true);
    EXPECT_EQ(count(lines, "embedded"), 1);
    EXPECT_EQ(count(lines, "font def"), 2);
}

// Logical fonts know fonts by their names, and parts of fonts may share one.
TEST_F(Text, FilesOfOneNameAreTwoFonts) {
    std::vector<std::string> tables = kTablesOfPdf;
    add_font(tables, true);
    tables.pop_back();
    add_font(tables, true);
    const Lines lines = texts_of("100 600 Td <0024> Tj /G 20 Tf 60 0 Td <0025> Tj", "/Font << /F 10 0 R /G 15 0 R >>");
    EXPECT_EQ(count(lines, "embedded"), 2);
    EXPECT_EQ(count(lines, "font def"), 2);
}

// Glyphs stand 35.2 pixels under the pen, and 40 pixels under each other.
TEST_F(Text, AColumnIsOneRecord) {
    writing = "V";
    EXPECT_EQ(texts_of("100 600 Td <00240025> Tj", kTablesOfPdf, true).back(),
              "text: length=20 text=\"AB\" x=180 y=275 advances=[0, 24] offsets=[0, 65496]");
}

TEST_F(Text, AListTellsWhatWentAsText) {
    texts_of("100 600 Td <00240025> Tj", kTablesOfPdf, true);
    job("--list-text list");
    const std::string list = read_file(workspace.path("list"));
    EXPECT_TRUE(list.starts_with("page 1 2 0 0\nfont ") || list.starts_with("page 1 2 -0 -0\nfont ")) << list;
    EXPECT_TRUE(list.ends_with("\nglyph 200.000 240.000\nglyph 240.000 240.000\n")) << list;
}

}  // namespace
}  // namespace kvprint

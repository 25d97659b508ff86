// The built program, from a PDF file to what its job holds.

#include <set>

#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

// An L, whose corners are not all turns to one side, is filled by the rule of the PDF file.
TEST_F(Print, FillsUnderBothRulesAndThinOnes) {
    const std::string shape = "10 700 m 30 700 l 30 690 l 20 690 l 20 680 l 10 680 l ";
    const std::string entry =
        "fill path: length=28 path_flags=0 entries=[[7, [[20, 40], [60, 40], [60, 60], [40, 60], [40, 80], [20, 80]]]]";
    EXPECT_EQ(records_of("1 0 0 rg " + shape + "f\n" + shape + "f*\n0 0 1 rg 100 700 0.1 20 re f\n"),
              Lines({"drawing state: length=8 fill_brush=0x400000FF fill_rop=13 fill_mode=\"winding\"", entry,
                     "drawing state: length=3 fill_mode=\"alternate\"", entry,
                     "drawing state: length=6 fill_brush=0x40FF0000",
                     "rectangle fill: length=9 rop=0xF0 rect=[200, 0, 201, 40]"}));
}

// Triangles that lie over each other are run around in one sense: under the winding rule neither cuts a hole.
TEST_F(Print, PathsDrawnAlikeAreOne) {
    const std::string triangle = "10 700 m 20 700 l 10 680 l f ", other = "10 700 m 10 670 l 20 700 l f ";
    const std::string shape = "10 700 m 30 700 l 30 690 l 20 690 l 20 680 l f ", line = "10 10 m 20 10 l S ";
    const std::string apart = " 1 0 0 1 100 0 cm ", other_line = "15 5 m 15 15 l S ";
    const struct {
        std::string content;
        Lines entries;  // of each path
    } cases[] = {
        {triangle + other, {"[[15, [[20, 40], [40, 40], [20, 80]]], [15, [[20, 40], [40, 40], [20, 100]]]]"}},
        {triangle + "1 0 0 rg " + other,
         {"[[15, [[20, 40], [40, 40], [20, 80]]]]", "[[15, [[20, 40], [40, 40], [20, 100]]]]"}},
        {shape + apart + shape,
         {"[[7, [[20, 40], [60, 40], [60, 60], [40, 60], [40, 80]]], "
          "[7, [[220, 40], [260, 40], [260, 60], [240, 60], [240, 80]]]]"}},
        {shape + triangle,
         {"[[7, [[20, 40], [60, 40], [60, 60], [40, 60], [40, 80]]]]", "[[15, [[20, 40], [40, 40], [20, 80]]]]"}},
        {line + other_line, {"[[7, [[20, 1420], [40, 1420]]], [7, [[30, 1430], [30, 1410]]]]"}},
        {line + line, {"[[7, [[20, 1420], [40, 1420]]]]", "[[7, [[20, 1420], [40, 1420]]]]"}},
        {line + "2 w " + other_line, {"[[7, [[20, 1420], [40, 1420]]]]", "[[7, [[30, 1430], [30, 1410]]]]"}},
        {"[3 2] 0 d " + line + other_line, {"[[7, [[20, 1420], [40, 1420]]]]", "[[7, [[30, 1430], [30, 1410]]]]"}},
        // Under clips that do not cut them.
        {"1 0 0 1 100 100 cm q -20 -50 99 99 re W n " + line + "Q q -20 -40 98 98 re W n " + other_line + "Q",
         {"[[7, [[220, 1220], [240, 1220]]], [7, [[230, 1230], [230, 1210]]]]"}},
        {"q 0 0 17 99 re W n " + line + "Q " + other_line,
         {"[[7, [[20, 1420], [40, 1420]]]]", "[[7, [[30, 1430], [30, 1410]]]]"}},
        {line + "0 0 1 1 re f " + other_line, {"[[7, [[20, 1420], [40, 1420]]]]", "[[7, [[30, 1430], [30, 1410]]]]"}},
    };
    for (const auto& test : cases) {
        Lines entries;
        for (const std::string& record : records_of(test.content)) {
            const size_t at = record.find("entries=");
            if (at != std::string::npos) entries.push_back(record.substr(at + 8));
        }
        EXPECT_EQ(entries, test.entries) << test.content;
    }
}

TEST_F(Print, PensWithCapsJoinsMiterAndDashes) {
    EXPECT_EQ(records_of("3 w 1 J 1 j 7 M 10 10 m 20 10 l S\n"
                         "0 w 10 10 m 20 10 l S\n"
                         "2 w 0 J 0 j [3 2] 0 d 10 10 m 20 10 l S\n"
                         "[3 2] 1 d 10 10 m 20 10 l S\n"),
              Lines({"drawing state: length=16 end_cap=0 join=0 miter_limit=7 width=6 stroke_brush=0x80000004 "
                     "stroke_rop=13 style_mask=0x0 geometric=1",
                     "stroke path: length=12 path_flags=0 entries=[[7, [[20, 1420], [40, 1420]]]]",
                     "drawing state: length=4 width=1 geometric=0",
                     "stroke path: length=12 path_flags=0 entries=[[7, [[20, 1420], [40, 1420]]]]",
                     "drawing state: length=12 end_cap=2 join=2 width=4 style_mask=0xE geometric=1 dashes=[6, 4]",
                     "stroke path: length=12 path_flags=0 entries=[[7, [[20, 1420], [40, 1420]]]]",
                     "drawing state: length=3 style_mask=0x0",
                     "stroke path: length=32 path_flags=0 entries=[[7, [[20, 1420], [24, 1420]]], "
                     "[7, [[28, 1420], [34, 1420]]], [7, [[38, 1420], [40, 1420]]]]"}));
}

// Lines at one height, which lies on the edge of two pixels, are in one row, however the height was worked out.
TEST_F(Print, LinesThatMeetAreInTheSameRow) {
    pdf.width = 160;
    pdf.height = 80;
    for (const int height : {16, 18, 24, 36, 42}) {
        std::string moves, content;
        for (int tenths = height * 10; tenths > 0; tenths -= 3, moves += "1 0 0 1 0 0.3 cm ") {
            const std::string at = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
            content += "q " + moves + "10 " + at + " m 20 " + at + " l S Q\n";
        }
        const Lines records = records_of(content, "", "--set Resolution=288");
        const std::set<std::string> rows(records.begin() + 1, records.end());  // behind the drawing state
        EXPECT_EQ(rows.size(), 1u) << height << " " << *rows.begin();
    }
}

TEST_F(Print, ANegativeWidthCountsAsItsAbsoluteValue) {
    const std::string line = " w 10 10 m 20 10 l S";
    EXPECT_EQ(records_of("-3" + line), records_of("3" + line));
}

// A pen is as wide in every direction: this stroke is 4 pixels wide where it goes down, 12 where it goes across.
TEST_F(Print, StrokesUnderUnevenMatricesAreFilled) {
    EXPECT_EQ(
        records_of("q 1 0 0 3 0 0 cm 2 w 10 10 m 10 20 l S 100 10 m 120 10 l S Q"),
        Lines({"drawing state: length=8 fill_brush=0x80000004 fill_rop=13 fill_mode=\"winding\"",
               "fill path: length=38 path_flags=0 entries=[[15, [[18, 1320], [22, 1320], [22, 1380], [18, 1380]]], "
               "[15, [[200, 1374], [240, 1374], [240, 1386], [200, 1386]]]]"}));
}

TEST_F(Print, ClipsAreRectanglesOrTheirOutlines) {
    const std::string fill = " 0 0 720 720 re f ";
    EXPECT_EQ(
        records_of("q 10 700 20 10 re W n" + fill + "Q" + fill +
                   "q 10 700 m 20 700 l 20 695 l 30 695 l 30 690 l 10 690 l W n" + fill + "0 0 5 5 re W n" + fill +
                   "Q"),
        Lines({"rectangle clip: length=8 rects=[[20, 20, 60, 40]]", "drawing state: length=6 fill_brush=0x80000004",
               "rectangle fill: length=9 rop=0xF0 rect=[0, 0, 1440, 1440]", "clip reset: length=0",
               "rectangle fill: length=9 rop=0xF0 rect=[0, 0, 1440, 1440]",
               "path clip: length=28 path_flags=0 "
               "entries=[[15, [[20, 40], [40, 40], [40, 50], [60, 50], [60, 60], [20, 60]]]]",
               "rectangle fill: length=9 rop=0xF0 rect=[0, 0, 1440, 1440]"}));
}

TEST_F(Print, PapersOrientationAndMargins) {
    pdf.pages = {"0 0 72 72 re f"};
    pdf.page_entries = "/Rotate 90 /MediaBox [0 0 595 842]";
    workspace.write("in.pdf", pdf.text());
    job("--set MarginLeft=500 --set MarginTop=250");
    EXPECT_NE(run(workspace, "kvjob", "info out.kv").output.find("1684 x 1191 pixels, 297.0 x 210.1 mm"),
              std::string::npos);
    // The lower left corner has come to the upper left one, half an inch out of the printable area's left and a
    // quarter of its top.
    EXPECT_NE(run(workspace, "kvjob", "dump out.kv").output.find("rect=[-72, -36, 72, 108]"), std::string::npos);
}

TEST_F(Print, TheSameInputGivesTheSameBytesEverywhere) {
    pdf.pages = {"10 10 m 20 20 30 5 40 10 c f", "0 0 100 100 re S"};
    workspace.write("in.pdf", pdf.text());
    const std::string first = job();
    EXPECT_GT(first.size(), 100u);
    EXPECT_EQ(job(), first);
    EXPECT_NE(job("--pages 2"), first);
    const Workspace elsewhere;
    elsewhere.write("in.pdf", pdf.text());
    ASSERT_EQ(run(elsewhere, "kvprint", "./in.pdf -o ./deep.kv --set Resolution=144").exit_code, 0);
    EXPECT_EQ(read_file(elsewhere.path("deep.kv")), first);
}

TEST_F(Print, BadInputIsRefusedInOneLineAndLeavesNoJob) {
    PdfText good;
    good.pages = {"0 0 100 100 re f"};
    const std::string text = good.text();
    PdfText bad_stream = good;
    bad_stream.objects = {pdf_stream("/Filter /FlateDecode", "this does not inflate")};
    bad_stream.page_entries = "/Contents 10 0 R";
    std::string locked = text;
    locked.replace(locked.find("/Root"), 5,
                   "/ID [<00><00>] /Encrypt << /Filter /Standard /V 1 /R 2 /P -4 /O <" + std::string(64, '1') +
                       "> /U <" + std::string(64, '2') + "> >> /Root");
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"missing.pdf", "no such file", ""},
        {".", "not a file", ""},
        {"empty.pdf", "not a PDF file", ""},
        {"text.pdf", "not a PDF file", "A text and no PDF file.\n"},
        {"no-pages.pdf", "damaged: it has no pages", PdfText().text()},
        {"bad-stream.pdf", "damaged: no page can be read (page 1: contents damaged)", bad_stream.text()},
        {"locked.pdf", "encrypted: it needs a password (--password)", locked},
        {"good.pdf --pages 2,9999", "--pages 2,9999: the document has 1 page", ""},
    };
    workspace.write("good.pdf", text);
    workspace.write("empty.pdf", "");
    for (const auto& [name, message, content] : cases) {
        if (!content.empty()) workspace.write(name, content);
    }
    const auto before = workspace.names();
    for (const auto& [arguments, message, content] : cases) {
        const std::string all = arguments, input = all.substr(0, all.find(' '));
        const ProgramRun refused = run(workspace, "kvprint", all + " -o out.kv");
        EXPECT_EQ(refused.exit_code, 1) << all;
        EXPECT_EQ(refused.errors, "kvprint: " + input + ": " + message + "\n");
        EXPECT_EQ(workspace.names(), before) << all;
    }
    const ProgramRun unwritable = run(workspace, "kvprint", "good.pdf -o no/such/folder.kv");
    EXPECT_EQ(unwritable.exit_code, 1);
    EXPECT_EQ(unwritable.errors, "kvprint: cannot write no/such/folder.kv: No such file or directory\n");
}

// Wherever a file is cut off, what is left of it is printed with a warning or refused, and an older job of the name
// stays then.
TEST_F(Print, APartOfAFilePrintsAsFarAsItGoes) {
    PdfText good;
    good.pages = {"0 0 100 100 re f", "1 1 1 1 re f"};
    const std::string text = good.text();
    std::set<int> codes;
    for (size_t length = 0; length + 6 < text.size(); length += 97) {
        workspace.write("in.pdf", text.substr(0, length));
        workspace.write("out.kv", "an older job");
        const int code = run(workspace, "kvprint", "in.pdf -o out.kv").exit_code;
        codes.insert(code);
        const bool printed = workspace.read("out.kv") != "an older job";
        EXPECT_EQ(code, printed ? 3 : 1) << length;
        EXPECT_EQ(run(workspace, "kvprint", "in.pdf -o out.kv --strict").exit_code, 1) << length;
    }
    EXPECT_EQ(codes, std::set<int>({1, 3}));
    EXPECT_EQ(workspace.names(), Lines({"in.pdf", "out.kv"}));
}

}  // namespace
}  // namespace kvprint

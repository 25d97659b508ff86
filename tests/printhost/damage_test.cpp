// Documents with something wrong in them: what can be read is printed, and the rest is told.

#include "tests/common/plain_jpeg.h"
#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

struct Damage {
    const char* name;
    std::string content;               // of the first of two pages; the second is one rectangle
    std::string warnings;              // without the program's and the file's name
    std::vector<std::string> objects;  // from PdfText::kFirstObject
    std::string resources;
};

constexpr const char* kRectangle = "0 0 100 100 re f\n";

std::string image(const std::string& entries, const std::string& data) {
    return pdf_stream(
        "/Type /XObject /Subtype /Image /Width 8 /Height 8 /BitsPerComponent 8 /ColorSpace /DeviceGray " + entries,
        data);
}

// 8 by 8 bytes of 0 in one stored block; its Adler sum is 00 40 00 01.
std::string stored_zeros(const std::string& sum) {
    return std::string("\x78\x01\x01\x40\x00\xBF\xFF", 7) + std::string(64, '\0') + sum;
}

// Behind the start of its data nothing is left but one byte.
std::string cut_jpeg() {
    std::vector<unsigned char> samples(64);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<unsigned char>(i * 37);
    const std::vector<unsigned char> whole = plain_jpeg(samples, 8, 8, true, 90);
    const std::string bytes(whole.begin(), whole.end());
    constexpr size_t kScanHeader = 10;  // of one component
    return bytes.substr(0, bytes.find("\xFF\xDA") + kScanHeader + 1);
}

std::string junk() {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) bytes += static_cast<char>('A' + i * 7 % 26), bytes += i % 3 ? "" : " ";
    return bytes;
}

// Each shows the next one, which has the place of % in the resources, ten times.
std::vector<std::string> forms(int deep, const std::string& kind, std::string resources, const std::string& shows) {
    const size_t at = resources.find('%');
    std::vector<std::string> all;
    for (int i = 0; i < deep; ++i) {
        const std::string inner = std::to_string(PdfText::kFirstObject + i + 1) + " 0 R";
        const std::string own = i + 1 < deep ? std::string(resources).replace(at, 1, inner) : "";
        all.push_back(pdf_stream(kind + " /BBox [0 0 720 720] /Resources << " + own + " >>",
                                 i + 1 < deep ? shows : "0 0 5 5 re f"));
    }
    return all;
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

std::vector<Damage> damages() {
    const std::string show = std::string(kRectangle) + "q 100 0 0 100 200 200 cm /I Do Q\n" + kRectangle;
    const std::string images = "/XObject << /I 10 0 R >>";
    const std::string group = "/Type /XObject /Subtype /Form /Group << /S /Transparency >>";
    const std::string half = " /ExtGState << /H << /ca 0.5 >> >>";
    const std::string type3 =
        "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1 1] /FontMatrix [1 0 0 1 0 0] /FirstChar 65 /LastChar 65 "
        "/Widths [1] /Encoding << /Differences [65 /A] >> /CharProcs << /A 11 0 R >> "
        "/Resources << /Font << /F 10 0 R >> >> >>";
    return {
        {"unknown operator",
         std::string("1 2 bogus\n") + kRectangle,
         "page 1: drawing instruction not understood",
         {},
         {}},
        {"glued", "0 0 100 100re f\n0 0 50 50 ref\n", "page 1: drawing instruction not understood (2 times)", {}, {}},
        {"operator in TJ",
         std::string("BT [(a) Tj 3] TJ ET\n") + kRectangle,
         "page 1: drawing instruction not understood (2 times)",
         {},
         {}},
        {"no such state", std::string("/X gs\n") + kRectangle, "page 1: drawing instruction not understood", {}, {}},
        {"wrong sum", show, "", {image("/Filter /FlateDecode", stored_zeros(std::string("\0\0\0\0", 4)))}, images},
        {"cut Flate",
         show,
         "page 1: image damaged (Flate)",
         {image("/Filter /FlateDecode", stored_zeros("").substr(0, 40))},
         images},
        {"bad Flate block",
         show,
         "page 1: image damaged (Flate)",
         {image("/Filter /FlateDecode", "\x78\x01\xFF\xFF\xFF")},
         images},
        {"cut JPEG", show, "page 1: image damaged (JPEG)", {image("/Filter /DCTDecode", cut_jpeg())}, images},
        {"no image data", show, "page 1: image damaged", {image("", "")}, images},
        {"bad JBIG2",
         show,
         "page 1: image not decoded (JBIG2)",
         {image("/Filter /JBIG2Decode", std::string("\x97JB2\r\n\x1A\n\0\0\0\0", 12))},
         images},
        {"inline image without width",
         std::string(kRectangle) + "BI /W 0 /H 1 /BPC 8 /CS /G ID x EI\n" + kRectangle,
         "page 1: image not decoded",
         {},
         {}},
        {"image without width", show, "page 1: image not decoded", {image("/Width 0", "x")}, images},
        {"image of negative height", show, "page 1: image not decoded", {image("/Height -3", "x")}, images},
        {"image without a stream",
         show,
         "page 1: image not decoded",
         {"<< /Type /XObject /Subtype /Image /Width 8 /Height 8 /BitsPerComponent 8 /ColorSpace /DeviceGray >>"},
         images},
        {"bad JPEG 2000", show, "page 1: image not decoded (JPEG 2000)", {image("/Filter /JPXDecode", "no")}, images},
        {"glyph that shows itself",
         std::string(kRectangle) + "BT /F 9 Tf (A) Tj ET\n" + kRectangle,
         "page 1: the rest of its contents cannot be read",
         {type3, pdf_stream("", "1 0 d0 0 0 1 1 re f BT /F 1 Tf (A) Tj ET")},
         "/Font << /F 10 0 R >>"},
        {"forms that show each other", kRectangle + std::string("/I Do ") + kRectangle,
         "page 1: the rest of it is left out: what it shows repeats itself without end",
         forms(12, "/Type /XObject /Subtype /Form", "/XObject << /I % >>", repeated("/I Do ", 10)), images},
        {"patterns of patterns", kRectangle + std::string("/Pattern cs /I scn 0 0 720 720 re f "),
         "page 1: the rest of it is left out: what it shows repeats itself without end",
         forms(12, "/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /XStep 720 /YStep 720",
               "/Pattern << /I % >>", "/Pattern cs /I scn " + repeated("0 0 720 720 re f ", 10)),
         "/Pattern << /I 10 0 R >>"},
        {"groups of groups", kRectangle + std::string("/H gs /I Do "),
         "page 1: the rest of it is left out: what it shows repeats itself without end",
         forms(12, group, half + " /XObject << /I % >>", "/H gs " + repeated("0 0 9 9 re f /I Do ", 10)),
         images + half},
        {"masks of masks", kRectangle + std::string("/S gs 0 0 720 720 re f "),
         "page 1: the rest of it is left out: what it shows repeats itself without end",
         forms(12, group, "/ExtGState << /S << /SMask << /Type /Mask /S /Luminosity /G % >> >> >>",
               "/S gs " + repeated("0 0 720 720 re f ", 10)),
         "/ExtGState << /S << /SMask << /Type /Mask /S /Luminosity /G 10 0 R >> >> >>"},
        {"a group of many fills of the page",
         kRectangle + std::string("/H gs /I Do "),
         "page 1: some of it is drawn coarser than it is: too much is to be rendered",
         {pdf_stream(group + " /BBox [0 0 720 720]", repeated("0 0 720 720 re f ", 400))},
         images + half},
        {"contents are no drawing",
         std::string(kRectangle) + junk(),
         "page 1: contents damaged\nkvprint: in.pdf: page 1: drawing instruction not understood (100 times)",
         {},
         {}},
    };
}

TEST_F(Print, DamageIsToldAndTheRestIsPrinted) {
    for (const Damage& damage : damages()) {
        pdf.pages = {damage.content, kRectangle};
        pdf.objects = damage.objects;
        pdf.resources = damage.resources;
        workspace.write("in.pdf", pdf.text());
        const ProgramRun printed = run(workspace, "kvprint", "in.pdf -o out.kv --quiet");
        EXPECT_EQ(printed.exit_code, damage.warnings.empty() ? 0 : 3) << damage.name;
        EXPECT_EQ(printed.errors, damage.warnings.empty() ? "" : "kvprint: in.pdf: " + damage.warnings + "\n")
            << damage.name;
        EXPECT_EQ(run(workspace, "kvjob", "check out.kv").exit_code, 0) << damage.name;
        EXPECT_EQ(run(workspace, "kvprint", "in.pdf -o no.kv --strict --quiet").exit_code,
                  damage.warnings.empty() ? 0 : 1)
            << damage.name;
    }
}

std::string bytes_of(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += hex[i] == ' ' ? 1 : 2) {
        if (hex[i] != ' ') bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// What not every decoder of JBIG2 can do: it is drawn, or told, and the rest of the page is there in any case. Segments
// are number, kind, none referred to, page and length, then data; the first tells of a page of 8 by 8 pixels. Regions
// begin with width, height, left, top and operation.
TEST_F(Print, RareFeaturesOfJbig2) {
    const std::string page = "00000000 30 00 01 00000013 00000008 00000008 00000000 00000000 00 0000 ",
                      region = "00000008 00000008 00000000 00000000 00 ",
                      refined = "00000001 2A 00 01 0000001A " + region + "02 FFFF FFFF 55AA55AA ",
                      template_pixels = "00000001 26 00 01 0000001E " + region + "00 05FE FDF0 02FE FE05 55AA55AA ",
                      huffman = "00000001 00 00 01 0000000F 0003 FFFF FFFF 00000001 00000001 55 ",
                      plain = "00000001 26 00 01 00000018 " + region + "06 02FF 55AA55AA ";
    const std::pair<const char*, std::string> cases[] = {
        {"refinement with typical prediction", page + refined},
        {"template pixels of its own", page + template_pixels},
        {"Huffman codes with refinement", page + huffman},
        {"a file's header", "974A42320D0A1A0A 01 00000001 " + page + plain},
    };
    for (const auto& [name, hex] : cases) {
        pdf.pages = {std::string(kRectangle) + "q 100 0 0 100 200 200 cm /I Do Q 300 300 50 50 re f", kRectangle};
        pdf.resources = "/XObject << /I 10 0 R >>";
        pdf.objects = {
            pdf_stream("/Type /XObject /Subtype /Image /Width 8 /Height 8 /BitsPerComponent 1 /ColorSpace /DeviceGray "
                       "/Filter /JBIG2Decode",
                       bytes_of(hex))};
        workspace.write("in.pdf", pdf.text());
        const ProgramRun printed = run(workspace, "kvprint", "in.pdf -o out.kv --quiet --set Resolution=144");
        EXPECT_TRUE(printed.exit_code == 0 || printed.exit_code == 3) << name << printed.exit_code;
        EXPECT_EQ(printed.errors, printed.exit_code == 0 ? "" : "kvprint: in.pdf: page 1: image not decoded (JBIG2)\n")
            << name;
        const std::string dump = run(workspace, "kvjob", "dump out.kv").output;
        EXPECT_NE(dump.find("rect=[600, 740, 700, 840]"), std::string::npos) << name;
        EXPECT_NE(dump.find("rect=[0, 1240, 200, 1440]", dump.find("page end")), std::string::npos) << name;
        EXPECT_EQ(dump.find("bitmap") != std::string::npos, printed.exit_code == 0) << name;
    }
}

// What a file claims of itself is not what it holds.
TEST_F(Print, DamageOfTheFileItself) {
    pdf.pages = {kRectangle, kRectangle};
    const std::string whole = pdf.text(), count = "/Count 2", kids = "/Kids [10 0 R 12 0 R ]", start = "startxref\n";
    auto with = [&](const std::string& what, const std::string& instead) {
        std::string text = whole;
        return text.replace(text.find(what), what.size(), instead);
    };
    auto cut = [&](const std::string& from) { return whole.substr(0, whole.find(from)); };
    const std::string tree = "the page tree is damaged: pages may be missing", end = "the end of the file is missing";
    const struct {
        const char* name;
        std::string file;
        size_t pages;
        std::string warning;
    } cases[] = {
        {"a count of pages that no file holds", with(count, "/Count 9999999999"), 2, ""},
        {"a negative count", with(count, "/Count -2"), 2, ""},
        {"a count of fewer pages", with(count, "/Count 1"), 2, ""},
        {"a tree that turns back", with(kids, "/Kids [10 0 R 2 0 R 12 0 R]"), 2, tree},
        {"a page that is there twice", with(kids, "/Kids [10 0 R 12 0 R 10 0 R]"), 3, ""},
        {"a missing page", with(kids, "/Kids [10 0 R 99 0 R 12 0 R]"), 2, tree},
        {"a wrong place of the table", with(start, start + "9"), 2, ""},
        {"no end mark", cut("%%EOF"), 2, ""},
        {"no table", cut("trailer"), 2, ""},
        {"bytes behind the end", whole + std::string(5000, '\0'), 2, ""},
        {"cut between objects", cut("13 0 obj"), 2, end + "\nkvprint: in.pdf: page 2: contents damaged"},
    };
    for (const auto& each : cases) {
        workspace.write("in.pdf", each.file);
        const ProgramRun printed = run(workspace, "kvprint", "in.pdf -o out.kv", address_space_limit(1000000));
        EXPECT_EQ(printed.exit_code, each.warning.empty() ? 0 : 3) << each.name;
        EXPECT_EQ(printed.errors, each.warning.empty() ? "" : "kvprint: in.pdf: " + each.warning + "\n") << each.name;
        EXPECT_EQ(printed.output.find("out.kv: " + std::to_string(each.pages) + " pages"), 0u)
            << each.name << printed.output;
    }
}

}  // namespace
}  // namespace kvprint

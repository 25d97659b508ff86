// Images, translucent drawing and what is drawn as images, as the jobs hold them.

#include <sstream>

#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

// An inline image of hexadecimal samples.
std::string image(const std::string& place, const std::string& entries, const std::string& samples) {
    return "q " + place + " cm BI " + entries + " /F /AHx ID " + samples + "> EI Q\n";
}
std::string drawn(const std::string& place, const std::string& name) {
    return "q " + place + " cm /" + name + " Do Q\n";
}

// The bytes of hexadecimal digits.
std::string samples(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += hex[i] == ' ' ? 1 : 2) {
        if (hex[i] != ' ') bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}
// An image object of 2 x 1 pixels.
std::string image_object(const std::string& entries, const std::string& hex) {
    return pdf_stream("/Type /XObject /Subtype /Image /Width 2 /Height 1 " + entries, samples(hex));
}

// The pixel of that number has about the components of a colour with alpha; renderers round.
bool is_near(const std::string& pixels, size_t number, const std::string& colour) {
    std::istringstream words(pixels);
    std::string word;
    for (size_t i = 0; words >> word;) {
        if (word == "|" || i++ < number) continue;
        for (size_t at = 0; at < colour.size(); at += 2) {
            const int wanted = std::stoi(colour.substr(at, 2), nullptr, 16);
            if (std::abs(std::stoi(word.substr(at, 2), nullptr, 16) - wanted) > 2) return false;
        }
        return word.size() == colour.size();
    }
    return false;
}

std::string field(const std::string& record, const std::string& name) {
    const size_t at = record.find(" " + name + "=");
    if (at == std::string::npos) return "";
    const size_t start = at + name.size() + 2;
    return record.substr(start,
                         record[start] == '[' ? record.find(']', start) + 1 - start : record.find(' ', start) - start);
}

// The first words of the records and what they hold of these fields, without drawing states.
Lines kinds(const Lines& records, const std::vector<std::string>& names = {}) {
    Lines kinds;
    for (const std::string& record : records) {
        if (record.starts_with("drawing state")) continue;
        kinds.push_back(record.substr(0, record.find(':')));
        for (const std::string& name : names) {
            if (const std::string value = field(record, name); !value.empty()) kinds.back() += " " + value;
        }
    }
    return kinds;
}

TEST_F(Print, ImagesKeepTheirKindOfPixels) {
    const Lines records =
        records_of(image("2 0 0 2 10 700", "/W 2 /H 2 /CS /RGB /BPC 8", "FF0000 00FF00 0000FF 123456") +
                       image("2 0 0 1 20 700", "/W 2 /H 1 /CS /G /BPC 8", "4080") +
                       image("2 0 0 1 30 700", "/W 2 /H 1 /CS /G /BPC 1", "40") +
                       image("4 0 0 1 40 700", "/W 4 /H 1 /CS [/I /RGB 3 <FF0000 00FF00 0000FF 102030>] /BPC 2", "1B") +
                       image("2 0 0 1 50 700", "/W 2 /H 1 /CS /CMYK /BPC 8", "00000000 00000080"),
                   "");
    EXPECT_EQ(kinds(records, {"rop", "target"}),
              Lines({"bitmap 0xCC [20, 36, 24, 40]", "bitmap 0xCC [40, 38, 44, 40]", "bitmap 0xCC [60, 38, 64, 40]",
                     "bitmap 0xCC [80, 38, 88, 40]", "bitmap 0xCC [100, 38, 104, 40]"}));
    EXPECT_EQ(images(), Lines({"FF0000 00FF00 | 0000FF 123456", "404040 808080", "000000 FFFFFF",
                               "FF0000 00FF00 0000FF 102030", "FFFFFF 7F7F7F"}));
}

// Turned by quarters and mirrored, the samples are given in the order in which they lie on the page.
TEST_F(Print, ImagesLieAsTheMatrixSays) {
    const std::string colours = "/W 2 /H 2 /CS /RGB /BPC 8", abcd = "0A0A0A 0B0B0B 0C0C0C 0D0D0D";
    const char* const matrices[] = {"2 0 0 2",  "0 2 -2 0", "-2 0 0 -2", "0 -2 2 0",
                                    "-2 0 0 2", "2 0 0 -2", "0 2 2 0",   "0 -2 -2 0"};
    std::string content;
    for (int i = 0; i < 8; ++i) {
        content += image(matrices[i] + (" " + std::to_string(10 * i + 10)) + " 700", colours, abcd);
    }
    records_of(content);
    const std::string a = "0A0A0A", b = "0B0B0B", c = "0C0C0C", d = "0D0D0D";
    auto square = [](auto& left_top, auto& right_top, auto& left_bottom, auto& right_bottom) {
        return left_top + " " + right_top + " | " + left_bottom + " " + right_bottom;
    };
    EXPECT_EQ(images(), Lines({square(a, b, c, d), square(b, d, a, c), square(d, c, b, a), square(c, a, d, b),
                               square(b, a, d, c), square(c, d, a, b), square(d, b, c, a), square(a, c, b, d)}));
}

TEST_F(Print, LargeImagesInBandsAreOneImage) {
    pdf.objects = {
        pdf_stream("/Type /XObject /Subtype /Image /Width 3000 /Height 3000 /ColorSpace /DeviceGray "
                   "/BitsPerComponent 1",
                   std::string(375 * 3000, '\x55'))};
    const Lines records = records_of(drawn("72 0 0 72 0 648", "I"), "/XObject << /I 10 0 R >>");
    EXPECT_EQ(kinds(records, {"source", "target", "bits"}), Lines({"bitmap [0, 0, 3000, 3000] [0, 0, 144, 144] 1"}));
}

TEST_F(Print, StencilsPaintWhereTheyAreBlack) {
    const Lines records = records_of("1 0 0 rg " + image("4 0 0 1 10 700", "/W 4 /H 1 /IM true", "50"), "");
    EXPECT_EQ(records.at(0), "drawing state: length=6 fill_brush=0x400000FF");
    EXPECT_EQ(kinds(records, {"rop", "target"}), Lines({"bitmap 0xB8 [20, 38, 28, 40]"}));
    EXPECT_EQ(images(), Lines({"000000 FFFFFF 000000 FFFFFF"}));
}

TEST_F(Print, MasksOfImages) {
    const std::string colours = "/ColorSpace /DeviceRGB /BitsPerComponent 8";
    pdf.objects = {
        image_object(colours + " /SMask 11 0 R", "FF0000 00FF00"),
        image_object("/ColorSpace /DeviceGray /BitsPerComponent 8", "80FF"),
        image_object(colours + " /Mask 13 0 R", "FF0000 00FF00"),
        image_object("/ImageMask true /BitsPerComponent 1", "40"),
        image_object(colours + " /Mask [0 10 200 255 0 10]", "FF0000 00FF00"),
        pdf_stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /SMask 11 0 R " + colours, samples("0000FF")),
    };
    const Lines records = records_of(drawn("2 0 0 1 10 700", "S") + drawn("2 0 0 1 20 700", "M") +
                                         drawn("2 0 0 1 30 700", "K") + drawn("2 0 0 1 40 700", "L"),
                                     "/XObject << /S 10 0 R /M 12 0 R /K 14 0 R /L 15 0 R >>");
    EXPECT_EQ(kinds(records, {"alpha_format", "alpha"}),
              Lines({"alpha blend 1 255", "masked image", "alpha blend 1 255", "alpha blend 1 255"}));
    // Colours are multiplied by their alpha; where a mask's bit is 1 the image is drawn.
    EXPECT_EQ(images(),
              Lines({"80000080 00FF00FF", "FF0000 00FF00", "FF 00", "FF0000FF 00000000", "00008080 0000FFFF"}));
}

TEST_F(Print, TranslucentDrawingBlendsOverContentOnly) {
    const Lines records = records_of(
        "/H gs 0 0 1 rg 0 0 10 10 re f 5 5 10 10 re f\n"  // the first on white paper, the second over it
        "0 100 m 10 100 l 0 110 l f 0 100 m 10 100 l 0 110 l f\n"
        "4 w 100 100 m 120 100 l S 110 90 m 110 110 l S\n",
        "/ExtGState << /H << /ca 0.5 /CA 0.5 >> >>");
    EXPECT_EQ(kinds(records), Lines({"rectangle fill", "alpha blend", "fill path", "path clip", "alpha blend",
                                     "clip reset", "stroke path", "alpha blend"}));
    EXPECT_EQ(records.at(0), "drawing state: length=6 fill_brush=0x40FF8080");  // half blue on white
    EXPECT_EQ(records.at(1), "rectangle fill: length=9 rop=0xF0 rect=[0, 1420, 20, 1440]");
    EXPECT_EQ(field(records.at(2), "alpha"), "128");
    EXPECT_EQ(field(records.at(2), "source"), "[0, 0, 1, 1]");
    EXPECT_EQ(field(records.at(2), "target"), "[10, 1410, 30, 1430]");
    EXPECT_EQ(field(records.back(), "target"), "[216, 1220, 224, 1260]");
    EXPECT_EQ(images(), Lines({"0000FF", "0000FF", "000000"}));
}

TEST_F(Print, WhatHasNoWordsIsAnImage) {
    const std::string shading =
        "/Shading << /A << /ShadingType 2 /ColorSpace /DeviceRGB /Coords [0 0 720 0] /Function << "
        "/FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [1 0 0] /N 1 >> >> >>";
    Lines records = records_of("q 10 10 20 10 re W n /A sh Q", shading);
    EXPECT_EQ(kinds(records, {"target"}), Lines({"bitmap [20, 1400, 60, 1420]"}));
    EXPECT_EQ(messages.substr(messages.find("\n") + 1), "  drawn otherwise: 1 shadings as images\n");

    // Turned by 45 degrees: the corners of its box stay free.
    records = records_of(image("10 10 -10 10 100 100", "/W 1 /H 1 /CS /RGB /BPC 8", "00FF00"));
    EXPECT_EQ(kinds(records, {"target"}), Lines({"alpha blend [180, 1200, 220, 1240]"}));
    const Lines pixels = images();
    EXPECT_EQ(pixels.at(0).substr(0, 9), "00000000 ");
    EXPECT_NE(pixels.at(0).find("00FF00FF"), std::string::npos);
}

// 200 device pixels a pixel: its colour is that of its centre and what lies outside of that.
TEST_F(Print, EnlargedImagesAreSmoothWhereTheyAskForIt) {
    const std::string two = "/W 2 /H 1 /CS /G /BPC 8 /I ";
    records_of(image("200 0 0 100 100 100", two + "false", "00FF"));
    EXPECT_EQ(images(), Lines({"000000 FFFFFF"}));
    records_of(image("200 0 0 100 100 100", two + "true", "00FF"));
    EXPECT_TRUE(is_near(images().at(0), 50, "000000"));
    EXPECT_TRUE(is_near(images().at(0), 201, "808080"));  // of 400 across
    EXPECT_TRUE(is_near(images().at(0), 350, "FFFFFF"));
}

// A mask of 400 pixels over 4 of the device: each is the average of a hundred.
TEST_F(Print, MasksFinerThanTheDeviceAreAveraged) {
    std::string mask;
    for (int i = 0; i < 400; ++i) mask += i % 2 ? '\0' : i < 200 ? '\x40' : '\x80';
    pdf.objects = {
        image_object("/ColorSpace /DeviceRGB /BitsPerComponent 8 /SMask 11 0 R", "FF0000 00FF00"),
        pdf_stream("/Type /XObject /Subtype /Image /Width 400 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8",
                   mask)};
    records_of(drawn("2 0 0 1 10 700", "I"), "/XObject << /I 10 0 R >>");
    for (const auto& [pixel, colour] : {std::pair(0, "20000020"), {1, "20000020"}, {2, "00400040"}, {3, "00400040"}}) {
        EXPECT_TRUE(is_near(images().at(0), static_cast<size_t>(pixel), colour)) << images().at(0);
    }
}

TEST_F(Print, GroupsAndSoftMasks) {
    const std::string form = "/Type /XObject /Subtype /Form /BBox [0 0 720 720] /Group << /S /Transparency >> ";
    pdf.objects = {
        pdf_stream(form, "0 0 1 rg 0 0 10 10 re f"),
        pdf_stream(form, "0 0 1 rg 0 0 10 10 re f 5 5 10 10 re f"),
        pdf_stream(form + "/Resources << >> ", "0.5 g 0 0 10 10 re f"),
    };
    const std::string resources =
        "/XObject << /One 10 0 R /Two 11 0 R >> /ExtGState << /H << /ca 0.5 >> "
        "/S << /SMask << /Type /Mask /S /Luminosity /G 12 0 R >> >> >>";
    // One drawing of a translucent group is drawn with its alpha.
    EXPECT_EQ(records_of("/H gs /One Do", resources),
              Lines({"drawing state: length=6 fill_brush=0x40FF8080",
                     "rectangle fill: length=9 rop=0xF0 rect=[0, 1420, 20, 1440]"}));
    // Several are blended as one.
    EXPECT_EQ(kinds(records_of("/H gs /Two Do", resources)), Lines({"alpha blend"}));
    // 30 pixels square: first the second rectangle alone, then both.
    EXPECT_TRUE(is_near(images().at(0), 0, "00000000"));
    EXPECT_TRUE(is_near(images().at(0), 15, "00008080"));
    EXPECT_TRUE(is_near(images().at(0), 15 * 30 + 15, "00008080"));
    EXPECT_EQ(kinds(records_of("/S gs 1 0 0 rg 0 0 720 720 re f", resources)), Lines({"alpha blend"}));
    EXPECT_TRUE(is_near(images().at(0), 0, "80000080"));
}

TEST_F(Print, BlendModesShowTheirEffect) {
    const std::string resources = "/ExtGState << /M << /BM /Multiply >> >>";
    // On white paper a product is the colour itself.
    EXPECT_EQ(records_of("/M gs 1 0 0 rg 0 0 10 10 re f", resources),
              Lines({"drawing state: length=6 fill_brush=0x400000FF",
                     "rectangle fill: length=9 rop=0xF0 rect=[0, 1420, 20, 1440]"}));
    // Over yellow, cyan turns green; what lies beside the yellow is cyan, and nothing else is touched.
    const Lines records = records_of("1 1 0 rg 0 0 10 10 re f /M gs 0 1 1 rg 5 5 10 5 re f", resources);
    EXPECT_EQ(kinds(records, {"target"}), Lines({"rectangle fill", "bitmap [10, 1420, 30, 1430]"}));
    std::string row;
    for (int x = 0; x < 20; ++x) row += x < 10 ? "00FF00 " : "00FFFF ";
    EXPECT_TRUE(images().at(0).starts_with(row + "| ")) << images().at(0);
}

TEST_F(Print, PatternsOfFewTilesAreDrawnTileByTile) {
    pdf.objects = {
        pdf_stream("/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 5 5] /XStep 10 /YStep 10 "
                   "/Resources << >> ",
                   "1 0 0 rg 0 0 5 5 re f")};
    const std::string resources = "/Pattern << /P 10 0 R >>", fill = "/Pattern cs /P scn ";
    EXPECT_EQ(kinds(records_of(fill + "0 0 20 10 re f", resources)), Lines({"rectangle fill", "rectangle fill"}));
    EXPECT_EQ(kinds(records_of(fill + "0 0 720 720 re f", resources)), Lines({"alpha blend"}));
}

}  // namespace
}  // namespace kvprint

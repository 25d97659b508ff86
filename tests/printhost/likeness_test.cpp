// Jobs drawn beside what MuPDF draws: blends, groups, masks, patterns, images and letters that the printer interface
// has no words for.

#include <mupdf/fitz.h>

#include <array>
#include <cmath>
#include <map>
#include <memory>

#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

using Context = std::unique_ptr<fz_context, decltype(&fz_drop_context)>;

// A page of 4 by 4 scenes of 40 points, drawn with 16 pixels a point.
constexpr int kCell = 40, kAcross = 4, kPage = kCell * kAcross, kPixels = 4, kDots = 72 * kPixels;
constexpr size_t kCells = kAcross * kAcross;

// The mean colour of each point; drops the pixmap.
std::vector<std::array<double, 3>> points_of(fz_context* context, fz_pixmap* pixmap) {
    std::vector<std::array<double, 3>> points(kPage * kPage);
    constexpr int kSide = kPage * kPixels;
    EXPECT_GE(std::min(pixmap->w, pixmap->h), kSide);  // papers are whole tenths of a millimetre
    EXPECT_EQ(pixmap->n, 3);
    for (int at = 0; at < kSide * kSide; ++at) {
        const int x = at % kSide, y = at / kSide;
        auto& point = points.at(static_cast<size_t>(y / kPixels * kPage + x / kPixels));
        for (size_t i = 0; i < 3; ++i) point[i] += pixmap->samples[y * pixmap->stride + x * 3 + static_cast<int>(i)];
    }
    for (auto& point : points) {
        for (double& sum : point) sum /= kPixels * kPixels;
    }
    fz_drop_pixmap(context, pixmap);
    return points;
}

class Likeness : public Print {
protected:
    void add(const std::string& kind, const std::string& name, const std::string& object) {
        named[kind] += "/" + name + " " + std::to_string(PdfText::kFirstObject + pdf.objects.size()) + " 0 R ";
        pdf.objects.push_back(object);
    }
    void add_image(const std::string& name, const std::string& entries, std::string_view samples) {
        add("XObject", name,
            pdf_stream("/Type /XObject /Subtype /Image /BitsPerComponent 8 " + entries, std::string(samples)));
    }
    void add_form(const std::string& name, const std::string& entries, const std::string& content) {
        add("XObject", name,
            pdf_stream("/Type /XObject /Subtype /Form /BBox [0 0 40 40] /Group << /S /Transparency " + entries + " >>",
                       content));
    }

    void add_pattern(const std::string& name, const std::string& entries, const std::string& content) {
        add("Pattern", name,
            pdf_stream("/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 10 10] /XStep 10 /YStep 10 "
                       "/Resources << >> " +
                           entries,
                       content));
    }

    void SetUp() override {
        const std::string two = "/Width 2 /Height 2 ";
        add_image("Mask", two + "/ColorSpace /DeviceGray", "\xF0\x60\x90\x20");
        add_image("I", two + "/ColorSpace /DeviceRGB", "\xF0\x20\x40\x20\xE0\x40\x30\x50\xD0\xF0\xE0\x20");
        add_image("M", two + "/ColorSpace /DeviceRGB /SMask 10 0 R",
                  "\xF0\xF0\xF0\x20\x20\xE0\x90\x10\x10\x40\xE0\x20");
        add_form("Soft", "/CS /DeviceGray", "q 5 5 30 30 re W n /G sh Q");  // 13
        const char* const kinds[][2] = {
            {"Plain", ""}, {"Isolated", "/I true"}, {"Knockout", "/K true"}, {"Both", "/I true /K true"}};
        for (const auto& [name, entries] : kinds) add_form(name, entries, kContent);
        named["Font"] = "/F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >>";
        const std::string ramp = "<< /ShadingType 2 /Extend [true true] /Coords [5 5 35 5] ";
        auto function = [](const char* from, const char* to) {
            return std::string("/Function << /FunctionType 2 /Domain [0 1] /N 1 /C0 [") + from + "] /C1 [" + to +
                   "] >> >> ";
        };
        named["Shading"] = "/A " + ramp + "/ColorSpace /DeviceRGB " + function("1 0.8 0", "0 0.2 1") + "/G " + ramp +
                           "/ColorSpace /DeviceGray " + function("0", "1");
        const std::string mask = "<< /SMask << /Type /Mask /G 13 0 R /S ";
        named["ExtGState"] = "/Half << /ca 0.5 /CA 0.5 >> /Light " + mask + "/Luminosity >> >> /Lit " + mask +
                             "/Luminosity /BC [1] >> >> /Alpha " + mask + "/Alpha >> >> ";
    }

    // How far the means of three by three points of each scene are from MuPDF's, of 255.
    std::vector<double> differences(const std::vector<std::string>& scenes) {
        std::string content;
        for (size_t i = 0; i < scenes.size(); ++i) {
            content += "q 1 0 0 1 " + std::to_string(i % kAcross * kCell) + " " + std::to_string(i / kAcross * kCell) +
                       " cm " + scenes[i] + " Q\n";
        }
        pdf.resources.clear();
        for (const auto& [kind, names] : named) pdf.resources += "/" + kind + " << " + names + " >> ";
        pdf.width = pdf.height = kPage;
        records_of(content, pdf.resources, "--set Compression=0x10 --set Resolution=" + std::to_string(kDots));
        EXPECT_EQ(run(workspace, "kvjob", "render -r " + std::to_string(kDots) + " -o %d.png out.kv").exit_code, 0);
        const Context owned(fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT), fz_drop_context);
        fz_context* const context = owned.get();
        fz_register_document_handlers(context);
        fz_image* image = fz_new_image_from_file(context, workspace.path("1.png").c_str());
        got = points_of(context, fz_get_pixmap_from_image(context, image, nullptr, nullptr, nullptr, nullptr));
        fz_drop_image(context, image);
        fz_document* document = fz_open_document(context, workspace.path("in.pdf").c_str());
        const auto wanted =
            points_of(context, fz_new_pixmap_from_page_number(context, document, 0, fz_scale(kPixels, kPixels),
                                                              fz_device_rgb(context), 0));
        fz_drop_document(context, document);
        std::vector<double> most(kCells);
        for (int y = 1; y + 1 < kPage; ++y) {
            for (int x = 1; x + 1 < kPage; ++x) {
                double& worst = most[static_cast<size_t>((kPage - 1 - y) / kCell * kAcross + x / kCell)];
                for (size_t component = 0; component < 3; ++component) {
                    double sum = 0;
                    for (int i = 0; i < 9; ++i) {
                        const auto at = static_cast<size_t>((y + i / 3 - 1) * kPage + x + i % 3 - 1);
                        sum += got[at][component] - wanted[at][component];
                    }
                    worst = std::max(worst, std::abs(sum / 9));
                }
            }
        }
        most.resize(scenes.size());
        return most;
    }

    // Images, text, fills and lines, some translucent; what lies under them.
    static constexpr const char* kContent =
        " /Half gs 0.9 0.3 0.1 rg 2 2 20 20 re f q 18 0 0 18 15 15 cm /M Do Q "
        "BT /F 18 Tf 0 0.3 0.9 rg 12 5 Td (Be) Tj ET 0.2 0.8 0.7 RG 3 w 5 35 m 35 8 l S";
    static constexpr const char* kUnder =
        "q 30 0 0 30 5 5 cm /I Do Q q BT /F 20 Tf 0.2 0.5 0.1 rg 3 12 Td (Ag) Tj ET Q ";
    std::map<std::string, std::string> named;
    std::vector<std::array<double, 3>> got;  // the points of the job's page, from its top
};

TEST_F(Likeness, EveryBlendModeInEveryGroup) {
    const std::vector<std::string> modes = {
        "Normal",    "Multiply",  "Screen",     "Overlay",   "Darken", "Lighten",    "ColorDodge", "ColorBurn",
        "HardLight", "SoftLight", "Difference", "Exclusion", "Hue",    "Saturation", "Color",      "Luminosity"};
    for (const std::string& mode : modes) named["ExtGState"] += "/" + mode + " << /BM /" + mode + " >> ";
    const std::string twice = "0.5 0.5 0.9 rg 8 8 20 20 re f /Multiply gs";
    add_form("InIsolated", "/I true", twice + kContent);
    add_form("InPlain", "", twice + kContent);
    add_form("InKnockout", "/K true", twice + kContent);
    add_form("Masked", "", std::string("/Light gs") + kContent);
    for (const char* form :
         {"Plain", "Isolated", "Knockout", "Both", "InIsolated", "InPlain", "InKnockout", "Masked"}) {
        std::vector<std::string> scenes;
        for (const std::string& mode : modes) scenes.push_back(kUnder + ("/" + mode) + " gs /" + form + " Do");
        const std::vector<double> found = differences(scenes);
        for (size_t i = 0; i < found.size(); ++i) {
            // A plain group in the normal mode is drawn straight, in whole pixels.
            EXPECT_LT(found[i], i == 0 ? 12 : 3) << form << " " << modes[i];
        }
    }
}

TEST_F(Likeness, MasksAndAlphaOverPicturesAndText) {
    const std::vector<std::string> drawings = {"0.1 0.1 0.8 rg 2 2 36 36 re f",
                                               "q 36 0 0 36 2 2 cm /M Do Q",
                                               "BT /F 30 Tf 2 10 Td (Be) Tj ET",
                                               "/A sh",
                                               "/Plain Do",
                                               "/Isolated Do",
                                               "/Knockout Do",
                                               "/Both Do",
                                               kContent};
    for (const char* state : {"/Light gs ", "/Lit gs ", "/Alpha gs ", "/Half gs "}) {
        std::vector<std::string> scenes;
        for (const std::string& drawing : drawings) scenes.push_back(kUnder + (state + drawing));
        const std::vector<double> found = differences(scenes);
        for (size_t i = 0; i < found.size(); ++i) {
            // Edges in a group that knocks out.
            EXPECT_LT(found[i], scenes[i].ends_with("/Knockout Do") ? 18 : 10) << scenes[i];
        }
    }
}

TEST_F(Likeness, PatternsImagesAndLetters) {
    std::string ramp(2000 * 2000, '\0');
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<char>(i % 2000 / 8);
    const std::string own = std::to_string(PdfText::kFirstObject + pdf.objects.size()) + " 0 R";
    add_image("Huge", "/Width 2000 /Height 2000 /ColorSpace /DeviceGray", ramp);
    add_image("B", "/Width 1 /Height 1 /ColorSpace /DeviceRGB /SMask " + own, "\xF0\x20\x40");
    add_image("J", "/Width 2 /Height 1 /ColorSpace /DeviceGray /Interpolate true", "\x20\xE0");
    const std::string lines = "1 0 0 RG 2 w 0 0 m 10 0 l 0 0 m 0 10 l 0 0 m 10 10 l S";
    add_pattern("Edge", "", lines);
    add_pattern("Through", "/Matrix [0.37 0 0 0.37 0.1 0.1]",
                "1.3 w -5 -5 m 15 15 l S -5 5 m 5 15 l S 5 -5 m 15 5 l S");
    add_pattern("Turned", "/Matrix [0.7 0.4 -0.4 0.7 0 0]", "0.3 0.6 0.1 rg 0 0 10 10 re f");
    add_pattern("Fine", "", "0.5 w 0 0 m 10 10 l S 10 0 m 0 10 l S");
    const std::string tiled = "/Pattern cs /", filled = " scn 3 3 34 34 re f";
    const std::pair<std::string, double> rows[] = {
        {tiled + "Edge" + filled, 30},
        {tiled + "Through" + filled, 12},
        {tiled + "Turned" + filled, 8},
        {tiled + "Fine" + filled, 13},
        {"q 30 0 0 30 5 5 cm /B Do Q", 5},
        {"q 0 30 30 0 5 5 cm /B Do Q", 5},
        {"q 30 0 0 30 5 5 cm /J Do Q", 2},
        {"q 20 10 -10 20 12 4 cm /J Do Q", 2},
        {"q 20 10 -10 20 12 4 cm /M Do Q", 3},
        {"BT /F 20 Tf 50 Tz 3 12 Td (Agk) Tj ET", 12},
        {"BT /F 10 Tf 300 Tz 3 3 Td (i) Tj ET", 3},
        {"BT /F 20 Tf 1 0 0.5 1 3 12 Tm (Ag) Tj ET", 3},
        {"BT /F 1 Tf 10 5 2 25 8 5 Tm (Ag) Tj ET", 9},
        {"BT /F 20 Tf -1 0 0 1 35 12 Tm (Ag) Tj ET", 20},
        {"BT /F 30 Tf 7 Tr 3 12 Td (Ag) Tj ET /A sh", 12},
        {"2 w 1 0 0 0.3 0 0 cm 10 10 m 30 100 l S", 10},
    };
    std::vector<std::string> scenes;
    for (const auto& [scene, bound] : rows) scenes.push_back(scene);
    const std::vector<double> found = differences(scenes);
    for (size_t i = 0; i < found.size(); ++i) EXPECT_LT(found[i], rows[i].second) << scenes[i];
}

// Half of such a line lies beyond the cell, and the pixel that it fills may do so wholly.
TEST_F(Likeness, ThinLinesAlongTheEdgesOfCellsAreSeen) {
    const std::vector<std::string> edges = {"0 0 m 10 0 l", "0 10 m 10 10 l", "0 0 m 0 10 l", "10 0 m 10 10 l"};
    std::vector<std::string> scenes;
    for (const std::string& edge : edges) {
        add_pattern(edge.substr(0, 1) + std::to_string(scenes.size()), "", "0.1 w " + edge + " S");
        scenes.push_back("/Pattern cs /" + edge.substr(0, 1) + std::to_string(scenes.size()) + " scn 3 3 34 34 re f");
    }
    differences(scenes);
    for (int i = 0; i < kAcross; ++i) {
        double least = 255;
        for (int at = 0; at < kCell * kCell; ++at) {
            const int x = i * kCell + at % kCell, y = kPage - kCell + at / kCell;
            least = std::min(least, got[static_cast<size_t>(y * kPage + x)][0]);
        }
        EXPECT_NEAR(least, 255 * 0.75, 1) << edges[static_cast<size_t>(i)];  // one of four rows
    }
}

}  // namespace
}  // namespace kvprint

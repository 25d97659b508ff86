// Small files that declare what no memory holds: a bounded one is enough to print what can be.

#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

struct Claim {
    const char* name;
    std::string content, resources;
    std::vector<std::string> objects;
    std::string warning;  // behind the page
};

std::string image(const std::string& entries) {
    return pdf_stream("/Type /XObject /Subtype /Image /BitsPerComponent 8 " + entries, std::string(100, '\0'));
}
std::string pattern(const std::string& size, const std::string& step) {
    return pdf_stream("/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /Resources << >> /BBox [0 0 " + size +
                          " " + size + "] /XStep " + step + " /YStep " + step,
                      "1 0 0 rg 0 0 10 10 re f");
}

std::vector<Claim> claims() {
    const std::string show = "0 0 9 9 re f q 100 0 0 100 100 100 cm /I Do Q", images = "/XObject << /I 10 0 R >>";
    const std::string tiled = "0 0 9 9 re f /Pattern cs /P scn 0 0 720 720 re f", patterns = "/Pattern << /P 10 0 R >>";
    const std::string sparse = "pattern of too many cells drawn with fewer", damaged = "image damaged";
    const std::string form = "/Type /XObject /Subtype /Form /BBox [0 0 720 720] /Group << /S /Transparency >> ";
    std::vector<std::string> nested;
    constexpr int kDeep = 40;
    for (int i = 0; i < kDeep; ++i) {
        const std::string inner = std::to_string(PdfText::kFirstObject + std::min(i + 1, kDeep - 1));
        nested.push_back(
            pdf_stream(form + "/Resources << /XObject << /I " + inner + " 0 R >> /ExtGState << /H << /ca 0.9 >> >> >>",
                       i + 1 < kDeep ? "/H gs 0 0 500 500 re f /I Do 5 5 9 9 re f" : "0 0 9 9 re f"));
    }
    return {
        {"image", show, images, {image("/Width 60000 /Height 60000 /ColorSpace /DeviceRGB")}, damaged},
        {"deep image", show, images, {image("/Width 20000 /Height 20000 /ColorSpace /DeviceCMYK")}, damaged},
        {"soft mask",
         show,
         images,
         {image("/Width 5 /Height 5 /ColorSpace /DeviceRGB /SMask 11 0 R"),
          image("/Width 40000 /Height 40000 /ColorSpace /DeviceGray")},
         damaged},
        {"pattern's cell", tiled, patterns, {pattern("1000000", "1000000")}, ""},
        {"pattern's cells", tiled, patterns, {pattern("0.001", "0.001")}, sparse},
        {"overlapping cells", tiled, patterns, {pattern("100", "0.01")}, sparse},
        {"nested groups", "0 0 9 9 re f /H gs /I Do", images + " /ExtGState << /H << /ca 0.5 >> >>", nested, ""},
    };
}

TEST_F(Print, DeclaredSizesCostNoMoreThanTheLimit) {
    const std::string limit = address_space_limit(600000);  // the program itself and its stacks are 100 MB
    for (const Claim& claim : claims()) {
        pdf.pages = {claim.content};
        pdf.resources = claim.resources;
        pdf.objects = claim.objects;
        workspace.write("in.pdf", pdf.text());
        const ProgramRun printed =
            run(workspace, "kvprint", "in.pdf -o out.kv --quiet --memory 128M --set Resolution=144", limit);
        EXPECT_EQ(printed.exit_code, claim.warning.empty() ? 0 : 3) << claim.name;
        EXPECT_EQ(printed.errors, claim.warning.empty() ? "" : "kvprint: in.pdf: page 1: " + claim.warning + "\n")
            << claim.name;
    }
}

}  // namespace
}  // namespace kvprint

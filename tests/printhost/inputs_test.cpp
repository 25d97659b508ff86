// Inputs of other kinds than PDF files, and files that are of none.

#include <mupdf/fitz.h>

#include <memory>

#include "tests/common/plain_jpeg.h"
#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

using Files = std::vector<std::pair<const char*, std::string>>;

// A ZIP archive, not compressed.
std::string archive(const Workspace& workspace, const Files& files) {
    const std::unique_ptr<fz_context, decltype(&fz_drop_context)> owned(
        fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT), fz_drop_context);
    fz_context* const context = owned.get();
    const std::string path = workspace.path("archive");
    fz_zip_writer* zip = fz_new_zip_writer(context, path.c_str());
    for (const auto& [name, content] : files) {
        fz_buffer* bytes = fz_new_buffer_from_copied_data(
            context, reinterpret_cast<const unsigned char*>(content.data()), content.size());
        fz_write_zip_entry(context, zip, name, bytes, 0);
        fz_drop_buffer(context, bytes);
    }
    fz_close_zip_writer(context, zip);
    fz_drop_zip_writer(context, zip);
    return read_file(path);
}

// 2 by 1 pixels of gray, uncompressed: tags of kind, count and value.
std::string tiff() {
    std::string file("II*\0\x0A\0\0\0\x40\x80", 10);
    auto put = [&file](unsigned value, int bytes) {
        for (int i = 0; i < bytes; ++i) file += static_cast<char>(value >> 8 * i & 0xFF);
    };
    const unsigned tags[][2] = {{256, 2}, {257, 1}, {258, 8}, {259, 1}, {262, 1},
                                {273, 8}, {277, 1}, {278, 1}, {279, 2}};
    put(std::size(tags), 2);
    for (const auto& [tag, value] : tags) put(tag, 2), put(3, 2), put(1, 4), put(value, 4);
    put(0, 4);
    return file;
}

constexpr const char* kSvg =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100\" height=\"50\">"
    "<rect x=\"10\" y=\"10\" width=\"50\" height=\"20\"/></svg>";

std::string xps(const Workspace& workspace) {
    const std::string types = "http://schemas.openxmlformats.org/package/2006/",
                      name = "http://schemas.microsoft.com/xps/2005/06";
    return archive(workspace,
                   {{"[Content_Types].xml", "<Types xmlns=\"" + types + "content-types\"/>"},
                    {"_rels/.rels", "<Relationships xmlns=\"" + types +
                                        "relationships\"><Relationship Id=\"R\" Target=\"/s\" Type=\"" + name +
                                        "/fixedrepresentation\"/></Relationships>"},
                    {"s", "<FixedDocumentSequence xmlns=\"" + name +
                              "\"><DocumentReference Source=\"/d\"/></FixedDocumentSequence>"},
                    {"d", "<FixedDocument xmlns=\"" + name + "\"><PageContent Source=\"/p\"/></FixedDocument>"},
                    {"p", "<FixedPage xmlns=\"" + name +
                              "\" Width=\"96\" Height=\"96\"><Path Data=\"M 10,10 L 50,10 50,50 10,50 z\" "
                              "Fill=\"#FFFF0000\"/></FixedPage>"}});
}

std::string epub(const Workspace& workspace) {
    return archive(
        workspace,
        {{"mimetype", "application/epub+zip"},
         {"META-INF/container.xml", "<container><rootfiles><rootfile full-path=\"c.opf\"/></rootfiles></container>"},
         {"c.opf",
          "<package><manifest><item id=\"c\" href=\"c.html\" media-type=\"application/xhtml+xml\"/></manifest>"
          "<spine><itemref idref=\"c\"/></spine></package>"},
         {"c.html", "<html><body><p>Words</p></body></html>"}});
}

std::string jpeg() {
    const std::vector<unsigned char> bytes = plain_jpeg({0x40, 0x80}, 2, 1, true, 90);
    return {bytes.begin(), bytes.end()};
}

TEST_F(Print, InputsOfOtherKinds) {
    const std::string pixels = "P6 2 1 255 \x10\x20\x30\x40\x50\x60", gray = "P5 2 1 255 \x40\x80";
    const std::tuple<const char*, std::string, const char*, const char*> cases[] = {
        {"a.ppm", pixels, "1 page", "bitmap"},
        {"a.pgm", gray, "1 page", "bitmap"},
        {"a.tif", tiff(), "1 page", "bitmap"},
        {"a.jpg", jpeg(), "1 page", "bitmap"},
        {"a.svg", kSvg, "1 page", "rectangle fill"},
        {"a.cbz", archive(workspace, {{"1.ppm", pixels}, {"2.pgm", gray}}), "2 pages", "bitmap"},
        {"a.xps", xps(workspace), "1 page", "rectangle fill"},
        {"a.epub", epub(workspace), "1 page", "text"},
    };
    for (const auto& [name, content, pages, record] : cases) {
        workspace.write(name, content);
        // By what it holds alone, as well.
        for (const std::string& input : {std::string(name), std::string("- <") + name}) {
            const ProgramRun printed = run(workspace, "kvprint", input + " -o out.kv");
            EXPECT_EQ(printed.exit_code, 0) << input << printed.errors;
            EXPECT_EQ(printed.output.find(std::string("out.kv: ") + pages + ","), 0u) << input << printed.output;
            EXPECT_NE(run(workspace, "kvjob", "dump out.kv").output.find(record), std::string::npos) << input;
        }
        for (const std::string& bad : {std::string(), std::string(content).substr(0, 8) + std::string(500, 'x')}) {
            workspace.write(name, bad);
            const ProgramRun refused = run(workspace, "kvprint", std::string(name) + " -o no.kv");
            EXPECT_EQ(refused.exit_code, 1) << name;
            EXPECT_EQ(refused.errors.find('\n') + 1, refused.errors.size()) << refused.errors;
            EXPECT_TRUE(workspace.read("no.kv").empty()) << name;
        }
    }
}

}  // namespace
}  // namespace kvprint

#include "tests/printhost/print_fixture.h"

#include <mupdf/fitz.h>

#include <filesystem>
#include <sstream>

namespace kvprint {
namespace {

// The picture's rows, parted by a bar.
std::string pixels_of(fz_context* context, const std::string& path) {
    fz_image* image = fz_new_image_from_file(context, path.c_str());
    fz_pixmap* pixmap = fz_get_pixmap_from_image(context, image, nullptr, nullptr, nullptr, nullptr);
    std::string text;
    char digits[3];
    for (int y = 0; y < pixmap->h; ++y) {
        if (y > 0) text += " |";
        for (int i = 0; i < pixmap->w * pixmap->n; ++i) {
            if (i % pixmap->n == 0 && (y > 0 || i > 0)) text += ' ';
            std::snprintf(digits, sizeof digits, "%02X", pixmap->samples[y * pixmap->stride + i]);
            text += digits;
        }
    }
    fz_drop_pixmap(context, pixmap);
    fz_drop_image(context, image);
    return text;
}

}  // namespace

std::string Print::job(const std::string& options) {
    const ProgramRun printed = run(workspace, "kvprint", "in.pdf -o out.kv --set Resolution=144 " + options);
    EXPECT_EQ(printed.exit_code, 0) << printed.errors;
    const ProgramRun checked = run(workspace, "kvjob", "check out.kv");
    EXPECT_EQ(checked.exit_code, 0) << checked.output;
    messages = printed.output + printed.errors;
    return read_file(workspace.path("out.kv"));
}

Lines Print::records_of(const std::string& content, const std::string& resources, const std::string& options) {
    pdf.pages = {content};
    pdf.resources = resources;
    workspace.write("in.pdf", pdf.text());
    job(options);
    std::istringstream dump(run(workspace, "kvjob", "dump out.kv").output);
    Lines lines;
    constexpr size_t kNameAt = 13;  // behind the offset and the type
    for (std::string line; std::getline(dump, line);) {
        line = line.substr(std::min(kNameAt, line.size()));
        if (line.starts_with("page start")) lines.clear();
        if (line.starts_with("page end")) break;
        if (!line.starts_with("page start")) lines.push_back(line);
    }
    return lines;
}

Lines Print::images() {
    const std::string folder = workspace.path("images");
    std::filesystem::remove_all(folder);
    EXPECT_EQ(run(workspace, "kvjob", "images --out images out.kv").exit_code, 0);
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    Lines pixels;
    fz_context* context = fz_new_context(nullptr, nullptr, FZ_STORE_DEFAULT);
    for (const std::string& path : paths) pixels.push_back(pixels_of(context, path));
    fz_drop_context(context);
    return pixels;
}

}  // namespace kvprint

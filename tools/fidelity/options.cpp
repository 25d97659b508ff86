#include "tools/fidelity/options.h"

#include <mupdf/fitz/version.h>

#include "tools/common/page_list.h"
#include "tools/common/values.h"

namespace fidelity {

using kv::cli::add_value;

void describe(CLI::App& app, Options& options) {
    kv::cli::introduce(app, "fidelity", "Compares a PDF file's pages with pictures of what a job makes of them.",
                       "MuPDF " FZ_VERSION);
    kv::cli::add_input(app, "SOURCE.pdf", options.source, "the file, drawn by MuPDF");
    auto take_pattern = [&](const std::string& name) {
        if (name.find("%d") == std::string::npos) throw kv::cli::UsageError("no %d in the pictures' name: " + name);
        options.job = name;
    };
    add_value(app, "JOB-%d.png", "", take_pattern, "the job's pictures, of N times DPI, from 1 for the first page")
        ->required();
    add_value(
        app, "-r,--resolution", "DPI",
        [&](const std::string& text) { options.dots_per_inch = kv::cli::parse_real(text, "--resolution", 1, 2400); },
        "dots per inch of what is compared (100)");
    add_value(
        app, "--finer", "N",
        [&](const std::string& text) { options.finer = static_cast<int>(kv::cli::parse_whole(text, "--finer", 1, 8)); },
        "draws both N times finer and averages, so that no program's rounding to pixels counts (1)");
    add_value(
        app, "--pages", "LIST",
        [&](const std::string& list) {
            options.pages = kv::cli::page_chooser(kv::cli::PageList(list, "--pages"), "fidelity");
        },
        "the pages that the pictures show, in their order: 1-8, 5-, last, odd");
    add_value(app, "--sheet", "SHEET.png", options.sheet, "a contact sheet of all pages");
    add_value(app, "--page-pictures", "PREFIX", options.page_pictures, "pictures of each page begin with this");
    kv::cli::add_examples(app, {"fidelity -r 100 --finer 3 --pages 1-8 --sheet sheet.png report.pdf job-%d.png"});
}

}  // namespace fidelity

#include "tools/kvjob/options.h"

#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <png.h>
#include <zlib.h>

#include <nlohmann/json.hpp>

#include "tools/common/page_list.h"
#include "tools/common/values.h"

namespace kvjob {
namespace {

using kv::cli::add_examples;
using kv::cli::add_value;

std::string libraries() {
    FT_Library freetype = nullptr;
    FT_Int major = 0, minor = 0, patch = 0;
    if (FT_Init_FreeType(&freetype) == 0) {
        FT_Library_Version(freetype, &major, &minor, &patch);
        FT_Done_FreeType(freetype);
    }
    auto dotted = [](int a, int b, int c) {
        return std::to_string(a) + "." + std::to_string(b) + "." + std::to_string(c);
    };
    const int fontconfig = FcGetVersion();  // 21401 for 2.14.1
    return std::string("cairo ") + cairo_version_string() + ", FreeType " + dotted(major, minor, patch) +
           ", fontconfig " + dotted(fontconfig / 10000, fontconfig / 100 % 100, fontconfig % 100) + ", libpng " +
           png_get_libpng_ver(nullptr) + ", zlib " + zlibVersion() + ", nlohmann-json " +
           dotted(NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH);
}

enum class Jobs { One, Several };

// A command with its input.
CLI::App& add_command(CLI::App& app, const std::string& name, const std::string& purpose, Options& options,
                      Jobs jobs = Jobs::One) {
    CLI::App& command = *app.add_subcommand(name, purpose)->group("Commands");
    command.preparse_callback([&options, name](size_t) { options.command = name; });
    auto take = [&options](const std::string& job) { options.jobs.push_back(job); };
    CLI::Option* input = add_value(command, "JOB.kv", " ", take, "the job file; - is standard input")->required();
    if (jobs == Jobs::Several) input->expected(-1);
    return command;
}

void add_page(CLI::App& command, Options& options) {
    constexpr uint32_t kMost = 1'000'000'000;
    add_value(
        command, "--page", "N",
        [&](const std::string& text) {
            options.page = static_cast<uint32_t>(kv::cli::parse_whole(text, "--page", 1, kMost));
        },
        "only this page, from 1");
}

void add_memory(CLI::App& command, RenderOptions& render, const std::string& purpose) {
    add_value(
        command, "--memory", "BYTES",
        [&](const std::string& text) {
            constexpr uint64_t kFewest = 1 << 20;
            render.memory = kv::cli::parse_bytes(text, "--memory");
            if (render.memory < kFewest) throw kv::cli::UsageError("--memory: at least 1M");
        },
        purpose);
}

constexpr const char* kOfRecords = "what a record may inflate to (256M)";

void describe_listings(CLI::App& app, Options& options) {
    CLI::App& info = add_command(app, "info", "Tells what a job holds.", options, Jobs::Several);
    add_examples(info, {"kvjob info report.kv", "kvjob info - < report.kv", "kvjob info --json *.kv"});
    CLI::App& check =
        add_command(app, "check", "Tells every fault of a job with its place in the file.", options, Jobs::Several);
    add_examples(check, {"kvjob check report.kv", "kvjob check *.kv"});
    CLI::App& dump = add_command(app, "dump", "Lists the records of a job.", options);
    add_page(dump, options);
    add_examples(dump, {"kvjob dump report.kv", "kvjob dump --json --page 2 report.kv"});
    CLI::App& text = add_command(app, "text", "Writes a job's text in reading order.", options, Jobs::Several);
    add_page(text, options);
    add_memory(text, options.render, kOfRecords);
    add_examples(text, {"kvjob text report.kv"});
}

void describe_extractions(CLI::App& app, Options& options) {
    CLI::App& images = add_command(
        app, "images", "Lists a job's bitmaps, or extracts them: as PNG files, and JPEG streams as they are.", options);
    add_value(images, "--out", "DIR", options.out, "the folder for them; it is made where there is none");
    add_memory(images, options.render, kOfRecords);
    add_examples(images, {"kvjob images report.kv", "kvjob images --out pictures report.kv"});
    CLI::App& fonts = add_command(app, "fonts", "Lists a job's fonts.", options);
    add_value(fonts, "--extract", "DIR", options.out, "the folder for the font files that the job carries");
    add_memory(fonts, options.render, kOfRecords);
    add_examples(fonts, {"kvjob fonts report.kv", "kvjob fonts --extract fonts report.kv"});
}

void describe_recover(CLI::App& app, Options& options) {
    CLI::App& recover = add_command(app, "recover",
                                    "Makes a sound job of what is left of a damaged one, and tells what is lost. Exit "
                                    "code 3: something is.",
                                    options);
    add_value(recover, "-o,--output", "NEW.kv", options.output, "the new job")->required();
    add_examples(recover, {"kvjob recover -o saved.kv damaged.kv"});
}

using ChoosePages = std::function<std::vector<size_t>(size_t count)>;

void add_pages(CLI::App& command, ChoosePages& pages, const std::string& purpose) {
    add_value(
        command, "--pages", "LIST",
        [&](const std::string& list) { pages = kv::cli::page_chooser(kv::cli::PageList(list, "--pages"), "kvjob"); },
        purpose + ": 1-3,7, 5-, last, r2 (the second from the end), 9-1, odd, even, reverse");
}

void describe_pages(CLI::App& app, Options& options) {
    CLI::App& pages = add_command(
        app, "pages", "Makes a job of pages of others, which keep their bytes. Pages count on from job to job.",
        options, Jobs::Several);
    add_value(pages, "-o,--output", "NEW.kv", options.output, "the new job")->required();
    add_pages(pages, options.pages, "what it holds, in this order");
    add_examples(pages,
                 {"kvjob pages -o chapter.kv --pages 3,1,5-7 report.kv", "kvjob pages -o all.kv report.kv appendix.kv",
                  "kvjob pages -o back.kv --pages reverse report.kv"});
}

void add_resolution(CLI::App& command, RenderOptions& render, const std::string& purpose) {
    constexpr double kLeast = 1, kMost = 9600;
    add_value(
        command, "-r,--resolution", "DPI",
        [&](const std::string& text) {
            render.dots_per_inch = kv::cli::parse_real(text, "--resolution", kLeast, kMost);
        },
        purpose);
}

void add_title(CLI::App& command, RenderOptions& render) {
    add_value(command, "--title", "TEXT", render.title, "the title of a PDF file, in place of the document's name");
}

void describe_render(CLI::App& app, Options& options) {
    RenderOptions& drawing = options.render;
    CLI::App& render = add_command(app, "render", "Draws a job's pages into pictures or a PDF file.", options);
    auto take_output = [&drawing](const std::string& name) {
        using Format = RenderOptions::Format;
        if (name.ends_with(".png") || name == "-")
            drawing.format = Format::Png;
        else if (name.ends_with(".svg"))
            drawing.format = Format::Svg;
        else if (name.ends_with(".pdf"))
            drawing.format = Format::Pdf;
        else
            throw kv::cli::UsageError("--output: neither .png nor .svg nor .pdf: " + name);
        drawing.output = name;
    };
    add_value(
        render, "-o,--output", "FILE", take_output,
        "page-%d.png or page-%d.svg: a picture a page; NAME.pdf: all in one; - is standard output, for one page as PNG")
        ->required();
    add_resolution(render, drawing, "dots per inch: of PNG files (150), or of what must be pixels in the others (300)");
    add_memory(render, drawing, "what drawing may take (256M); larger pages are drawn in bands");
    drawing.threads = 0;
    add_value(
        render, "-j,--jobs", "N",
        [&drawing](const std::string& text) {
            constexpr uint64_t kMost = 256;
            drawing.threads = kv::cli::parse_whole(text, "--jobs", 0, kMost);
        },
        "pages of PNG files under way at a time (0: as many as there are processors); they share the memory");
    add_title(render, drawing);
    add_pages(render, drawing.pages, "what to draw, in this order");
    add_examples(render, {"kvjob render -o page-%03d.png report.kv",
                          "kvjob render -r 300 --pages 2-,1 -j 4 -o page-%d.png "
                          "report.kv",
                          "kvjob render -o page-%d.svg report.kv"});
}

void describe_pdf(CLI::App& app, Options& options) {
    RenderOptions& drawing = options.render;
    CLI::App& pdf = add_command(app, "pdf", "Writes a job's pages as a PDF file.", options);
    auto take_output = [&drawing](const std::string& name) {
        drawing.format = RenderOptions::Format::Pdf;
        drawing.output = name;
    };
    add_value(pdf, "-o,--output", "FILE", take_output, "the PDF file; - is standard output")->required();
    add_resolution(pdf, drawing, "dots per inch of what must be pixels (300)");
    add_memory(pdf, drawing, "what a page's pictures may take, and what must be pixels (256M)");
    add_title(pdf, drawing);
    add_pages(pdf, drawing.pages, "what it holds, in this order");
    add_examples(pdf, {"kvjob pdf -o report.pdf report.kv", "kvjob pdf --pages 2- --title Minutes -o - report.kv"});
}

void describe_report(CLI::App& app, Options& options) {
    CLI::App& report = add_command(app, "report",
                                   "Makes a page to look at: one HTML file with a job's pages, records, fonts and "
                                   "images, for any browser.",
                                   options);
    add_value(report, "-o,--output", "X.html", options.output, "the page")->required();
    add_resolution(report, options.render, "dots per inch of the pages' pictures (120)");
    add_pages(report, options.pages, "what to show instead of the first 200");
    add_examples(report, {"kvjob report -o report.html report.kv", "kvjob report --pages 201- -o rest.html report.kv"});
}

}  // namespace

std::pair<size_t, size_t> text_pages(const Options& options, size_t count) {
    if (!options.page) return {0, count};
    if (*options.page > count) throw std::runtime_error("no such page; the job has " + std::to_string(count));
    return {*options.page - 1, *options.page};
}

void describe(CLI::App& app, Options& options) {
    kv::cli::introduce(app, "kvjob", "Reads, checks and draws Karvo job files.", libraries(),
                       "done, but something of the job is lost; lines tell what");
    app.require_subcommand(1);
    describe_listings(app, options);
    describe_extractions(app, options);
    describe_render(app, options);
    describe_pdf(app, options);
    describe_report(app, options);
    describe_recover(app, options);
    describe_pages(app, options);
    for (const char* tells : {"info", "check", "dump", "fonts", "images", "text"}) {
        app.get_subcommand(tells)->add_flag("--json", options.json, "as JSON (docs/json.md)");
    }
    for (const char* reads : {"info", "text", "images", "fonts", "render", "pdf", "report", "pages"}) {
        app.get_subcommand(reads)->add_flag("--recover", options.recover, "as far as a damaged job can be read");
    }
    add_examples(app, {"kvjob info report.kv", "kvjob pdf -o report.pdf report.kv",
                       "kvjob render --help    what a command takes"});
}

}  // namespace kvjob

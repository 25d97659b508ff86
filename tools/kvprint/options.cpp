#include "tools/kvprint/options.h"

#include <mupdf/fitz/version.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "printhost/output.h"
#include "support/trace.h"
#include "tools/common/page_list.h"
#include "tools/common/values.h"

namespace kvprint {
namespace {

using kv::cli::add_value;

// What --set takes: values of the registry, with what the driver does something with.
const std::vector<kv::cli::Setting> kSettings = {
    {"Resolution", 1, 32767},                                 // dots per inch
    {"BitDepth", 16, 32, 8},                                  // of a pixel
    {"Compression", 0, 0xFF},                                 // bits
    {"JpegQuality", 0, 100},                                  //
    {"ResDownSamp", 0, 65535},                                // dots per inch; 0: images stay as they are
    {"ResDownSampMono", 0, 65535}, {"MarginLeft", 0, 32767},  // thousandths of an inch
    {"MarginTop", 0, 32767},       {"MarginRight", 0, 32767}, {"MarginBottom", 0, 32767},
    {"PathEscapes", 0, 1},         {"AutoEm", 0, 1},          {"EmbedFonts", 0, 1},
    {"CaptureFonts", 0, 1},
};

std::string settings_text() {
    std::string names;
    for (const kv::cli::Setting& setting : kSettings) {
        names += (names.empty() ? "" : ", ") + std::string(setting.name);
    }
    return names;
}

// The name of what is written for an input. used: the names of those before.
std::string name_for(const std::string& pattern, const std::string& option, const Options& options,
                     const std::string& input, std::vector<std::string>& used) {
    if (pattern.empty()) return pattern;
    std::string name = pattern;
    const size_t place = name.find("%s");
    if (place != std::string::npos) {
        const std::string stem = std::filesystem::path(input).stem().string();
        name.replace(place, 2, input == kStandardStream ? "stdin" : stem);
    } else if (options.inputs.size() > 1) {
        throw kv::cli::UsageError(option + ": several inputs need %s in the name, unlike " + pattern);
    }
    if (std::ranges::find(used, name) != used.end()) {
        throw kv::cli::UsageError(option + ": two inputs would be written to " + name);
    }
    if (options.json && is_standard_output(name)) {
        throw kv::cli::UsageError(option + ": standard output is what --json writes to");
    }
    used.push_back(name);
    return name;
}

}  // namespace

std::vector<Request> requests_of(const Options& options) {
    std::vector<Request> requests;
    std::vector<std::string> outputs, lists;
    for (const std::string& input : options.inputs) {
        Request& request = requests.emplace_back(options);
        request.input = input;
        request.output = name_for(options.output, "--output", options, input, outputs);
        request.text_list = name_for(options.text_list, "--list-text", options, input, lists);
    }
    return requests;
}

void describe(CLI::App& app, Options& options) {
    kv::cli::introduce(app, "kvprint", "Prints a document, most often a PDF file, through the Karvo driver.",
                       "MuPDF " FZ_VERSION ", zlib " + std::string(zlibVersion()),
                       "printed, but for what the warnings tell");
    add_value(
        app, "INPUT.pdf", " ", [&](const std::string& name) { options.inputs.push_back(name); },
        "the file to print; - for standard input")
        ->required()
        ->expected(-1);
    add_value(
        app, "-o,--output", "JOB.kv", options.output,
        "the job file to write, - for standard output; without it the job goes to the dispatcher, kvdisp12. %s is the "
        "input's name without folder and suffix, for several inputs");
    add_value(
        app, "--pages", "LIST",
        [&](const std::string& list) {
            options.pages = kv::cli::page_chooser(kv::cli::PageList(list, "--pages"), "kvprint");
        },
        "what to print, in this order: 1-3,7, 5-, last, r2 (the second from the end), 9-1, odd, even, reverse");
    add_value(
        app, "--set", "NAME=VALUE",
        [&](const std::string& text) { options.settings.push_back(kv::cli::parse_setting(text, "--set", kSettings)); },
        "a setting of the printer, each with one --set: " + settings_text());
    add_value(
        app, "--data", "NAME=VALUE",
        [&](const std::string& text) { options.data.push_back(kv::cli::parse_pair(text, "--data")); },
        "a name and a text that the job carries; as often as wanted");
    add_value(app, "--list-text", "FILE", options.text_list,
              "lists the places of all glyphs that go as text, and the fonts they are given in");
    add_value(
        app, "--memory", "BYTES",
        [&](const std::string& text) {
            constexpr uint64_t kLeast = 16 << 20;
            options.memory = kv::cli::parse_bytes(text, "--memory");
            if (options.memory < kLeast) throw kv::cli::UsageError("--memory: at least 16M, not " + text);
        },
        "what reading and drawing may take at a time (512M); what does not fit is drawn coarser, and told");
    add_value(app, "--password", "TEXT", options.password, "what opens an encrypted file");
    kv::cli::add_choice(
        app, "--box", {"media", "crop", "bleed", "trim", "art"}, [&](const std::string& name) { options.box = name; },
        "which of a page's boxes is printed (default: crop)");
    kv::cli::add_choice(
        app, "--annotations", {"all", "none"}, [&](const std::string& which) { options.annotations = which == "all"; },
        "which annotations are printed: all of those that are meant to be (the default), or none");
    kv::cli::add_optional_value(
        app, "--trace", "SPEC", "info",
        [&](const std::string& levels) {
            if (!kv::set_trace_levels(levels.c_str())) {
                throw kv::cli::UsageError("--trace: no such component or level: " + levels);
            }
            options.trace = levels;
        },
        "tells on standard error what the driver decides (info, as without SPEC), does otherwise (warning), cannot do "
        "(error) and writes (record); or parts of it, as record:info,fonts:warning");
    app.add_flag("--strict", options.strict, "prints nothing when something of the document cannot be printed");
    app.add_flag("--json", options.json,
                 "says at the end what was printed as JSON, in place of the closing lines (docs/json.md)");
    const std::map<std::string, Request::Progress> kinds = {
        {"auto", Request::Progress::Auto}, {"plain", Request::Progress::Plain}, {"none", Request::Progress::None}};
    kv::cli::add_choice(
        app, "--progress", {"auto", "plain", "none"},
        [&options, kinds](const std::string& kind) { options.progress = kinds.at(kind); },
        "how far printing is, on standard error: auto, on a terminal alone, in a line that is written over; plain, a "
        "line "
        "every few seconds; none");
    app.add_flag("--quiet", options.quiet, "says nothing when all went well, and no progress");
    kv::cli::add_examples(app, {
                                   "kvprint report.pdf -o report.kv",
                                   "kvprint *.pdf -o jobs/%s.kv",
                                   "kvprint report.pdf --pages 1-3,last    to the dispatcher",
                                   "kvprint report.pdf -o report.kv --set Resolution=300 --set Compression=0x31",
                               });
}

}  // namespace kvprint

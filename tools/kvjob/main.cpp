#include <unistd.h>

#include <filesystem>

#include "drawing/fonts.h"
#include "drawing/images.h"
#include "drawing/page_text.h"
#include "reader/checker.h"
#include "reader/dump.h"
#include "reader/info.h"
#include "reader/job_file.h"
#include "tools/kvjob/options.h"

namespace kvjob {
namespace {

using kv::cli::kDone;
using kv::cli::kFailed;

int run_check(const Options& options, Bytes file) {
    const auto findings = check_job(file);
    for (const Finding& finding : findings) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", options.job.c_str(), static_cast<unsigned long long>(finding.offset),
                     finding.message.c_str());
    }
    if (findings.empty()) std::printf("%s: sound\n", options.job.c_str());
    return findings.empty() ? kDone : kFailed;
}

void run_images(const Options& options, Bytes file, Reports& reports) {
    std::filesystem::create_directories(options.out);
    const size_t images = extract_images(file, options.out, reports);
    std::printf("%s: %zu images\n", options.out.c_str(), images);
}

void run_text(const Options& options, Bytes file, Reports& reports) {
    const JobMap map(file);
    FontStore fonts(map);
    const size_t pages = map.pages().size();
    const size_t first = options.page ? *options.page - 1 : 0, end = options.page ? *options.page : pages;
    if (end > pages) throw std::runtime_error("no such page; the job has " + std::to_string(pages));
    for (size_t page = first; page < end; ++page) {
        std::fputs(page_text(map, fonts, page, reports).c_str(), stdout);
        if (!options.page) std::fputc('\f', stdout);
    }
    if (map.broken()) throw *map.broken();
}

void run_fonts(const Options& options, Bytes file, Reports& reports) {
    if (!options.out.empty()) std::filesystem::create_directories(options.out);
    list_fonts(file, options.out, stdout, reports);
}

void run_render(const Options& options, Bytes file, Reports& reports) {
    RenderOptions rendering = options.render;
    rendering.progress = isatty(STDERR_FILENO) != 0;
    render_job(file, rendering, reports);
}

int run(const Options& options) {
    const JobFile job(options.job);
    const Bytes file = job.bytes();
    const std::string& command = options.command;
    if (command == "check") return run_check(options, file);
    Reports reports(stderr);
    if (command == "info") print_info(file, stdout);
    if (command == "dump") dump_job(file, {options.json, options.page}, stdout);
    if (command == "images") run_images(options, file, reports);
    if (command == "text") run_text(options, file, reports);
    if (command == "fonts") run_fonts(options, file, reports);
    if (command == "render") run_render(options, file, reports);
    return reports.count() == 0 ? kDone : kFailed;
}

// Faults of the job begin with its name and their place in it.
int run_told(const Options& options) {
    try {
        return run(options);
    } catch (const Fault& fault) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", options.job.c_str(), static_cast<unsigned long long>(fault.offset),
                     fault.what());
        return kFailed;
    } catch (const std::exception& error) {
        throw std::runtime_error(options.job + ": " + error.what());
    }
}

}  // namespace
}  // namespace kvjob

int main(int argc, char** argv) {
    CLI::App app;
    kvjob::Options options;
    kvjob::describe(app, options);
    return kv::cli::run(app, {argv + 1, argv + argc}, [&] { return kvjob::run_told(options); });
}

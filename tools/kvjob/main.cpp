#include <unistd.h>

#include <filesystem>

#include "drawing/fonts.h"
#include "drawing/images.h"
#include "drawing/page_text.h"
#include "reader/checker.h"
#include "reader/dump.h"
#include "reader/info.h"
#include "reader/job_file.h"
#include "tools/kvjob/arguments.h"

namespace kvjob {
namespace {

enum : int { kDone = 0, kFaulty = 1, kWrongUsage = 2 };

int run_check(const Arguments& arguments, Bytes file) {
    const auto findings = check_job(file);
    for (const Finding& finding : findings) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", arguments.job.c_str(), static_cast<unsigned long long>(finding.offset),
                     finding.message.c_str());
    }
    if (findings.empty()) std::printf("%s: sound\n", arguments.job.c_str());
    return findings.empty() ? kDone : kFaulty;
}

void run_images(const Arguments& arguments, Bytes file, Reports& reports) {
    std::filesystem::create_directories(arguments.out);
    const size_t images = extract_images(file, arguments.out, reports);
    std::printf("%s: %zu images\n", arguments.out.c_str(), images);
}

void run_text(const Arguments& arguments, Bytes file, Reports& reports) {
    const JobMap map(file);
    FontStore fonts(map);
    const size_t pages = map.pages().size();
    const size_t first = arguments.page ? *arguments.page - 1 : 0, end = arguments.page ? *arguments.page : pages;
    if (end > pages) throw std::runtime_error("no such page; the job has " + std::to_string(pages));
    for (size_t page = first; page < end; ++page) {
        std::fputs(page_text(map, fonts, page, reports).c_str(), stdout);
        if (!arguments.page) std::fputc('\f', stdout);
    }
    if (map.broken()) throw *map.broken();
}

void run_fonts(const Arguments& arguments, Bytes file, Reports& reports) {
    if (!arguments.out.empty()) std::filesystem::create_directories(arguments.out);
    list_fonts(file, arguments.out, stdout, reports);
}

void run_render(const Arguments& arguments, Bytes file, Reports& reports) {
    RenderOptions options = arguments.render;
    options.progress = isatty(STDERR_FILENO) != 0;
    render_job(file, options, reports);
}

int run(const Arguments& arguments) {
    const JobFile job(arguments.job);
    const Bytes file = job.bytes();
    const std::string& command = arguments.command;
    if (command == "check") return run_check(arguments, file);
    Reports reports(stderr);
    if (command == "info") print_info(file, stdout);
    if (command == "dump") dump_job(file, {arguments.json, arguments.page}, stdout);
    if (command == "images") run_images(arguments, file, reports);
    if (command == "text") run_text(arguments, file, reports);
    if (command == "fonts") run_fonts(arguments, file, reports);
    if (command == "render") run_render(arguments, file, reports);
    return reports.count() == 0 ? kDone : kFaulty;
}

int main_of(const std::vector<std::string>& words) {
    Arguments arguments;
    try {
        arguments = parse_arguments(words);
    } catch (const UsageError& error) {
        std::fprintf(stderr, "kvjob: %s\n%s", error.what(), kUsage);
        return kWrongUsage;
    }
    if (arguments.help) {
        std::fputs(kUsage, stdout);
        return kDone;
    }
    try {
        return run(arguments);
    } catch (const Fault& fault) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", arguments.job.c_str(), static_cast<unsigned long long>(fault.offset),
                     fault.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kvjob: %s: %s\n", arguments.job.c_str(), error.what());
    }
    return kFaulty;
}

}  // namespace
}  // namespace kvjob

int main(int argc, char** argv) { return kvjob::main_of({argv + 1, argv + argc}); }

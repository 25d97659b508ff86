#include <unistd.h>

#include <filesystem>

#include "drawing/fonts.h"
#include "drawing/images.h"
#include "drawing/page_text.h"
#include "reader/checker.h"
#include "reader/dump.h"
#include "reader/info.h"
#include "reader/job_file.h"
#include "reader/recover.h"
#include "tools/common/output_file.h"
#include "tools/kvjob/options.h"

namespace kvjob {
namespace {

using kv::cli::kDone;
using kv::cli::kFailed;
constexpr int kSomethingLost = 3;

class FileOutput : public Output {
public:
    FileOutput(const std::string& name, std::span<const std::string> inputs) : file_(name, inputs) {}
    void write(Bytes bytes) override { file_.write(bytes); }
    void finish() override { file_.finish(); }

private:
    kvtools::OutputFile file_;
};

// Files in a folder, where one is named; none of them may be a job that is read.
OpenOutput files(const Options& options, const std::string& folder = "") {
    if (!folder.empty()) std::filesystem::create_directories(folder);
    return [&options, folder](const std::string& name) {
        return std::make_unique<FileOutput>(folder.empty() ? name : folder + "/" + name, options.jobs);
    };
}

int run_check(const std::string& name, Bytes file) {
    const auto findings = check_job(file);
    for (const Finding& finding : findings) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", name.c_str(), static_cast<unsigned long long>(finding.offset),
                     finding.message.c_str());
    }
    if (findings.empty()) std::printf("%s: sound\n", name.c_str());
    return findings.empty() ? kDone : kFailed;
}

void run_info(const Options& options, const std::string& name, Bytes file) {
    if (options.jobs.size() > 1) std::printf("job: %s\n", name.c_str());
    print_info(file, stdout);
}

void run_images(const Options& options, Bytes file, Reports& reports) {
    const size_t images = extract_images(file, files(options, options.out), reports);
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
    list_fonts(file, options.out.empty() ? OpenOutput() : files(options, options.out), stdout, reports);
}

void run_render(const Options& options, Bytes file, Reports& reports) {
    RenderOptions rendering = options.render;
    rendering.open = files(options);
    rendering.progress = isatty(STDERR_FILENO) != 0;
    render_job(file, rendering, reports);
}

int tell_losses(const std::string& name, const Recovery& found) {
    for (const Loss& loss : found.losses) {
        std::fprintf(stderr, "%s: 0x%llX: %llu bytes lost: %s\n", name.c_str(),
                     static_cast<unsigned long long>(loss.offset), static_cast<unsigned long long>(loss.bytes),
                     loss.what.c_str());
    }
    return found.whole() ? kDone : kSomethingLost;
}

int run_recover(const Options& options, const std::string& name, Bytes file) {
    FileOutput out(options.output, options.jobs);
    const Recovery found = recover_job(file, out);
    std::fprintf(stderr, "%s: %zu pages\n", options.output.c_str(), found.pages);
    return tell_losses(name, found);
}

int run_command(const Options& options, const std::string& name, Bytes file) {
    const std::string& command = options.command;
    if (command == "check") return run_check(name, file);
    if (command == "recover") return run_recover(options, name, file);
    Reports reports(stderr);
    if (command == "info") run_info(options, name, file);
    if (command == "dump") dump_job(file, {options.json, options.page}, stdout);
    if (command == "images") run_images(options, file, reports);
    if (command == "text") run_text(options, file, reports);
    if (command == "fonts") run_fonts(options, file, reports);
    if (command == "render") run_render(options, file, reports);
    return reports.count() == 0 ? kDone : kFailed;
}

// What can be had of a damaged job, in memory.
class Recovered : public Output {
public:
    void write(Bytes bytes) override { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void finish() override {}
    Bytes bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

int run_one(const Options& options, const std::string& name) {
    const JobFile job(name);
    if (!options.recover) return run_command(options, name, job.bytes());
    Recovered whole;
    const int lost = tell_losses(name, recover_job(job.bytes(), whole));
    return std::max(lost, run_command(options, name, whole.bytes()));
}

// Faults of a job begin with its name and their place in it; the other jobs are read all the same.
int run(const Options& options) {
    int code = kDone;
    for (const std::string& name : options.jobs) {
        try {
            code = std::max(code, run_one(options, name));
            continue;
        } catch (const Fault& fault) {
            std::fprintf(stderr, "%s: 0x%llX: %s\n", name.c_str(), static_cast<unsigned long long>(fault.offset),
                         fault.what());
        } catch (const std::exception& error) {
            std::fprintf(stderr, "kvjob: %s: %s\n", name.c_str(), error.what());
        }
        code = kFailed;
    }
    return code;
}

}  // namespace
}  // namespace kvjob

int main(int argc, char** argv) {
    kvtools::prepare_output();
    CLI::App app;
    kvjob::Options options;
    kvjob::describe(app, options);
    return kv::cli::run(app, {argv + 1, argv + argc}, [&] { return kvjob::run(options); });
}

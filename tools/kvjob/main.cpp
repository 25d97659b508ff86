#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <list>

#include "drawing/page_words.h"
#include "reader/job_file.h"
#include "reader/join.h"
#include "report/html_report.h"
#include "tools/common/output_file.h"
#include "tools/common/version.h"
#include "tools/kvjob/json_commands.h"

namespace kvjob {
namespace {

using kv::cli::kDone;
using kv::cli::kFailed;
constexpr int kSomethingLost = kv::cli::kDoneButFor;

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
    std::error_code error;
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    if (error) throw std::runtime_error("cannot make the folder " + folder + ": " + error.message());
    return [&options, folder](const std::string& name) {
        return std::make_unique<FileOutput>(folder.empty() ? name : folder + "/" + name, options.jobs);
    };
}

void tell_fault(const std::string& name, uint64_t offset, const std::string& what) {
    std::fprintf(stderr, "%s: 0x%llX: %s\n", name.c_str(), static_cast<unsigned long long>(offset), what.c_str());
}

int run_check(const Options& options, const std::string& name, Bytes file) {
    const auto findings = check_job(file, kMostFindings, options.memory());
    for (const Finding& finding : findings) tell_fault(name, finding.offset, finding.message);
    if (findings.empty()) std::printf("%s: sound\n", name.c_str());
    return findings.empty() ? kDone : kFailed;
}

void run_info(const Options& options, const std::string& name, Bytes file) {
    if (options.jobs.size() > 1) std::printf("job: %s\n", name.c_str());
    print_info(read_info(file, options.memory()), stdout);
}

// What images and fonts write, where they are told a folder.
OpenOutput extraction(const Options& options) {
    return options.out.empty() ? OpenOutput() : files(options, options.out);
}

void print_image(const FoundImage& found) {
    std::printf("page %u, 0x%llX: %s, %d x %d pixels of %d bits, %s\n", found.page,
                static_cast<unsigned long long>(found.record.offset), name_of(found.kind), found.picture.width(),
                found.picture.height(), found.picture.depth(), found.picture.encoding());
}

void run_images(const Options& options, Bytes file, Reports& reports) {
    const OpenOutput open = extraction(options);
    size_t images = 0;
    for_each_image(
        file, options.memory(),
        [&](const FoundImage& found) {
            open ? void(extract_image(found, open)) : print_image(found);
            if (found.kind != ImageKind::Mask) ++images;
        },
        reports);
    if (open) std::printf("%s: %zu images\n", options.out.c_str(), images);
}

void run_text(const Options& options, Bytes file, Reports& reports) {
    const JobMap map(file, options.memory());
    FontStore fonts(map);
    const std::vector<size_t> pages = chosen_pages(options, map.pages().size());
    for (const size_t page : pages) {
        std::fputs(page_text(map, fonts, page - 1, reports).c_str(), stdout);
        if (!options.pages || pages.size() > 1) std::fputc('\f', stdout);
    }
    if (map.broken()) throw *map.broken();
}

void run_fonts(const Options& options, Bytes file, Reports& reports) {
    const JobMap map(file, options.memory());
    FontStore store(map);
    const OpenOutput open = extraction(options);
    auto visit = [&](const std::variant<ListedFont, ListedFontFile>& found) {
        print_font(found, stdout);
        if (const auto* font_file = std::get_if<ListedFontFile>(&found); font_file && open) {
            extract_font(*font_file, open);
        }
    };
    for_each_font(map, store, visit, reports);
}

// When a job was finished, where it is a plain file.
std::optional<int64_t> time_of(const std::string& name) {
    struct stat status = {};
    const bool plain = name != "-" && stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return plain ? std::optional<int64_t>(status.st_mtime) : std::nullopt;
}

void run_render(const Options& options, const std::string& name, Bytes file, Reports& reports) {
    RenderOptions rendering = options.render;
    rendering.open = files(options);
    rendering.progress = isatty(STDERR_FILENO) != 0;
    rendering.created = time_of(name);
    render_job(file, rendering, reports);
}

int tell_losses(const std::string& name, const Recovery& found) {
    for (const Loss& loss : found.losses) {
        const std::string bytes = loss.bytes ? std::to_string(loss.bytes) + " bytes lost: " : "";
        tell_fault(name, loss.offset, bytes + loss.what);
    }
    return found.whole() ? kDone : kSomethingLost;
}

int run_recover(const Options& options, const std::string& name, Bytes file) {
    FileOutput out(options.output, options.jobs);
    const Recovery found = recover_job(file, out, options.memory());
    std::fprintf(stderr, "%s: %zu page%s\n", options.output.c_str(), found.pages, found.pages == 1 ? "" : "s");
    return tell_losses(name, found);
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

// A job as the command reads it: as it stands, or what can be had of it.
class Input {
public:
    Input(const Options& options, const std::string& name) : file_(name), bytes_(file_.bytes()) {
        if (!options.recover) return;
        found_ = recover_job(file_.bytes(), whole_, options.memory());
        lost_ = tell_losses(name, found_);
        bytes_ = whole_.bytes();
    }
    Bytes bytes() const { return bytes_; }
    Bytes original() const { return file_.bytes(); }
    const std::vector<Loss>& losses() const { return found_.losses; }
    int lost() const { return lost_; }  // an exit code

private:
    JobFile file_;
    Recovered whole_;
    Recovery found_;
    Bytes bytes_;
    int lost_ = kDone;
};

int run_report(const Options& options, const std::string& name, const Input& input) {
    FileOutput out(options.output, options.jobs);
    ReportOptions report;
    report.pages = options.pages;
    if (options.render.dots_per_inch > 0) report.dots_per_inch = options.render.dots_per_inch;
    report.memory = options.memory();
    report.made_by = "kvjob " + kv::cli::version();
    report.progress = isatty(STDERR_FILENO) != 0;
    report.report = [&](uint64_t offset, const std::string& what) { tell_fault(name, offset, what); };
    const size_t left_out = write_report({name, input.bytes(), input.original(), input.losses()}, report, out);
    return left_out == 0 ? kDone : kFailed;
}

int run_command(const Options& options, const std::string& name, const Input& input) {
    const Bytes file = input.bytes();
    const std::string& command = options.command;
    if (command == "check") return run_check(options, name, file);
    if (command == "recover") return run_recover(options, name, file);
    if (command == "report") return run_report(options, name, input);
    Reports reports(stderr);
    if (command == "info") run_info(options, name, file);
    if (command == "dump") dump_job(file, wanted_pages(options, file), stdout, options.memory());
    if (command == "images") run_images(options, file, reports);
    if (command == "text") run_text(options, file, reports);
    if (command == "fonts") run_fonts(options, file, reports);
    if (command == "render" || command == "pdf") run_render(options, name, file, reports);
    return reports.count() == 0 ? kDone : kFailed;
}

// Faults of a job begin with its name and their place in it. json: gets them, too.
int guarded(const std::string& name, const std::function<int()>& action, JsonWriter* json = nullptr) {
    auto tell_json = [&](Json error) {
        if (json) json->member("error", error);
    };
    try {
        return action();
    } catch (const Fault& fault) {
        tell_fault(name, fault.offset, fault.what());
        tell_json(fault_json(fault.offset, fault.what()));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kvjob: %s: %s\n", name.c_str(), error.what());
        tell_json({{"message", error.what()}});
    }
    return kFailed;
}

// What is left out is told on standard error as well.
int run_as_json(const Options& options, const std::string& name, JsonWriter& json) {
    Json left_out = Json::array();
    Reports reports(stderr, [&](uint64_t at, const std::string& what) { left_out.push_back(fault_json(at, what)); });
    json.begin_job(name);
    const auto action = [&] {
        const Input input(options, name);
        if (options.recover) json.member("lost", losses_json(input.losses()));
        const bool sound = write_json(options, input.bytes(), extraction(options), reports, json);
        return std::max(input.lost(), sound ? +kDone : +kFailed);
    };
    const int code = guarded(name, action, &json);
    if (!left_out.empty()) json.member("left_out", left_out);
    json.end_job();
    return code;
}

int run_pages(const Options& options) {
    PageJoin join(options.memory());
    std::list<Input> inputs;
    int code = kDone;
    for (const std::string& name : options.jobs) {
        const int read = guarded(name, [&] {
            const Input& input = inputs.emplace_back(options, name);
            join.add_job(input.bytes());
            return input.lost();
        });
        if (read == kFailed) return kFailed;
        code = std::max(code, read);
    }
    const std::vector<size_t> numbers = chosen_pages(options, join.pages());
    FileOutput out(options.output, options.jobs);
    join.write(numbers, out, [&](size_t job, uint64_t offset, const std::string& what) {
        tell_fault(options.jobs[job], offset, "left out: " + what);
        code = kSomethingLost;
    });
    return code;
}

// The other jobs are read although one is faulty.
int run(const Options& options) {
    if (options.command == "pages") return run_pages(options);
    std::optional<JsonWriter> json;
    if (options.json) json.emplace(stdout, options.command);
    int code = kDone;
    for (const std::string& name : options.jobs) {
        const auto action = [&] {
            const Input input(options, name);
            return std::max(input.lost(), run_command(options, name, input));
        };
        code = std::max(code, json ? run_as_json(options, name, *json) : guarded(name, action));
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

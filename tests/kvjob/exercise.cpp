#include "tests/kvjob/exercise.h"

#include <unistd.h>

#include <filesystem>

#include "tools/kvjob/checker.h"
#include "tools/kvjob/dump.h"
#include "tools/kvjob/fonts.h"
#include "tools/kvjob/images.h"
#include "tools/kvjob/info.h"
#include "tools/kvjob/page_text.h"
#include "tools/kvjob/render/render_job.h"

namespace kvjob::test {
namespace {

namespace fs = std::filesystem;

// What the commands write, gone with the program.
struct Folder {
    fs::path path = fs::temp_directory_path() / ("kvjob_exercise_" + std::to_string(getpid()));
    Folder() { fs::create_directories(path); }
    ~Folder() { fs::remove_all(path); }
};

// A job that is damaged as a whole is told so, and pages of any size may be too large to draw.
template <class Command>
void expect_answer(Command command) {
    try {
        command();
    } catch (const Fault&) {
    } catch (const std::runtime_error&) {
    }
}

void render(Bytes job, const Folder& folder, const char* name, Reports& reports) {
    RenderOptions options;
    options.dots_per_inch = 8;
    options.output = (folder.path / name).string();
    options.pages = {{1, 2}};
    render_job(job, options, reports);
}

}  // namespace

std::unique_ptr<std::FILE, CloseFile> nowhere() {
    return std::unique_ptr<std::FILE, CloseFile>(std::fopen("/dev/null", "w"));
}

void exercise(Bytes job) {
    static const auto out = nowhere();
    static const Folder folder;
    Reports reports(out.get());
    check_job(job);
    expect_answer([&] { print_info(job, out.get()); });
    expect_answer([&] { dump_job(job, {false, std::nullopt}, out.get()); });
    expect_answer([&] { dump_job(job, {true, 1}, out.get()); });
    expect_answer([&] { list_fonts(job, "", out.get(), reports); });
    expect_answer([&] { render(job, folder, "page%d.png", reports); });
    expect_answer([&] { render(job, folder, "job.pdf", reports); });
    expect_answer([&] {
        const JobMap map(job);
        FontStore fonts(map);
        for (size_t page = 0; page < map.pages().size(); ++page) page_text(map, fonts, page, reports);
    });
}

}  // namespace kvjob::test

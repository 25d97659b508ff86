#include "tests/drawing/exercise.h"

#include "drawing/fonts.h"
#include "drawing/images.h"
#include "drawing/page_text.h"
#include "drawing/render_job.h"
#include "reader/checker.h"
#include "reader/dump.h"
#include "reader/info.h"
#include "tests/common/workspace.h"

namespace kvjob::test {
namespace {

// A job that is damaged as a whole is told so, and pages of any size may be too large to draw.
template <class Command>
void expect_answer(Command command) {
    try {
        command();
    } catch (const Fault&) {
    } catch (const std::runtime_error&) {
    }
}

void render(Bytes job, const std::string& output, Reports& reports) {
    RenderOptions options;
    options.dots_per_inch = 8;
    options.output = output;
    options.pages = [](size_t) { return std::vector<size_t>{1, 2}; };
    render_job(job, options, reports);
}

}  // namespace

std::unique_ptr<std::FILE, CloseFile> nowhere() {
    return std::unique_ptr<std::FILE, CloseFile>(std::fopen("/dev/null", "w"));
}

void exercise(Bytes job) {
    static const auto out = nowhere();
    static const kv::test::Workspace folder;  // gone with the program
    Reports reports(out.get());
    check_job(job);
    expect_answer([&] { print_info(job, out.get()); });
    expect_answer([&] { dump_job(job, {false, std::nullopt}, out.get()); });
    expect_answer([&] { dump_job(job, {true, 1}, out.get()); });
    expect_answer([&] { list_fonts(job, "", out.get(), reports); });
    expect_answer([&] { render(job, folder.path("page%d.png"), reports); });
    expect_answer([&] { render(job, folder.path("job.pdf"), reports); });
    expect_answer([&] {
        const JobMap map(job);
        FontStore fonts(map);
        for (size_t page = 0; page < map.pages().size(); ++page) page_text(map, fonts, page, reports);
    });
}

}  // namespace kvjob::test

#include "tests/kvjob/exercise.h"

#include <cstdio>
#include <memory>

#include "tools/kvjob/checker.h"
#include "tools/kvjob/dump.h"
#include "tools/kvjob/fonts.h"
#include "tools/kvjob/info.h"
#include "tools/kvjob/page_text.h"

namespace kvjob::test {
namespace {

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

template <class Command>
void expect_answer(Command command) {
    try {
        command();
    } catch (const Fault&) {
    }
}

}  // namespace

void exercise(Bytes job) {
    static const std::unique_ptr<std::FILE, Close> nowhere(std::fopen("/dev/null", "w"));
    check_job(job);
    expect_answer([&] { print_info(job, nowhere.get()); });
    expect_answer([&] { dump_job(job, {false, std::nullopt}, nowhere.get()); });
    expect_answer([&] { dump_job(job, {true, 1}, nowhere.get()); });
    expect_answer([&] { list_fonts(job, "", nowhere.get()); });
    expect_answer([&] {
        const JobMap map(job);
        FontStore fonts(map);
        for (size_t page = 0; page < map.pages().size(); ++page) page_text(map, fonts, page);
    });
}

}  // namespace kvjob::test

#include "tests/drawing/exercise.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdlib>
#include <mutex>

#include "drawing/fonts.h"
#include "drawing/images.h"
#include "drawing/page_words.h"
#include "drawing/render_job.h"
#include "reader/checker.h"
#include "reader/dump.h"
#include "reader/info.h"
#include "reader/join.h"
#include "reader/recover.h"

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

// Cairo 1.16 loses memory in SVG files for each group in which a pattern of lines is used, however it is called.
class SvgLeaks {
public:
    explicit SvgLeaks(RenderOptions::Format format) : are_ignored_(format == RenderOptions::Format::Svg) {
#ifdef __SANITIZE_ADDRESS__
        if (are_ignored_) __lsan_disable();
#endif
    }
    ~SvgLeaks() {
#ifdef __SANITIZE_ADDRESS__
        if (are_ignored_) __lsan_enable();
#endif
    }
    SvgLeaks(const SvgLeaks&) = delete;
    SvgLeaks& operator=(const SvgLeaks&) = delete;

private:
    [[maybe_unused]] bool are_ignored_;
};

void render(Bytes job, RenderOptions::Format format, Reports& reports) {
    const SvgLeaks leaks(format);
    Kept kept;
    RenderOptions options;
    options.open = kept.open();
    options.dots_per_inch = 8;
    options.memory = 32 << 20;
    options.format = format;
    options.output = "page%d";
    options.threads = 2;
    options.pages = [](size_t) { return std::vector<size_t>{1, 2}; };
    render_job(job, options, reports);
}

}  // namespace

std::unique_ptr<std::FILE, CloseFile> nowhere() {
    return std::unique_ptr<std::FILE, CloseFile>(std::fopen("/dev/null", "w"));
}

OpenOutput Kept::open() {
    struct File : Output {
        explicit File(std::vector<uint8_t>& target) : kept(target) {}
        void write(Bytes more) override { bytes.insert(bytes.end(), more.begin(), more.end()); }
        void finish() override { kept = std::move(bytes); }
        std::vector<uint8_t>& kept;
        std::vector<uint8_t> bytes;
    };
    return [this](const std::string& name) {
        static std::mutex mutex;  // pages come from several threads
        const std::lock_guard lock(mutex);
        return std::make_unique<File>(files[name]);
    };
}

void exercise_reading(Bytes job) {
    static const auto out = nowhere();
    check_job(job);
    expect_answer([&] { print_info(read_info(job), out.get()); });
    expect_answer([&] { dump_job(job, std::nullopt, out.get()); });
    expect_answer([&] { dump_job(job, std::set<size_t>{1}, out.get()); });
}

void exercise_saving(Bytes job) {
    const auto expect_sound = [](Bytes made) {
        if (!check_job(made, 1).empty()) std::abort();
    };
    Kept kept;
    expect_answer([&] {
        recover_job(job, *kept.open()("saved"));
        expect_sound(kept.files["saved"]);
    });
    expect_answer([&] {
        PageJoin join;
        join.add_job(job);
        join.add_job(job);
        join.write({join.pages(), 1}, *kept.open()("joined"), [](size_t, uint64_t, const std::string&) {});
        expect_sound(kept.files["joined"]);
    });
}

void exercise_drawing(Bytes job) {
    static const auto out = nowhere();
    Reports reports(out.get());
    expect_answer([&] {
        const JobMap map(job);
        FontStore fonts(map);
        for_each_font(
            map, fonts, [&](const auto& found) { print_font(found, out.get()); }, reports);
    });
    for (const auto format : {RenderOptions::Format::Png, RenderOptions::Format::Svg, RenderOptions::Format::Pdf}) {
        expect_answer([&] { render(job, format, reports); });
    }
    expect_answer([&] {
        const JobMap map(job);
        FontStore fonts(map);
        for (size_t page = 0; page < map.pages().size(); ++page) page_text(map, fonts, page, reports);
    });
}

void exercise(Bytes job) {
    exercise_reading(job);
    exercise_saving(job);
    exercise_drawing(job);
}

}  // namespace kvjob::test

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include "drawing/fonts.h"
#include "drawing/page_words.h"
#include "drawing/render_job.h"
#include "tests/drawing/exercise.h"

namespace kvjob::test {
namespace {

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

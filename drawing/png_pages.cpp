// Pages as PNG files, several at a time.

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>

#include "drawing/png_writer.h"
#include "drawing/rendering.h"

namespace kvjob {
namespace {

class PngPages {
public:
    explicit PngPages(const Rendering& rendering) : rendering_(rendering), dots_(rendering.dots(kDefaultDots)) {
        const uint64_t threads = std::min<uint64_t>(
            {wanted_threads(), rendering.pages.size(), std::max<uint64_t>(1, rendering.memory() / largest_page())});
        threads_ = std::max<uint64_t>(1, threads);
    }

    void run() {
        std::vector<std::thread> others;
        for (uint64_t i = 1; i < threads_; ++i) others.emplace_back([this] { draw_pages(); });
        draw_pages();
        for (std::thread& thread : others) thread.join();
        if (thrown_) std::rethrow_exception(thrown_);
    }

private:
    static constexpr double kDefaultDots = 150;

    uint64_t wanted_threads() const {
        return rendering_.options.threads ? rendering_.options.threads : std::thread::hardware_concurrency();
    }

    Placement place(size_t page) const {
        return place_page(rendering_.summary.pages[page], dots_ / rendering_.summary.resolution);
    }

    // Pages that the memory does not hold side by side are drawn one after another rather than in bands.
    uint64_t largest_page() const {
        uint64_t largest = 1;
        for (const size_t page : rendering_.pages) {
            const Placement at = place(page);
            largest =
                std::max(largest, static_cast<uint64_t>(at.width) * static_cast<uint64_t>(at.height) * kBytesPerPixel);
        }
        return largest;
    }

    // The first failure ends the work of all.
    void draw_pages() {
        try {
            JobPainter painter(rendering_.map, rendering_.summary.resolution, BrushTable::Drawing::Pixels,
                               rendering_.reports);
            for (size_t i = next_++; i < rendering_.pages.size() && !stopped_; i = next_++) {
                draw_page(painter, rendering_.pages[i]);
                const std::lock_guard lock(mutex_);
                rendering_.tell_progress(++done_);
            }
        } catch (...) {
            stopped_ = true;
            const std::lock_guard lock(mutex_);
            if (!thrown_) thrown_ = std::current_exception();
        }
    }

    void draw_page(JobPainter& painter, size_t page) {
        const Placement at = place(page);
        const std::unique_ptr<Output> out = rendering_.options.open(rendering_.name_of(page));
        PngWriter png(*out, {at.width, at.height, PngFormat::Rgb, 8, {}, dots_});
        draw_rows(painter, page, at, rendering_.memory() / threads_, [&](PixelRow row) {
            if (!stopped_) png.write_row(row.data());
        });
        if (!stopped_) png.finish();
    }

    const Rendering& rendering_;
    double dots_;
    uint64_t threads_ = 1;
    std::atomic<size_t> next_ = 0;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    size_t done_ = 0;
    std::exception_ptr thrown_;
};

}  // namespace

void write_pngs(const Rendering& rendering) { PngPages(rendering).run(); }

}  // namespace kvjob

#pragma once
// Jobs drawn as pictures, and the colours that come out.

#include <gtest/gtest.h>
#include <png.h>

#include "drawing/render_job.h"
#include "tests/common/job_builder.h"
#include "tests/drawing/exercise.h"
#include "tests/drawing/job_parts.h"

namespace kvjob::test {

// A drawn page; pixels are 0x00RRGGBB.
class Drawn {
public:
    Drawn(const Buffer& job, double dots_per_inch, uint64_t memory = 0) {
        Kept kept;
        RenderOptions options;
        options.memory = memory;
        options.pages = [](size_t) { return std::vector<size_t>{1}; };
        options.dots_per_inch = dots_per_inch;
        options.output = "page.png";
        options.open = kept.open();
        const auto sink = nowhere();
        Reports reports(sink.get());
        render_job(job, options, reports);
        faults = reports.count();
        png_image image = {};
        image.version = PNG_IMAGE_VERSION;
        const Buffer& file = kept.files["page.png"];
        png_image_begin_read_from_memory(&image, file.data(), file.size());
        image.format = PNG_FORMAT_RGB;
        width_ = static_cast<int>(image.width), height = static_cast<int>(image.height);
        bytes_.resize(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, bytes_.data(), 0, nullptr);
    }
    uint32_t at(int x, int y) const {
        const uint8_t* pixel = &bytes_[static_cast<size_t>(y * width_ + x) * 3];
        return static_cast<uint32_t>(pixel[0] << 16 | pixel[1] << 8 | pixel[2]);
    }
    struct Pixel {
        int x, y;
        uint32_t rgb;
    };
    void expect(std::initializer_list<Pixel> pixels) const {
        for (auto [x, y, rgb] : pixels) EXPECT_EQ(at(x, y), rgb) << x << ", " << y;
    }
    // Pixels of an area that are not white.
    int marked(int left, int top, int right, int bottom) const {
        int count = 0;
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) count += at(x, y) != kWhite;
        }
        return count;
    }
    bool operator==(const Drawn& other) const { return bytes_ == other.bytes_; }
    // The largest difference of a channel, 0 to 255.
    int difference(const Drawn& other) const {
        int largest = bytes_.size() == other.bytes_.size() ? 0 : 255;
        for (size_t i = 0; i < std::min(bytes_.size(), other.bytes_.size()); ++i) {
            largest = std::max(largest, std::abs(bytes_[i] - other.bytes_[i]));
        }
        return largest;
    }

    size_t faults;
    int height;
    int width() const { return width_; }

private:
    int width_;
    Buffer bytes_;
};

template <class Fill>
Drawn draw(Fill fill, double dots_per_inch = 100) {
    JobBuilder job;
    job.page_width = 200, job.page_height = 150;
    job.start_page();
    fill(job);
    return Drawn(job.end_page().finish(), dots_per_inch);
}

}  // namespace kvjob::test

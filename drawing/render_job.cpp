#include "drawing/render_job.h"

#include <cairo-pdf.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>
#include <numeric>

#include "drawing/page_rows.h"
#include "drawing/pdf_canvas.h"
#include "drawing/png_writer.h"

namespace kvjob {
namespace {

constexpr double kPointsPerInch = 72;
// "page-%d.png" or "page-%03d.png"
std::string numbered(const std::string& pattern, size_t number) {
    const size_t percent = pattern.find('%');
    if (percent == std::string::npos) return pattern;
    const size_t end = pattern.find_first_not_of("0123456789", percent + 1);
    if (end == std::string::npos || pattern[end] != 'd') return pattern;
    const std::string digits = std::to_string(number), width = pattern.substr(percent + 1, end - percent - 1);
    const size_t least = std::min<size_t>(width.empty() ? 0 : std::stoul(width.substr(0, 3)), 20);
    const std::string padding(least > digits.size() ? least - digits.size() : 0, '0');
    return pattern.substr(0, percent) + padding + digits + pattern.substr(end + 1);
}

// A PDF file under way.
class PdfFile {
public:
    explicit PdfFile(std::unique_ptr<Output> out) : out_(std::move(out)) {
        surface_.reset(cairo_pdf_surface_create_for_stream(write, this, kPointsPerInch, kPointsPerInch));
        check();
    }
    ~PdfFile() {
        if (surface_) cairo_surface_finish(surface_.get());
    }
    PdfFile(const PdfFile&) = delete;
    PdfFile& operator=(const PdfFile&) = delete;

    cairo_surface_t* get() const { return surface_.get(); }
    void end_page() {
        cairo_surface_show_page(surface_.get());
        check();
    }
    void finish() {
        cairo_surface_finish(surface_.get());
        check();
        surface_.reset();
        out_->finish();
    }

private:
    static cairo_status_t write(void* self, const unsigned char* bytes, unsigned size) {
        auto* file = static_cast<PdfFile*>(self);
        if (file->thrown_) return CAIRO_STATUS_WRITE_ERROR;
        try {
            file->out_->write({bytes, size});
            return CAIRO_STATUS_SUCCESS;
        } catch (...) {
            file->thrown_ = std::current_exception();
            return CAIRO_STATUS_WRITE_ERROR;
        }
    }
    void check() const {
        if (thrown_) std::rethrow_exception(thrown_);
        const cairo_status_t status = cairo_surface_status(surface_.get());
        if (status == CAIRO_STATUS_SUCCESS) return;
        throw std::runtime_error(std::string("no PDF file can be made: ") + cairo_status_to_string(status));
    }
    std::unique_ptr<Output> out_;
    std::exception_ptr thrown_;  // by the output
    Surface surface_;
};

class Rendering {
public:
    Rendering(Bytes file, const RenderOptions& options, Reports& reports)
        : options_(options),
          summary_(find_summary(file)),
          map_(file),
          painter_(map_, summary_.resolution, is_pdf() ? BrushTable::Drawing::Lines : BrushTable::Drawing::Pixels,
                   reports) {
        if (summary_.resolution == 0) throw std::runtime_error("the job does not tell its resolution");
        choose_pages();
    }

    void run() {
        is_pdf() ? write_pdf() : write_pngs();
        if (options_.progress) std::fputs("\r\033[K", stderr);
    }

private:
    bool is_pdf() const { return options_.output.ends_with(".pdf"); }

    void choose_pages() {
        const size_t count = std::min(map_.pages().size(), summary_.pages.size());
        if (options_.pages) {
            pages_ = options_.pages(count);
            std::erase_if(pages_, [&](size_t number) { return number < 1 || number > count; });
        } else {
            pages_.resize(count);
            std::iota(pages_.begin(), pages_.end(), size_t{1});
        }
        if (pages_.empty()) throw std::runtime_error("no such page; the job has " + std::to_string(count));
    }

    template <class Draw>
    void for_each_page(Draw draw) {
        for (size_t i = 0; i < pages_.size(); ++i) {
            if (options_.progress) std::fprintf(stderr, "\rpage %zu of %zu", i + 1, pages_.size());
            const size_t number = pages_[i] - 1;
            const IndexedPage& page = summary_.pages[number];
            draw(number, page);
        }
    }

    void write_pngs() {
        constexpr double kDefault = 150;
        const double dots = options_.dots_per_inch > 0 ? options_.dots_per_inch : kDefault;
        if (pages_.size() > 1 && numbered(options_.output, 1) == numbered(options_.output, 2)) {
            throw std::runtime_error("several pages need a name with %d: " + options_.output);
        }
        for_each_page([&](size_t number, const IndexedPage& page) {
            const Placement place = place_page(page, dots / summary_.resolution);
            const std::unique_ptr<Output> out = options_.open(numbered(options_.output, number + 1));
            PngWriter png(*out, {place.width, place.height, PngFormat::Rgb, 8, {}, dots});
            draw_rows(painter_, number, place, memory(), [&](PixelRow row) { png.write_row(row.data()); });
            png.finish();
        });
    }

    uint64_t memory() const { return options_.memory ? options_.memory : kCanvasMemory; }

    // The dots per inch for a page of pixels beside the PDF page, as many as the memory holds.
    double beside_dots(const IndexedPage& page) const {
        constexpr double kDefault = 300;
        constexpr int kLargestSide = 32766;
        const double dots = options_.dots_per_inch > 0 ? options_.dots_per_inch : kDefault;
        const double width = double{1} * page.width / summary_.resolution,
                     height = double{1} * page.height / summary_.resolution;
        const double held = std::sqrt(static_cast<double>(memory() / kBytesPerPixel) / (width * height));
        return std::min({dots, held, std::floor(kLargestSide / std::max(width, height))});
    }

    void write_pdf() {
        PdfFile pdf(options_.open(options_.output));
        std::vector<size_t> drawn = pages_;
        for (size_t& page : drawn) --page;
        painter_.fit_fonts(drawn);
        for_each_page([&](size_t number, const IndexedPage& page) {
            constexpr int kLargestPage = 100000;  // points; cairo's coordinates end at some millions
            const Placement place = place_page(page, kPointsPerInch / summary_.resolution);
            if (std::max(place.width, place.height) > kLargestPage) throw std::runtime_error("a page is too large");
            cairo_pdf_surface_set_size(pdf.get(), page.width * place.scale, page.height * place.scale);
            std::unique_ptr<RasterCanvas> beside;
            const double dots = beside_dots(page);
            if (PagePainter::reads_pixels(map_, number)) {
                beside = std::make_unique<RasterCanvas>(place_page(page, dots / summary_.resolution));
            }
            PdfCanvas canvas(pdf.get(), place, beside.get(), dots / kPointsPerInch);
            painter_.paint(number, canvas);
            canvas.finish_page();
            pdf.end_page();
        });
        pdf.finish();
    }

    const RenderOptions& options_;
    Summary summary_;
    JobMap map_;
    JobPainter painter_;
    std::vector<size_t> pages_;  // from 1
};

}  // namespace

void render_job(Bytes file, const RenderOptions& options, Reports& reports) { Rendering(file, options, reports).run(); }

}  // namespace kvjob

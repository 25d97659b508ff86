// Pages in a PDF file, and as SVG files.

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <algorithm>
#include <cmath>
#include <ctime>

#include "drawing/paper.h"
#include "drawing/rendering.h"
#include "drawing/vector_canvas.h"
#include "drawing/vector_file.h"
#include "reader/names.h"

namespace kvjob {
namespace {

constexpr double kPointsPerInch = 72, kDefaultDots = 300;

PaperSize size_of(const Rendering& rendering, size_t page) {
    constexpr int kLargestPage = 100000;  // points; cairo's coordinates end at some millions
    const IndexedPage& indexed = rendering.summary.pages[page];
    const PaperSize size = paper_size(indexed, rendering.summary.resolution);
    if (std::max(size.width, size.height) > kLargestPage) throw std::runtime_error("a page is too large");
    return size;
}

// The dots per inch for a page of pixels beside the page, as many as the memory holds.
double beside_dots(const Rendering& rendering, const PaperSize& size) {
    constexpr int kLargestSide = 32766;
    const double width = size.width / kPointsPerInch, height = size.height / kPointsPerInch;
    const double held = std::sqrt(static_cast<double>(rendering.memory() / kBytesPerPixel) / (width * height));
    return std::min({rendering.dots(kDefaultDots), held, std::floor(kLargestSide / std::max(width, height))});
}

void draw_page(const Rendering& rendering, JobPainter& painter, size_t page, VectorFile& file, bool pdf) {
    const IndexedPage& indexed = rendering.summary.pages[page];
    const int resolution = rendering.summary.resolution;
    const double dots = beside_dots(rendering, paper_size(indexed, resolution));
    Pictures pictures(rendering.memory());
    VectorCanvas canvas(
        {file.surface(), place_page(indexed, kPointsPerInch / resolution), pdf,
         pdf && PagePainter::reads_pixels(rendering.map, page), place_page(indexed, dots / resolution),
         dots / kPointsPerInch, [&](Canvas& onto, const Moment& until) { painter.paint_until(page, onto, until); },
         rendering.memory()},
        pictures);
    painter.paint(page, canvas);
    canvas.finish_page();
    file.end_page();
}

std::string iso_time(int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts = {};
    char text[32] = "";
    if (!gmtime_r(&time, &parts) || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) return "";
    return text;
}

void set_metadata(const Rendering& rendering, cairo_surface_t* pdf) {
    const DocumentNames names = read_names(rendering.map.file());
    auto set = [&](cairo_pdf_metadata_t what, const std::string& value) {
        if (!value.empty()) cairo_pdf_surface_set_metadata(pdf, what, value.c_str());
    };
    set(CAIRO_PDF_METADATA_TITLE, rendering.options.title.empty() ? names.title : rendering.options.title);
    set(CAIRO_PDF_METADATA_CREATOR, names.application);
    std::string attached;
    for (const auto& [name, value] : names.attached) {
        if (name == "Author") set(CAIRO_PDF_METADATA_AUTHOR, value);
        attached += (attached.empty() ? "" : "; ") + name + "=" + value;
    }
    set(CAIRO_PDF_METADATA_KEYWORDS, attached);
    if (rendering.options.created) set(CAIRO_PDF_METADATA_CREATE_DATE, iso_time(*rendering.options.created));
}

JobPainter make_painter(const Rendering& rendering) {
    return {rendering.map, rendering.summary.resolution, BrushTable::Drawing::Lines, rendering.reports};
}

}  // namespace

void write_pdf(const Rendering& rendering) {
    JobPainter painter = make_painter(rendering);
    VectorFile file(VectorFile::Format::Pdf, rendering.options.open(rendering.options.output), kPointsPerInch,
                    kPointsPerInch);
    set_metadata(rendering, file.surface());
    painter.fit_fonts(rendering.pages);
    for (size_t i = 0; i < rendering.pages.size(); ++i) {
        rendering.tell_progress(i + 1);
        const size_t page = rendering.pages[i];
        const PaperSize size = size_of(rendering, page);
        cairo_pdf_surface_set_size(file.surface(), size.width, size.height);
        if (rendering.options.pages) {
            cairo_pdf_surface_set_page_label(file.surface(), std::to_string(page + 1).c_str());
        }
        draw_page(rendering, painter, page, file, true);
    }
    file.finish();
}

void write_svgs(const Rendering& rendering) {
    for (size_t i = 0; i < rendering.pages.size(); ++i) {
        rendering.tell_progress(i + 1);
        const size_t page = rendering.pages[i];
        const PaperSize size = size_of(rendering, page);
        JobPainter painter = make_painter(rendering);
        VectorFile file(VectorFile::Format::Svg, rendering.options.open(rendering.name_of(page)), size.width,
                        size.height);
        draw_page(rendering, painter, page, file, false);
        file.finish();
    }
}

}  // namespace kvjob

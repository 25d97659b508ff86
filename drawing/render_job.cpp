#include "drawing/render_job.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "drawing/rendering.h"

namespace kvjob {
namespace {

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

std::vector<size_t> choose_pages(const RenderOptions& options, size_t count) {
    std::vector<size_t> pages(count);
    std::iota(pages.begin(), pages.end(), size_t{1});
    if (options.pages) pages = options.pages(count);
    std::erase_if(pages, [&](size_t number) { return number < 1 || number > count; });
    if (pages.empty()) throw std::runtime_error("no such page; the job has " + std::to_string(count));
    for (size_t& page : pages) --page;
    return pages;
}

// Leaves out the pages that have no area and tells each.
void keep_drawable(std::vector<size_t>& pages, const Summary& summary, Reports& reports) {
    std::erase_if(pages, [&](size_t page) {
        const IndexedPage& indexed = summary.pages[page];
        if (indexed.width > 0 && indexed.height > 0) return false;
        reports.add(indexed.position, "page", std::to_string(page + 1) + " has no area and is left out");
        return true;
    });
    if (pages.empty()) throw std::runtime_error("no page has an area");
}

}  // namespace

std::string Rendering::name_of(size_t page) const { return numbered(options.output, page + 1); }

void Rendering::tell_progress(size_t page) const {
    if (options.progress) std::fprintf(stderr, "\rpage %zu of %zu", page, pages.size());
}

void render_job(Bytes file, const RenderOptions& options, Reports& reports) {
    const Summary summary = find_summary(file);
    const JobMap map(file, options.memory ? options.memory : kCanvasMemory);
    if (summary.resolution == 0) throw std::runtime_error("the job does not tell its resolution");
    std::vector<size_t> pages = choose_pages(options, std::min(map.pages().size(), summary.pages.size()));
    keep_drawable(pages, summary, reports);
    const Rendering rendering = {options, reports, map, summary, std::move(pages)};
    const bool one_file = options.format == RenderOptions::Format::Pdf;
    if (!one_file && rendering.pages.size() > 1 && rendering.name_of(0) == rendering.name_of(1)) {
        throw std::runtime_error("several pages need files of their own, with %d in the name: " + options.output);
    }
    if (one_file) write_pdf(rendering);
    if (options.format == RenderOptions::Format::Svg) write_svgs(rendering);
    if (options.format == RenderOptions::Format::Png) write_pngs(rendering);
    if (options.progress) std::fputs("\r\033[K", stderr);
}

}  // namespace kvjob

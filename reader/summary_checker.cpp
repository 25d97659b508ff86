#include "reader/summary_checker.h"

#include <cstdio>

namespace kvjob {
namespace {

std::string hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

using Expect = std::function<void(bool, const std::string&)>;

void check_statistics(const Summary& summary, const Expected& expected, const Expect& expect) {
    constexpr uint64_t kSmallDocument = 0x20000000;
    const Found& found = expected.found;
    expect(summary.wide != fits_short_form(summary), "the other form of the index was due");
    const uint32_t small = expected.trailer < kSmallDocument ? 1 : 0;
    expect(summary.flags == (small | (found.names_tray ? 4u : 0u)), "document flags " + hex(summary.flags));
    expect(summary.resolution > 0, "resolution 0");
    const bool largest_fits = expected.exact_largest ? summary.largest_record == expected.largest_record
                                                     : summary.largest_record >= expected.largest_record;
    expect(largest_fits, "largest record " + std::to_string(summary.largest_record) + ", found " +
                             std::to_string(expected.largest_record));
    expect(summary.brushes == found.brushes, "number of brushes");
    expect(summary.fonts == found.fonts, "number of fonts");
    expect(summary.font_files == found.font_files, "number of font files");
    expect(summary.largest_entry >= found.largest_entry, "largest path entry");
    expect(summary.largest_clip >= found.largest_clip, "largest rectangle clip");
}

void check_page(const IndexedPage& indexed, const SeenPage& seen, const Expect& expect) {
    expect(indexed.position == seen.offset, "position " + hex(indexed.position) + ", found " + hex(seen.offset));
    const bool flags_fit =
        (indexed.flags & seen.flags) == seen.flags && !(indexed.flags & ~(seen.flags | seen.possible_flags));
    expect(flags_fit, "flags " + hex(indexed.flags) + ", found " + hex(seen.flags));
    const Rect& area = indexed.printable;
    expect(area.left <= area.right && area.top <= area.bottom, "printable area is not normalised");
    const Rect& marks = indexed.marks;
    expect(marks.empty() || contains(indexed.surface(), marks), "marks lie outside the page");
}

}  // namespace

void check_summary(const Summary& summary, const Expected& expected,
                   const std::function<void(const std::string&)>& report) {
    check_statistics(summary, expected, [&](bool ok, const std::string& what) {
        if (!ok) report(what);
    });
    const std::vector<SeenPage>& seen = expected.found.pages;
    if (summary.pages.size() != seen.size()) {
        report("index of " + std::to_string(summary.pages.size()) + " pages, found " + std::to_string(seen.size()));
        return;
    }
    Rect portrait = kEmptyRect, landscape = kEmptyRect;
    for (size_t i = 0; i < seen.size(); ++i) {
        const IndexedPage& page = summary.pages[i];
        check_page(page, seen[i], [&](bool ok, const std::string& what) {
            if (!ok) report("page " + std::to_string(i + 1) + ": " + what);
        });
        Rect& bounds = page.orientation == 1 ? portrait : landscape;
        bounds = united(bounds, page.marks);
    }
    if (portrait != summary.portrait) report("bounds of the portrait pages");
    if (landscape != summary.landscape) report("bounds of the landscape pages");
}

}  // namespace kvjob

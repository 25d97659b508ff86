#include "printhost/region.h"

#include <algorithm>

namespace kvprint {
namespace {

std::vector<Region::Span> common_spans(const std::vector<Region::Span>& a, const std::vector<Region::Span>& b) {
    std::vector<Region::Span> common;
    for (size_t i = 0, j = 0; i < a.size() && j < b.size();) {
        const LONG left = std::max(a[i].left, b[j].left), right = std::min(a[i].right, b[j].right);
        if (left < right) common.push_back({left, right});
        a[i].right < b[j].right ? ++i : ++j;
    }
    return common;
}

}  // namespace

Region::Region(const RECTL& rect) {
    if (rect.left < rect.right) append(rect.top, rect.bottom, {{rect.left, rect.right}});
}

void Region::append(LONG top, LONG bottom, std::vector<Span> spans) {
    if (spans.empty() || top >= bottom) return;
    if (!bands_.empty() && bands_.back().bottom == top && bands_.back().spans == spans) {
        bands_.back().bottom = bottom;
    } else {
        rect_count_ += spans.size();
        bands_.push_back({top, bottom, std::move(spans)});
    }
}

Region Region::intersected(const Region& other) const {
    Region result;
    for (size_t i = 0, j = 0; i < bands_.size() && j < other.bands_.size();) {
        const Band &a = bands_[i], &b = other.bands_[j];
        result.append(std::max(a.top, b.top), std::min(a.bottom, b.bottom), common_spans(a.spans, b.spans));
        a.bottom < b.bottom ? ++i : ++j;
    }
    return result;
}

RECTL Region::bounds() const {
    if (bands_.empty()) return {};
    RECTL all = {bands_[0].spans[0].left, bands_[0].top, 0, bands_.back().bottom};
    for (const Band& band : bands_) {
        all.left = std::min(all.left, band.spans.front().left);
        all.right = std::max(all.right, band.spans.back().right);
    }
    return all;
}

std::vector<RECTL> Region::rects() const {
    std::vector<RECTL> all;
    all.reserve(rect_count_);
    for (const Band& band : bands_) {
        for (const Span& span : band.spans) all.push_back({span.left, band.top, span.right, band.bottom});
    }
    return all;
}

}  // namespace kvprint

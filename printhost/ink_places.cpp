#include "printhost/ink_places.h"

#include <algorithm>

#include "printhost/geometry.h"

namespace kvprint {

namespace {

bool is_same(const RECTL& a, const RECTL& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

}  // namespace

InkPlaces::InkPlaces(LONG width, LONG height)
    : columns_(std::max<LONG>((width + kCell - 1) / kCell, 1)),
      rows_(std::max<LONG>((height + kCell - 1) / kCell, 1)),
      cells_(static_cast<size_t>(columns_) * static_cast<size_t>(rows_)) {}

// Until visit(cell) is false.
template <class Visit>
void InkPlaces::visit_cells(const RECTL& rect, Visit visit) const {
    if (is_empty(rect)) return;
    auto cell_of = [](LONG pixel, LONG count) { return std::clamp<LONG>(pixel / kCell, 0, count - 1); };
    const LONG first = cell_of(rect.left, columns_), last = cell_of(rect.right - 1, columns_);
    const LONG end = cell_of(rect.bottom - 1, rows_);
    for (LONG row = cell_of(rect.top, rows_); row <= end; ++row) {
        for (LONG column = first; column <= last; ++column) {
            if (!visit(static_cast<size_t>(row) * static_cast<size_t>(columns_) + static_cast<size_t>(column))) return;
        }
    }
}

void InkPlaces::mark(const RECTL& rect, ULONG colour) {
    visit_cells(rect, [&](size_t index) {
        Cell& cell = cells_[index];
        if (cell.empty()) used_.push_back(index);
        if (cell.size() < kMostInCell) cell.push_back({rect, colour});
        return true;
    });
}

template <class Test>
bool InkPlaces::has(const RECTL& rect, Test counts) const {
    bool found = false;
    visit_cells(rect, [&](size_t index) {
        const Cell& cell = cells_[index];
        found = cell.size() == kMostInCell || std::any_of(cell.begin(), cell.end(), [&](const Place& place) {
                    return counts(place) && !is_empty(common(place.rect, rect));
                });
        return !found;
    });
    return found;
}

bool InkPlaces::has_other(const RECTL& rect, ULONG colour) const {
    return has(rect, [colour](const Place& place) { return place.colour != colour; });
}

bool InkPlaces::has_any(const RECTL& rect) const {
    return has(rect, [](const Place&) { return true; });
}

bool InkPlaces::has_marked(const RECTL& rect) const {
    return has(rect, [&](const Place& place) { return is_same(place.rect, rect); });
}

void InkPlaces::clear() {
    for (const size_t index : used_) cells_[index].clear();
    used_.clear();
}

}  // namespace kvprint

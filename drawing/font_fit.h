#pragma once
// How wide letters of a job's fonts stand. Definitions hold the em in whole device pixels; the letters' places tell
// what it was before it was rounded.

#include <span>
#include <unordered_map>

#include "drawing/font_store.h"
#include "reader/job_map.h"

namespace kvjob {

// By the em of definitions in device pixels: how much wider than it the letters stand; near 1. Fonts of one size have
// one width, so that a line of several fonts needs no new scale for each.
using FontFits = std::unordered_map<int32_t, double>;

// From the first letters of each size on these pages, which count from 0. Damaged records are passed over.
FontFits fit_fonts(const JobMap& map, FontStore& fonts, std::span<const size_t> pages);

}  // namespace kvjob

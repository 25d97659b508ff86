#pragma once

#include <string>

#include "drawing/font_store.h"
#include "reader/reports.h"

namespace kvjob {

// A page's text in reading order, UTF-8: lines by their baselines, runs along them, a blank where a gap says so; text
// of other directions behind the upright one. Glyphs without a character are U+FFFD. Pages count from 0. Damaged
// records are reported and left out. Throws Fault where the framing ends.
std::string page_text(const JobMap& map, FontStore& fonts, size_t page, Reports& reports);

}  // namespace kvjob

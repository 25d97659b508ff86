#pragma once
// A page's text as words with their places.

#include <string>
#include <vector>

#include "drawing/canvas.h"
#include "drawing/font_store.h"
#include "reader/reports.h"

namespace kvjob {

// Coordinates are device pixels from the printable area's corner; lengths are along the baseline.
struct PlacedWord {
    std::string text;  // UTF-8; glyphs without a character are U+FFFD
    double x, y;       // where its baseline begins
    double length;     // to where its last glyph ends
    double ascent, descent;
};
struct PlacedLine {
    int angle;  // of the baseline: degrees from 0 to 359, counter-clockwise
    std::vector<PlacedWord> words;
};
// Upright bounds.
Box box_of(const PlacedWord& word, int angle);

// Lines from top to bottom, words along them; text of other directions behind the upright one. Pages count from 0.
// Damaged records are reported and left out. Throws Fault where the framing ends.
std::vector<PlacedLine> page_words(const JobMap& map, FontStore& fonts, size_t page, Reports& reports);

// The same as text: a line each, a blank between words.
std::string page_text(const JobMap& map, FontStore& fonts, size_t page, Reports& reports);

}  // namespace kvjob

#pragma once
// The document summary and its page index.

#include <vector>

#include "reader/records.h"

namespace kvjob {

struct IndexedPage {
    uint32_t position;
    uint16_t paper;
    uint8_t orientation, flags;
    int32_t width, height;  // device pixels
    Rect printable, marks;

    // The page's drawing surface: the printable area's size at the origin.
    Rect surface() const;
};

struct Summary {
    bool wide = false;  // the 32-bit form
    uint32_t flags = 0;
    uint32_t largest_record = 0, brushes = 0, fonts = 0, font_files = 0, largest_entry = 0, largest_clip = 0;
    uint16_t resolution = 0;
    Rect portrait = kEmptyRect, landscape = kEmptyRect;
    std::vector<IndexedPage> pages;
};

// Whether the body of a type 21 record only announces a page index record.
bool announces_index(Bytes body);
// The body of a type 21 record, or of a type 55 record in the wide form. Throws BodyFault.
Summary read_summary(Bytes body, bool wide);
// Every coordinate of the summary fits 16 bits, so that it takes the short form.
bool fits_short_form(const Summary& summary);

// Where the trailer begins, by the last record. Throws Fault.
uint64_t summary_position(Bytes file);
// The trailer's summary, found from the end of the file. Throws Fault.
Summary find_summary(Bytes file);

}  // namespace kvjob

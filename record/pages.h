#pragma once
// The pages of a document: their index, and the bounds of what is drawn on them.

#include "record/geometry.h"
#include "record/page_index.h"
#include "support/global_obj.h"
#include "support/memory.h"

namespace kv {

// Document flags of the job's summary.
enum : DWORD { kDocumentSmall = 0x01, kDocumentNamesTray = 0x04 };

struct Pages {
    DWORD page_start = 0;  // position behind the open page's start record, 0 outside pages
    DWORD page_count = 0;
    DWORD document_flags = 0;
    // Device pixels. Marks are the bounds of what is drawn: kEmptyRect while there is nothing.
    RECTL surface_rect = {};
    RECTL page_marks = kEmptyRect, portrait_marks = kEmptyRect, landscape_marks = kEmptyRect;
    PageIndex pages;
    ObjectPtr<CGlobalObj> trays;  // 16-bit tray numbers in order of first use

    // Sets a flag of the page started last.
    void mark_page(BYTE flag);
    // FALSE when memory is out.
    BOOL note_paper_tray(WORD tray);
};

// Adds a rectangle to the bounds of what is drawn on the page, within its surface.
void AddInk(Pages& pages, const RECTL& rect);

}  // namespace kv

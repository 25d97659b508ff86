#include "record/pending_rect_fill.h"

#include <algorithm>

#include "record/document.h"
#include "record/page_index.h"
#include "record/raster_ops.h"
#include "record/record_types.h"
#include "support/assert.h"

namespace kv {
namespace {

// The fills whose result does not depend on what lies under them.
bool is_opaque(BYTE rop) {
    return rop == kRopBlackness || rop == kRopNotPatternCopy || rop == kRopPatternCopy || rop == kRopWhiteness;
}

// The union of both is a rectangle without anything else in it.
bool joins(const RECTL& a, const RECTL& b) {
    if (contains(a, b)) return true;
    if (a.left == b.left && a.right == b.right) return std::max(a.top, b.top) <= std::min(a.bottom, b.bottom);
    return a.top == b.top && a.bottom == b.bottom && std::max(a.left, b.left) <= std::min(a.right, b.right);
}

}  // namespace

BOOL CPendingRectFill::offer_rect_fill(Document&, const RectFill& fill) {
    if (!is_opaque(fill.rop)) return FALSE;
    if (is_empty()) {
        held_ = fill;
        return TRUE;
    }
    if (fill.rop != held_.rop || !joins(held_.rect, fill.rect)) return FALSE;
    held_.rect = union_of(held_.rect, fill.rect);
    KV_ASSERT(contains(held_.rect, fill.rect));
    return TRUE;
}

BOOL CPendingRectFill::flush(Document& document) { return is_empty() || write_rect_fill(document, held_); }

BOOL write_rect_fill(Document& document, const RectFill& fill) {
    const bool narrow = fits_16_bits(fill.rect);
    BYTE body[1 + kRect32Size];
    ByteWriter out(body);
    out.u8(fill.rop);
    narrow ? put_rect16(out, normalized(fill.rect)) : put_rect32(out, normalized(fill.rect));
    if (reads_destination(fill.rop)) document.mark_page(kPageReadsDestination);
    return document.WriteRecord(narrow ? kRecordRectFill16 : kRecordRectFill32, static_cast<DWORD>(out.size()),
                                out.data());
}

}  // namespace kv

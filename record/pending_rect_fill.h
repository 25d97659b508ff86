#pragma once
// A rectangle fill held back, to which fills that extend it are joined.

#include "record/pending_draw.h"

namespace kv {

struct RectFill {
    RECTL rect;  // device pixels, not empty
    BYTE rop;    // ternary
};

class CPendingRectFill : public PendingOperation {
public:
    void reset() override { held_ = {}; }
    BOOL offer_rect_fill(Document& document, const RectFill& fill) override;
    BOOL flush(Document& document) override;
    bool is_empty() const override { return kv::is_empty(held_.rect); }

private:
    RectFill held_ = {};
};

// Writes a fill with the drawing state's brush.
BOOL write_rect_fill(Document& document, const RectFill& fill);

}  // namespace kv

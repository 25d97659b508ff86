#include "record/pending_draw.h"

namespace kv {

BOOL CPendingDraw::flush(Document& document) {
    if (flushing_ || !operation_) return TRUE;
    flushing_ = true;
    BOOL ok = operation_->flush(document);
    flushing_ = false;
    operation_.reset();
    return ok;
}

}  // namespace kv

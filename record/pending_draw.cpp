#include "record/pending_draw.h"

#include "record/document.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {

BOOL CPendingDraw::flush(Document& document) {
    if (flushing_ || !operation_) return TRUE;
    flushing_ = true;
    KV_ASSERT(!operation_->is_empty());
    KV_TRACE(Record, Info, "what is held is written at position %u", static_cast<unsigned>(document.position));
    BOOL ok = operation_->flush(document);
    if (!ok) KV_FAIL(Record, "what was held is lost");
    flushing_ = false;
    operation_.reset();
    return ok;
}

}  // namespace kv

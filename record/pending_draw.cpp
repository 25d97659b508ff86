#include "record/pending_draw.h"

namespace kv {

BOOL CPendingDraw::flush(PDEVICE& device) {
    if (flushing_ || !operation_) return TRUE;
    flushing_ = true;
    BOOL ok = operation_->flush(device);
    flushing_ = false;
    operation_.reset();
    return ok;
}

}  // namespace kv

#pragma once
// The one drawing operation of a device that is held back so that the next like operation may extend it.

#include "support/memory.h"

namespace kv {

struct PDEVICE;

class PendingOperation {
public:
    virtual ~PendingOperation() = default;
    // Writes the operation's records.
    virtual BOOL flush(PDEVICE& device) = 0;
};

class CPendingDraw {
public:
    bool is_pending() const { return operation_ != nullptr; }
    // Takes over an operation in place of what is held, which must have been flushed.
    void hold(ObjectPtr<PendingOperation> operation) { operation_ = std::move(operation); }
    // Writes what is held and forgets it. A flush from within the operation's own writing does nothing.
    BOOL flush(PDEVICE& device);
    // Forgets what is held without writing it.
    void clear() { operation_.reset(); }

private:
    ObjectPtr<PendingOperation> operation_;
    bool flushing_ = false;
};

}  // namespace kv

#pragma once
// The one drawing operation of a device that is held back so that the next like operation may extend it: a run of
// image bands, of rectangle fills or of text. It is written before any other record begins.

#include "platform/ddi.h"
#include "record/geometry.h"
#include "support/assert.h"
#include "support/memory.h"
#include "support/trace.h"

namespace kv {

struct Document;
struct BitmapBand;
struct RectFill;
struct TextRun;

// Refuses every offer and has nothing to write.
class PendingOperation {
public:
    virtual void reset() {}
    virtual ~PendingOperation() = default;
    // TRUE when the operation took what is offered and will write it; an empty operation takes its first one.
    virtual BOOL offer_bitmap(Document&, const BitmapBand&) { return FALSE; }
    virtual BOOL offer_rect_fill(Document&, const RectFill&) { return FALSE; }
    virtual BOOL offer_text_run(Document&, const TextRun&) { return FALSE; }
    // Writes the operation's records.
    virtual BOOL flush(Document&) { return TRUE; }
    virtual bool is_empty() const { return true; }
};

enum class Offer { Taken, Refused, Failed };

class CPendingDraw {
public:
    bool is_pending() const { return operation_ && !operation_->is_empty(); }
    // Offers to the operation that is held. When it refuses it is flushed, and a new Operation is offered the same;
    // Refused means that the caller writes its own records, Failed that the flush failed.
    template <class Operation, class Item>
    Offer offer(Document& document, BOOL (PendingOperation::*take)(Document&, const Item&), const Item& item) {
        KV_ASSERT(!flushing_);
        if (operation_ && (operation_.get()->*take)(document, item)) {
            KV_TRACE(Record, Info, "joined to what is held");
            return Offer::Taken;
        }
        if (!flush(document)) return Offer::Failed;
        ObjectPtr<PendingOperation> fresh(make_object<Operation>());
        if (!fresh || !(fresh.get()->*take)(document, item)) return Offer::Refused;
        KV_TRACE(Record, Info, "held back");
        operation_ = std::move(fresh);
        return Offer::Taken;
    }
    // The same, and what is refused is written at once. FALSE when a write failed.
    template <class Operation, class Item>
    BOOL hold_or_write(Document& document, BOOL (PendingOperation::*take)(Document&, const Item&),
                       BOOL (*write)(Document&, const Item&), const Item& item) {
        const Offer answer = offer<Operation>(document, take, item);
        return answer == Offer::Taken || (answer == Offer::Refused && write(document, item));
    }
    // Writes what is held and forgets it. A flush from within the operation's own writing does nothing.
    BOOL flush(Document& document);
    // Forgets what is held without writing it, also when an exception has ended a flush.
    void clear() {
        flushing_ = false;
        operation_.reset();
        last_xor_ = kEmptyRect;
    }

    // Where the last image was written with exclusive-or, device pixels: the next one there is no new beginning.
    const RECTL& last_xor() const { return last_xor_; }
    void remember_xor(const RECTL& destination) { last_xor_ = destination; }

private:
    ObjectPtr<PendingOperation> operation_;
    RECTL last_xor_ = kEmptyRect;
    bool flushing_ = false;
};

}  // namespace kv

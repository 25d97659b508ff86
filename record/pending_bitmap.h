#pragma once
// An image held back: the horizontal bands in which an application sends one image, joined into one record, and the
// three steps (exclusive-or, and, exclusive-or) by which applications draw images with transparent parts.

#include "image/dib.h"
#include "record/pending_draw.h"

namespace kv {

// An image that a pending bitmap may take.
struct BitmapBand {
    DibView image;
    bool top_down;  // the rows, whatever the header says
    bool keep_alpha;
    bool whole;         // all of the image is drawn
    BYTE rop;           // ternary
    RECTL destination;  // device pixels
};

class CPendingBitmap : public PendingOperation {
public:
    ~CPendingBitmap() override { drop(); }
    void reset() override { drop(); }
    BOOL offer_bitmap(PDEVICE& device, const BitmapBand& band) override;
    BOOL flush(PDEVICE& device) override;
    bool is_empty() const override { return !newest_; }

private:
    struct Band {
        ObjectPtr<Band> older;
        PackedDib dib;
    };
    void drop();
    bool continues(const BitmapBand& band) const;
    BOOL append(const BitmapBand& band);
    BOOL offer_mask(PDEVICE& device, const BitmapBand& band);
    bool mask_fits() const;
    BOOL join(PackedDib& image);
    BOOL flush_masked(PDEVICE& device);

    BYTE rop_ = 0;
    RECTL destination_ = {};
    ObjectPtr<Band> newest_;
    unsigned count_ = 0;
    uint64_t bytes_ = 0;  // of the bands' pixels
    int64_t rows_ = 0;
    bool complete_ = false;           // the third step came
    ObjectPtr<CPendingBitmap> mask_;  // the second step's image
};

}  // namespace kv

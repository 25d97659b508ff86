#pragma once
// An image held back: the horizontal bands in which an application sends one image, joined into one record, and the
// three steps by which applications draw images with transparent parts: an image with exclusive-or, a mask with and,
// the same image with exclusive-or again.

#include <limits>

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
    BOOL offer_bitmap(Document& document, const BitmapBand& band) override;
    BOOL flush(Document& document) override;
    bool is_empty() const override { return !newest_; }

private:
    struct Band {
        ObjectPtr<Band> older;
        PackedDib dib;
    };
    void drop();
    // Device pixels a row.
    struct Scales {
        double least = 0, most = std::numeric_limits<double>::infinity();
    };
    Scales scales_of_more() const;
    bool continues(const BitmapBand& band) const;
    BOOL append(const BitmapBand& band);
    bool starts_where_held(const BitmapBand& band) const;
    BOOL offer_mask(Document& document, const BitmapBand& band);
    BOOL offer_again(Document& document, const BitmapBand& band);
    bool covers(const ObjectPtr<CPendingBitmap>& step) const;
    bool has_pixels_of(const DibView& image) const;
    BOOL join(PackedDib& image);
    BOOL write_masked(Document& document, const DibView& image);

    BYTE rop_ = 0;
    RECTL destination_ = {};
    ObjectPtr<Band> newest_;
    unsigned count_ = 0;
    uint64_t bytes_ = 0;  // of the bands' pixels
    int64_t rows_ = 0;
    Scales scales_;                    // that keep the bands in their places
    ObjectPtr<CPendingBitmap> mask_;   // the second step's image
    ObjectPtr<CPendingBitmap> again_;  // the third step's
    bool stepwise_ = false;            // what came instead of the third step needs the first two on the page
};

}  // namespace kv

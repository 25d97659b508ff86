#pragma once
// The pixels of a PDF's image as bitmaps of the printer interface: one bit, indices and gray stay what they are, all
// other colours become red, green and blue.

#include <memory>
#include <vector>

#include "engine/objects.h"
#include "printhost/mupdf.h"

namespace kvprint {

// How an image lies on the page: columns and rows changed over first, then mirrored.
struct Turn {
    bool swapped = false, mirrored_across = false, mirrored_down = false;
    // False when the matrix, from a unit square to device pixels, turns or slants by more than half a pixel.
    bool find(fz_matrix ctm);
};

class ImageSource {
public:
    enum class Kind {
        Stencil,  // one bit, 0 where it is painted
        Plain,    // opaque
        Masked,   // with a mask of one bit
        Blended,  // with alpha
    };

    // mask: the image's, or null. masks: whether one of one bit a pixel is kept as such. room: the device pixels that
    // it fills, and the bytes that one picture of samples may take; what has more pixels than the device by a power of
    // two, or does not fit, is reduced while it is decoded. One bit a pixel stays that, if it fits.
    enum class Masks { OneBit, Alpha };
    struct Room {
        LONG across, down;
        size_t bytes;
    };
    ImageSource(fz_context* context, fz_image* image, fz_image* mask, Turn turn, Masks masks, Room room);

    Kind kind() const { return kind_; }
    LONG width() const { return width_; }
    LONG height() const { return height_; }
    // It is coarser than the device, as its samples did not fit.
    bool is_coarse() const { return coarse_; }

    // Rows from the top, the end exclusive; bottom-up bitmaps.
    std::unique_ptr<kv::engine::Bitmap> rows(LONG top, LONG end) const;
    std::unique_ptr<kv::engine::Bitmap> mask_rows(LONG top, LONG end) const;
    // A stencil in a colour, with alpha. Colours are in the surface's order.
    std::unique_ptr<kv::engine::Bitmap> tinted_rows(LONG top, LONG end, ULONG colour) const;
    // The colours of a bitmap with indices; null for others.
    kv::engine::Translation* translation() const { return translation_.get(); }

private:
    void load_stencil(fz_image* image);
    void load_colours(fz_image* image);
    void load_indices(fz_image* image);
    void load_gray(fz_image* image);
    void load_mask(fz_image* mask, Masks masks);
    Pixmap get(fz_image* image);
    fz_matrix wanted_size(fz_image* image);
    void limit_blended();
    Pixmap converted(const Pixmap& source, fz_colorspace* space) const;
    std::unique_ptr<kv::engine::Bitmap> blended_rows(LONG top, LONG end) const;

    fz_context* context_;
    Turn turn_;
    Room room_;
    bool coarse_ = false;
    Kind kind_ = Kind::Plain;
    ULONG format_ = BMF_24BPP;
    LONG width_ = 0, height_ = 0;
    Pixmap colours_, mask_;
    std::unique_ptr<kv::engine::Translation> translation_;
};

}  // namespace kvprint

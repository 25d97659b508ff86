#pragma once
// Pixels of any plainly stored bitmap as 32-bit colours.

#include "image/dib.h"
#include "support/assert.h"

namespace kv {

class PixelReader {
public:
    // FALSE for rows that are not stored plainly, depths other than 1, 4, 8, 16, 24 and 32, masks that are not runs of
    // bits, and bitmaps without pixels or above kMaxDibSize. The bitmap must outlive the reader.
    BOOL open(const DibView& dib, Alpha alpha = Alpha::Drop);

    DWORD width() const { return width_; }
    DWORD rows() const { return rows_; }
    // The bytes blue, green, red (and a fourth) of each pixel, just as they are stored.
    bool is_stored_bgr() const { return kind_ == Kind::Bgr24; }
    bool is_stored_bgrx() const { return kind_ == Kind::Bgr32; }

    // Rows count in the order in which they are stored.
    const BYTE* stored_row(DWORD row) const {
        KV_ASSERT(row < rows_);
        return bits_ + size_t{row} * stride_;
    }
    // `count` colours from pixel `first` on, 0x00RRGGBB, of masks that leave bits for it with the alpha in the top
    // byte. `first` is a multiple of 8.
    void read(DWORD row, DWORD first, DWORD count, DWORD* colors) const;

private:
    enum class Kind { Index1, Index4, Index8, Bgr24, Bgr32, Masked16, Masked24, Masked32 };
    // Some bits of a pixel, widened to 8 by repeating them: (pixel >> shift & mask) * repeat >> excess.
    struct Field {
        DWORD shift = 0, mask = 0, repeat = 0, excess = 0;
        bool set(DWORD bits);
        DWORD of(DWORD pixel) const { return (pixel >> shift & mask) * repeat >> excess; }
    };
    bool set_masks(DWORD red, DWORD green, DWORD blue, DWORD alpha);
    bool read_masks(const DibView& dib, Alpha alpha);
    DWORD masked(DWORD pixel) const {
        return fields_[0].of(pixel) | fields_[1].of(pixel) << 8 | fields_[2].of(pixel) << 16;
    }

    Kind kind_ = Kind::Index1;
    DWORD width_ = 0, rows_ = 0, stride_ = 0;
    const BYTE* bits_ = nullptr;
    Field fields_[4];     // blue, green, red, alpha
    DWORD palette_[256];  // as many entries as the depth has
};

}  // namespace kv

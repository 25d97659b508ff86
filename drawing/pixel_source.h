#pragma once
// The pixels that a record draws, with the transparency that its kind gives them.

#include <functional>

#include "reader/picture.h"

namespace kvjob {

class PixelSource {
public:
    // Throws BodyFault where the record's bitmap cannot be read.
    PixelSource(const Record& record, const Image& image);

    // The part of the source rectangle that the bitmap has, and where on the page it goes, perhaps turned over.
    int32_t width() const { return part_.right - part_.left; }
    int32_t height() const { return part_.bottom - part_.top; }
    const Rect& target() const { return target_; }
    bool opaque() const { return alpha_ == Alpha::Opaque; }
    // A JPEG stream whose pixels are all drawn as they are; else empty.
    Bytes whole_jpeg() const;
    // Applies an operation that reads the source alone to every pixel.
    void invert_colours() { inverted_ = true; }

    // The part's rows from the top, premultiplied. Throws BodyFault where the data are damaged.
    void read(const std::function<void(std::span<const uint32_t>)>& sink) const;

private:
    enum class Alpha { Opaque, Constant, PerPixel, Key, Mask };

    void choose_alpha(const Record& record, const Image& image);
    uint32_t blended(uint32_t pixel) const;
    void change(std::span<uint32_t> row, int32_t y) const;

    Picture picture_;
    Rect source_, part_, target_;
    Alpha alpha_ = Alpha::Opaque;
    uint32_t constant_ = 255;  // alpha of the whole picture
    uint32_t key_ = 0;         // 0x00RRGGBB that is not drawn
    std::vector<bool> drawn_;  // by the mask, of the source rectangle
    bool inverted_ = false;
};

}  // namespace kvjob

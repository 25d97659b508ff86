#include "drawing/pixel_source.h"

#include <algorithm>

namespace kvjob {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;

uint32_t scaled(uint32_t value, uint32_t alpha) { return (value * alpha + 127) / 255; }

std::vector<bool> read_mask(const Image& image, int32_t width, int32_t height) {
    const Picture mask = Picture::mask_of(image);
    if (mask.width() != width || mask.height() != height) throw BodyFault("mask of another size than the source");
    std::vector<bool> drawn;
    mask.read([&](int32_t, Picture::Row row) {
        for (const uint32_t pixel : row) drawn.push_back((pixel & ~kOpaque) != 0);
    });
    return drawn;
}

}  // namespace

PixelSource::PixelSource(const Record& record, const Image& image)
    : picture_(Picture::of(record, image)), source_(image.source) {
    if (source_.empty() || !contains({0, 0, picture_.width(), picture_.height()}, source_)) {
        throw BodyFault("source lies outside the bitmap");
    }
    choose_alpha(record, image);
}

void PixelSource::choose_alpha(const Record& record, const Image& image) {
    constexpr uint32_t kPerPixel = 0x01000000;
    switch (type_info(record.type).body) {
        case Body::AlphaBlend:
            constant_ = image.blend >> 16 & 0xFF;
            alpha_ = constant_ == 255 ? Alpha::Opaque : Alpha::Constant;
            if ((image.blend & kPerPixel) && !picture_.indexed() && picture_.depth() == 32) alpha_ = Alpha::PerPixel;
            break;
        case Body::Transparent:
            alpha_ = Alpha::Key;
            key_ = static_cast<uint32_t>(image.colour[0] << 16 | image.colour[1] << 8 | image.colour[2]);
            break;
        case Body::Masked:
            alpha_ = Alpha::Mask;
            drawn_ = read_mask(image, width(), height());
            break;
        default:
            break;
    }
}

Bytes PixelSource::whole_jpeg() const {
    const bool whole = source_ == Rect{0, 0, picture_.width(), picture_.height()};
    return whole && opaque() && !inverted_ ? picture_.jpeg() : Bytes();
}

// By the alpha of the whole and, where it counts, the pixel's own, which is premultiplied.
uint32_t PixelSource::blended(uint32_t pixel) const {
    const uint32_t own = alpha_ == Alpha::PerPixel ? pixel >> 24 : 255, alpha = scaled(own, constant_);
    auto channel = [&](int shift) { return scaled(std::min(pixel >> shift & 0xFF, own), constant_) << shift; };
    return alpha << 24 | channel(16) | channel(8) | channel(0);
}

void PixelSource::change(std::span<uint32_t> row, int32_t y) const {
    switch (alpha_) {
        case Alpha::Opaque:
            std::transform(row.begin(), row.end(), row.begin(), [](uint32_t pixel) { return pixel | kOpaque; });
            break;
        case Alpha::Constant:
        case Alpha::PerPixel:
            std::transform(row.begin(), row.end(), row.begin(), [&](uint32_t pixel) { return blended(pixel); });
            break;
        case Alpha::Key:
            std::transform(row.begin(), row.end(), row.begin(),
                           [&](uint32_t pixel) { return (pixel & ~kOpaque) == key_ ? 0 : pixel | kOpaque; });
            break;
        case Alpha::Mask: {
            const size_t first = static_cast<size_t>(y) * row.size();
            for (size_t x = 0; x < row.size(); ++x) row[x] = drawn_[first + x] ? row[x] | kOpaque : 0;
            break;
        }
    }
}

void PixelSource::read(const std::function<void(std::span<const uint32_t>)>& sink) const {
    std::vector<uint32_t> changed;
    picture_.read([&](int32_t y, Picture::Row row) {
        if (y < source_.top || y >= source_.bottom) return;
        const auto part = row.subspan(static_cast<size_t>(source_.left), static_cast<size_t>(width()));
        changed.resize(part.size());
        const uint32_t flip = inverted_ ? ~kOpaque : 0;
        std::transform(part.begin(), part.end(), changed.begin(), [&](uint32_t pixel) { return pixel ^ flip; });
        change(changed, y - source_.top);
        sink(changed);
    });
}

}  // namespace kvjob

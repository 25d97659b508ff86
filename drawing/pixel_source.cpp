#include "drawing/pixel_source.h"

#include <algorithm>
#include <cmath>

namespace kvjob {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;

// Brings the target's edges, which may be turned over, to where the part of the source that exists is drawn.
void crop(int32_t source, int32_t source_end, int32_t part, int32_t part_end, int32_t& target, int32_t& target_end) {
    const double from = source, to = source_end, start = target, scale = (target_end - start) / (to - from);
    if (part != source) target = static_cast<int32_t>(std::lround(start + (part - from) * scale));
    if (part_end != source_end) target_end = static_cast<int32_t>(std::lround(start + (part_end - from) * scale));
}

uint32_t scaled(uint32_t value, uint32_t alpha) { return (value * alpha + 127) / 255; }

std::vector<bool> read_mask(const Image& image) {
    const Picture mask = Picture::mask_of(image);
    const Rect& source = image.source;
    const bool covers =
        mask.width() == int64_t{source.right} - source.left && mask.height() == int64_t{source.bottom} - source.top;
    if (!covers) throw BodyFault("mask of another size than the source");
    std::vector<bool> drawn;
    mask.read([&](int32_t, Picture::Row row) {
        for (const uint32_t pixel : row) drawn.push_back((pixel & ~kOpaque) != 0);
    });
    return drawn;
}

}  // namespace

PixelSource::PixelSource(const Record& record, const Image& image)
    : picture_(Picture::of(record, image)), source_(image.source) {
    part_ = intersection(source_, {0, 0, picture_.width(), picture_.height()});
    if (part_.empty()) throw BodyFault("source lies outside the bitmap");
    target_ = image.target;
    crop(source_.left, source_.right, part_.left, part_.right, target_.left, target_.right);
    crop(source_.top, source_.bottom, part_.top, part_.bottom, target_.top, target_.bottom);
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
            drawn_ = read_mask(image);
            break;
        default:
            break;
    }
}

Bytes PixelSource::whole_jpeg() const {
    const bool whole = part_ == Rect{0, 0, picture_.width(), picture_.height()};
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
                           [&](uint32_t pixel) { return picture_.is_key(pixel, key_) ? 0 : pixel | kOpaque; });
            break;
        case Alpha::Mask: {
            const auto across = static_cast<size_t>(source_.right - source_.left);
            const size_t first =
                static_cast<size_t>(y - source_.top) * across + static_cast<size_t>(part_.left - source_.left);
            for (size_t x = 0; x < row.size(); ++x) row[x] = drawn_[first + x] ? row[x] | kOpaque : 0;
            break;
        }
    }
}

void PixelSource::read(const std::function<void(std::span<const uint32_t>)>& sink) const {
    std::vector<uint32_t> changed;
    picture_.read([&](int32_t y, Picture::Row row) {
        if (y < part_.top || y >= part_.bottom) return;
        const auto part = row.subspan(static_cast<size_t>(part_.left), static_cast<size_t>(width()));
        changed.resize(part.size());
        const uint32_t flip = inverted_ ? ~kOpaque : 0;
        std::transform(part.begin(), part.end(), changed.begin(), [&](uint32_t pixel) { return pixel ^ flip; });
        change(changed, y);
        sink(changed);
    });
}

}  // namespace kvjob

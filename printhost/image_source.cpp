#include "printhost/image_source.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kvprint {
namespace {

using kv::engine::Bitmap;
using kv::engine::RowOrder;
using kv::engine::Translation;

constexpr unsigned char kHalf = 128;
constexpr ULONG kBlack = 0, kWhite = 0xFFFFFF;

LONG width_of(const Pixmap& pixmap) { return pixmap.get()->w; }
LONG height_of(const Pixmap& pixmap) { return pixmap.get()->h; }
const unsigned char* row_of(const Pixmap& pixmap, LONG y) {
    return pixmap.get()->samples + ptrdiff_t{y} * pixmap.get()->stride;
}
// Samples a pixel.
int depth_of(const Pixmap& pixmap) { return pixmap.get()->n; }
bool has_alpha(const Pixmap& pixmap) { return pixmap.get()->alpha != 0; }

std::vector<ULONG> gray_ramp() {
    std::vector<ULONG> ramp(256);
    for (ULONG i = 0; i < 256; ++i) ramp[i] = i * 0x010101;
    return ramp;
}

bool is_bilevel(const Pixmap& pixmap) {
    for (LONG y = 0; y < height_of(pixmap); ++y) {
        const unsigned char* row = row_of(pixmap, y);
        if (std::any_of(row, row + width_of(pixmap), [](unsigned char gray) { return gray != 0 && gray != 255; })) {
            return false;
        }
    }
    return true;
}

// Bits of a row, the leftmost highest, for the samples that the test accepts.
template <class Test>
void put_bits(const unsigned char* samples, LONG width, BYTE* out, Test test) {
    for (LONG x = 0; x < width; ++x) {
        if (test(samples[x])) out[x / 8] = static_cast<BYTE>(out[x / 8] | 0x80 >> x % 8);
    }
}

void put_nibbles(const unsigned char* samples, LONG width, BYTE* out) {
    for (LONG x = 0; x < width; ++x) {
        out[x / 2] = static_cast<BYTE>(out[x / 2] | (samples[x] & 0xF) << (x % 2 ? 0 : 4));
    }
}

void put_colours(const unsigned char* rgb, int depth, LONG width, BYTE* out) {
    for (LONG x = 0; x < width; ++x, rgb += depth, out += 3) {
        out[0] = rgb[2];
        out[1] = rgb[1];
        out[2] = rgb[0];
    }
}

// In fewer pixels: each is the average of those that lie on it.
Pixmap averaged(fz_context* context, const Pixmap& source, LONG width, LONG height) {
    const fz_pixmap& from = *source.get();
    Pixmap result = make_held<Pixmap>(
        context, [&] { return fz_new_pixmap(context, from.colorspace, width, height, nullptr, from.alpha); });
    auto first_of = [](LONG at, LONG size, LONG whole) { return static_cast<LONG>(LONGLONG{at} * whole / size); };
    const int depth = from.n;
    std::vector<uint64_t> sum(static_cast<size_t>(depth));
    for (LONG y = 0; y < height; ++y) {
        const LONG top = first_of(y, height, from.h), bottom = first_of(y + 1, height, from.h);
        unsigned char* out = result.get()->samples + ptrdiff_t{y} * result.get()->stride;
        for (LONG x = 0; x < width; ++x) {
            const LONG left = first_of(x, width, from.w), right = first_of(x + 1, width, from.w);
            std::fill(sum.begin(), sum.end(), 0);
            for (LONG row = top; row < bottom; ++row) {
                const unsigned char* sample = row_of(source, row) + ptrdiff_t{left} * depth;
                for (LONG x_in = left; x_in < right; ++x_in) {
                    for (uint64_t& component : sum) component += *sample++;
                }
            }
            const auto count = static_cast<uint64_t>(right - left) * static_cast<uint64_t>(bottom - top);
            for (const uint64_t component : sum) *out++ = static_cast<unsigned char>((component + count / 2) / count);
        }
    }
    return result;
}

BYTE times(int value, int alpha) { return static_cast<BYTE>((value * alpha + 127) / 255); }

}  // namespace

bool Turn::find(fz_matrix ctm) {
    constexpr float kHalfPixel = 0.5f;
    const bool upright = std::abs(ctm.b) < kHalfPixel && std::abs(ctm.c) < kHalfPixel;
    swapped = !upright && std::abs(ctm.a) < kHalfPixel && std::abs(ctm.d) < kHalfPixel;
    mirrored_across = (swapped ? ctm.c : ctm.a) < 0;
    mirrored_down = (swapped ? ctm.b : ctm.d) < 0;
    return upright || swapped;
}

ImageSource::ImageSource(fz_context* context, fz_image* image, fz_image* mask, Turn turn, Masks masks, Room room)
    : context_(context), turn_(turn), room_(room) {
    if (image->imagemask) {
        load_stencil(image);
    } else {
        load_colours(image);
        if (mask) load_mask(mask, masks);
    }
}

// The size, as the diagonal of a matrix, below which a decoder does not go: it halves the samples while twice that is
// left.
fz_matrix ImageSource::wanted_size(fz_image* image) {
    constexpr int kMostHalvings = 6;  // of MuPDF's decoders
    auto pixels = [](LONG size) { return static_cast<float>(std::max<LONG>(size, 1)); };
    float width = pixels(turn_.swapped ? room_.down : room_.across);
    float height = pixels(turn_.swapped ? room_.across : room_.down);
    if (image->bpc == 1) {
        width = static_cast<float>(image->w);
        height = static_cast<float>(image->h);
    }
    const uint64_t depth = 1 + (image->colorspace ? static_cast<uint64_t>(image->colorspace->n) : 0);
    int halvings = 0;
    auto bytes = [&] { return (uint64_t(image->w) >> halvings) * (uint64_t(image->h) >> halvings) * depth; };
    while (bytes() > room_.bytes && halvings < kMostHalvings) ++halvings;
    if (bytes() > room_.bytes) throw std::runtime_error("too large");
    constexpr float kSlack = 2;  // pixels that MuPDF leaves between
    const float fitting_width = static_cast<float>(image->w >> halvings) - kSlack;
    const float fitting_height = static_cast<float>(image->h >> halvings) - kSlack;
    if (halvings > 0 && (fitting_width < width || fitting_height < height)) {
        coarse_ = true;
        width = std::max(std::min(width, fitting_width), 1.0f);
        height = std::max(std::min(height, fitting_height), 1.0f);
    }
    return fz_scale(width, height);
}

// The image's samples, turned as it lies on the page.
Pixmap ImageSource::get(fz_image* image) {
    fz_matrix size = wanted_size(image);
    int width_drawn = 0, height_drawn = 0;  // which MuPDF works out and nobody needs
    Pixmap whole = make_held<Pixmap>(context_, [&] {
        return fz_get_pixmap_from_image(context_, image, nullptr, &size, &width_drawn, &height_drawn);
    });
    if (!turn_.swapped && !turn_.mirrored_across && !turn_.mirrored_down) return whole;
    const LONG width = turn_.swapped ? height_of(whole) : width_of(whole);
    const LONG height = turn_.swapped ? width_of(whole) : height_of(whole);
    Pixmap turned = make_held<Pixmap>(context_, [&] {
        return fz_new_pixmap(context_, whole.get()->colorspace, width, height, nullptr, whole.get()->alpha);
    });
    const int depth = depth_of(whole);
    const ptrdiff_t step = turn_.swapped ? whole.get()->stride : depth;
    for (LONG y = 0; y < height; ++y) {
        const LONG line = turn_.mirrored_down ? height - 1 - y : y;
        const unsigned char* from =
            turn_.swapped ? whole.get()->samples + ptrdiff_t{line} * depth : row_of(whole, line);
        unsigned char* to = turned.get()->samples + ptrdiff_t{y} * turned.get()->stride;
        for (LONG x = 0; x < width; ++x) {
            const LONG column = turn_.mirrored_across ? width - 1 - x : x;
            std::memcpy(to + ptrdiff_t{x} * depth, from + column * step, static_cast<size_t>(depth));
        }
    }
    return turned;
}

Pixmap ImageSource::converted(const Pixmap& source, fz_colorspace* space) const {
    return make_held<Pixmap>(context_, [&] {
        return fz_convert_pixmap(context_, source.get(), space, nullptr, nullptr, fz_default_color_params, 1);
    });
}

void ImageSource::load_stencil(fz_image* image) {
    kind_ = Kind::Stencil;
    mask_ = get(image);
    width_ = width_of(mask_);
    height_ = height_of(mask_);
    format_ = BMF_1BPP;
    translation_ = std::make_unique<Translation>(std::vector<ULONG>{kBlack, kWhite});
}

void ImageSource::load_colours(fz_image* image) {
    colours_ = get(image);
    width_ = width_of(colours_);
    height_ = height_of(colours_);
    fz_colorspace* space = colours_.get()->colorspace;
    const bool opaque = !has_alpha(colours_);
    if (opaque && fz_colorspace_is_indexed(context_, space)) {
        load_indices(image);
    } else if (opaque && fz_colorspace_is_gray(context_, space)) {
        load_gray(image);
    } else {
        colours_ = converted(colours_, fz_device_rgb(context_));
        if (!opaque) kind_ = Kind::Blended;
    }
}

void ImageSource::load_indices(fz_image* image) {
    const int bits = image->bpc <= 1 ? 1 : image->bpc <= 4 ? 4 : 8;
    format_ = bits == 1 ? BMF_1BPP : bits == 4 ? BMF_4BPP : BMF_8BPP;
    // The table's colours are those of a picture of all indices.
    const int count = 1 << bits;
    Pixmap all = make_held<Pixmap>(
        context_, [&] { return fz_new_pixmap(context_, colours_.get()->colorspace, count, 1, nullptr, 0); });
    for (int i = 0; i < count; ++i) all.get()->samples[i] = static_cast<unsigned char>(i);
    all = converted(all, fz_device_rgb(context_));
    std::vector<ULONG> table;
    for (int i = 0; i < count; ++i) {
        const unsigned char* rgb = all.get()->samples + i * depth_of(all);
        table.push_back(ULONG{rgb[0]} << 16 | ULONG{rgb[1]} << 8 | rgb[2]);
    }
    translation_ = std::make_unique<Translation>(std::move(table));
}

void ImageSource::load_gray(fz_image* image) {
    if (!fz_colorspace_is_device_gray(context_, colours_.get()->colorspace)) {
        colours_ = converted(colours_, fz_device_gray(context_));
    }
    const bool bilevel = image->bpc == 1 && is_bilevel(colours_);
    format_ = bilevel ? BMF_1BPP : BMF_8BPP;
    translation_ = std::make_unique<Translation>(bilevel ? std::vector<ULONG>{kBlack, kWhite} : gray_ramp());
}

void ImageSource::load_mask(fz_image* mask, Masks masks) {
    mask_ = get(mask);
    if (depth_of(mask_) > 1) mask_ = converted(mask_, fz_device_gray(context_));
    const bool same_size = width_of(mask_) == width_ && height_of(mask_) == height_;
    if (masks == Masks::OneBit && kind_ == Kind::Plain && mask->bpc == 1 && same_size && is_bilevel(mask_)) {
        kind_ = Kind::Masked;
        return;
    }
    kind_ = Kind::Blended;
    if (translation_) colours_ = converted(colours_, fz_device_rgb(context_));
    translation_.reset();
    format_ = BMF_24BPP;
    width_ = std::max(width_, width_of(mask_));
    height_ = std::max(height_, height_of(mask_));
    limit_blended();
}

// Neither image nor mask has more pixels than the device: what lies on one of its pixels is averaged.
void ImageSource::limit_blended() {
    width_ = std::min(width_, std::max<LONG>(room_.across, 1));
    height_ = std::min(height_, std::max<LONG>(room_.down, 1));
    for (Pixmap* samples : {&colours_, &mask_}) {
        const LONG width = std::min(width_of(*samples), width_), height = std::min(height_of(*samples), height_);
        if (width < width_of(*samples) || height < height_of(*samples)) {
            *samples = averaged(context_, *samples, width, height);
        }
    }
}

std::unique_ptr<Bitmap> ImageSource::rows(LONG top, LONG end) const {
    if (kind_ == Kind::Blended) return blended_rows(top, end);
    const Pixmap& source = kind_ == Kind::Stencil ? mask_ : colours_;
    auto bitmap = std::make_unique<Bitmap>(format_, width_, end - top, RowOrder::BottomUp);
    for (LONG y = top; y < end; ++y) {
        const unsigned char* samples = row_of(source, y);
        BYTE* out = bitmap->row(y - top);
        if (kind_ == Kind::Stencil) {
            put_bits(samples, width_, out, [](unsigned char painted) { return painted < kHalf; });
        } else if (format_ == BMF_1BPP) {
            put_bits(samples, width_, out, [](unsigned char index) { return index != 0; });
        } else if (format_ == BMF_4BPP) {
            put_nibbles(samples, width_, out);
        } else if (format_ == BMF_8BPP) {
            std::memcpy(out, samples, static_cast<size_t>(width_));
        } else {
            put_colours(samples, depth_of(source), width_, out);
        }
    }
    return bitmap;
}

std::unique_ptr<Bitmap> ImageSource::mask_rows(LONG top, LONG end) const {
    auto bitmap = std::make_unique<Bitmap>(BMF_1BPP, width_, end - top, RowOrder::BottomUp);
    for (LONG y = top; y < end; ++y) {
        put_bits(row_of(mask_, y), width_, bitmap->row(y - top), [](unsigned char alpha) { return alpha >= kHalf; });
    }
    return bitmap;
}

std::unique_ptr<Bitmap> ImageSource::tinted_rows(LONG top, LONG end, ULONG colour) const {
    auto bitmap = std::make_unique<Bitmap>(BMF_32BPP, width_, end - top, RowOrder::BottomUp);
    for (LONG y = top; y < end; ++y) {
        const unsigned char* samples = row_of(mask_, y);
        BYTE* out = bitmap->row(y - top);
        for (LONG x = 0; x < width_; ++x, out += 4) {
            for (int i = 0; i < 3; ++i) out[i] = times(static_cast<int>(colour >> 8 * i & 0xFF), samples[x]);
            out[3] = samples[x];
        }
    }
    return bitmap;
}

// Image and mask in the larger of their sizes; MuPDF's own alpha is in the colours already.
std::unique_ptr<Bitmap> ImageSource::blended_rows(LONG top, LONG end) const {
    auto bitmap = std::make_unique<Bitmap>(BMF_32BPP, width_, end - top, RowOrder::BottomUp);
    const int depth = depth_of(colours_);
    auto part = [](LONG at, LONG size, LONG whole) { return static_cast<LONG>(LONGLONG{at} * size / whole); };
    for (LONG y = top; y < end; ++y) {
        const unsigned char* colours = row_of(colours_, part(y, height_of(colours_), height_));
        const unsigned char* masks = mask_ ? row_of(mask_, part(y, height_of(mask_), height_)) : nullptr;
        BYTE* out = bitmap->row(y - top);
        for (LONG x = 0; x < width_; ++x, out += 4) {
            const unsigned char* rgb = colours + ptrdiff_t{part(x, width_of(colours_), width_)} * depth;
            const int alpha = masks ? masks[part(x, width_of(mask_), width_)] : 255;
            for (int i = 0; i < 3; ++i) out[i] = times(rgb[2 - i], alpha);
            out[3] = times(has_alpha(colours_) ? rgb[3] : 255, alpha);
        }
    }
    return bitmap;
}

}  // namespace kvprint

#include "reader/dib.h"

#include <algorithm>
#include <bit>

namespace kvjob {
namespace {

constexpr uint32_t kHeaderSize = 40;

[[noreturn]] void bad(const std::string& what) { throw BodyFault("bitmap: " + what); }

bool is_field(uint32_t mask, int depth) {
    const bool inside = depth == 32 || mask >> depth == 0;
    return mask != 0 && inside && std::has_single_bit((mask >> std::countr_zero(mask)) + uint64_t{1});
}

std::array<uint32_t, 3> read_masks(Reader& in, const Dib& dib) {
    if (dib.depth == 16 && dib.compression == DibCompression::None) return {0x7C00, 0x03E0, 0x001F};
    if (dib.compression == DibCompression::None) return {0xFF0000, 0x00FF00, 0x0000FF};
    const uint32_t red = in.u32(), green = in.u32(), blue = in.u32();
    const bool apart = !(red & green) && !(green & blue) && !(blue & red);
    if (!apart || !is_field(red, dib.depth) || !is_field(green, dib.depth) || !is_field(blue, dib.depth)) {
        bad("colour masks are no fields");
    }
    return {red, green, blue};
}

void check_depth(const Dib& dib, uint32_t compression) {
    const int depths[] = {1, 4, 8, 16, 24, 32};
    if (std::find(std::begin(depths), std::end(depths), dib.depth) == std::end(depths)) {
        bad(std::to_string(dib.depth) + " bits a pixel");
    }
    const bool fits = compression == 0 || (compression == 1 && dib.depth == 8) ||
                      (compression == 2 && dib.depth == 4) || (compression == 3 && dib.depth > 8);
    if (!fits) bad("compression " + std::to_string(compression) + " of " + std::to_string(dib.depth) + " bits");
}

Dib read_header(Reader& in, uint32_t& image_size) {
    Dib dib = {};
    if (in.u32() != kHeaderSize) bad("header of another size");
    dib.width = static_cast<int32_t>(in.u32());
    dib.height = static_cast<int32_t>(in.u32());
    dib.top_down = dib.height < 0;
    if (dib.width <= 0 || dib.height == 0 || dib.height == INT32_MIN) bad("without an area");
    dib.height = std::abs(dib.height);
    if (in.u16() != 1) bad("number of planes");
    dib.depth = in.u16();
    const uint32_t compression = in.u32();
    check_depth(dib, compression);
    dib.compression = static_cast<DibCompression>(compression);
    image_size = in.u32();
    in.take(8);  // resolution
    const uint32_t used = in.u32();
    if (used != 0 && (dib.depth > 8 || used != 1u << dib.depth)) bad("colour table of another size");
    in.u32();  // important colours
    return dib;
}

// A field scaled to 8 bits.
struct Channel {
    explicit Channel(uint32_t mask)
        : mask_(mask), shift_(mask ? std::countr_zero(mask) : 0), top_(mask ? mask >> shift_ : 1) {}
    uint32_t of(uint32_t pixel) const {
        const uint64_t value = (pixel & mask_) >> shift_;
        return top_ == 255 ? static_cast<uint32_t>(value) : static_cast<uint32_t>((value * 255 + top_ / 2) / top_);
    }

private:
    uint32_t mask_;
    int shift_;
    uint32_t top_;
};

Bytes row_of(const Dib& dib, int32_t row) {
    const auto stored = static_cast<uint64_t>(dib.top_down ? row : dib.height - 1 - row);
    return dib.bits.subspan(stored * dib.stride(), dib.stride());
}

}  // namespace

Dib read_dib(Bytes packed) {
    Reader in(packed);
    uint32_t image_size = 0;
    Dib dib = read_header(in, image_size);
    if (dib.depth <= 8) {
        dib.palette.resize(size_t{1} << dib.depth);
        for (uint32_t& entry : dib.palette) {
            entry = in.u32();
            if (entry > 0xFFFFFF) bad("colour table with a fourth byte");
        }
    } else {
        dib.masks = read_masks(in, dib);
    }
    dib.table_size = packed.size() - in.left();
    dib.bits = in.take(in.left());
    if (dib.encoded()) {
        if (dib.top_down) bad("run-length encoded from the top");
        if (dib.bits.size() != image_size) bad("encoded size does not match the length");
    } else if (dib.bits.size() % static_cast<uint32_t>(dib.height) != 0 ||
               dib.bits.size() / static_cast<uint32_t>(dib.height) != dib.stride()) {
        bad("size does not match the length");
    }
    return dib;
}

void read_indices(const Dib& dib, int32_t row, std::vector<uint8_t>& indices) {
    const Bytes bytes = row_of(dib, row);
    const auto width = static_cast<size_t>(dib.width);
    indices.resize(width);
    if (dib.depth == 8) {
        std::copy_n(bytes.begin(), width, indices.begin());
    } else if (dib.depth == 4) {
        for (size_t x = 0; x < width; ++x) indices[x] = x % 2 ? bytes[x / 2] & 0x0F : bytes[x / 2] >> 4;
    } else {
        for (size_t x = 0; x < width; ++x) indices[x] = bytes[x / 8] >> (7 - x % 8) & 1;
    }
}

void read_colours(const Dib& dib, int32_t row, std::vector<uint32_t>& colours) {
    const Bytes bytes = row_of(dib, row);
    const auto width = static_cast<size_t>(dib.width);
    const auto size = static_cast<size_t>(dib.depth / 8);
    const auto& [red_mask, green_mask, blue_mask] = dib.masks;
    const uint32_t rest = dib.depth == 32 ? ~(red_mask | green_mask | blue_mask) : 0;
    const Channel red(red_mask), green(green_mask), blue(blue_mask), alpha(is_field(rest, 32) ? rest : 0);
    const bool has_alpha = is_field(rest, 32);
    colours.resize(width);
    for (size_t x = 0; x < width; ++x) {
        uint32_t pixel = 0;
        for (size_t i = 0; i < size; ++i) pixel |= static_cast<uint32_t>(bytes[x * size + i]) << (8 * i);
        const uint32_t a = has_alpha ? alpha.of(pixel) : 255;
        colours[x] = a << 24 | red.of(pixel) << 16 | green.of(pixel) << 8 | blue.of(pixel);
    }
}

}  // namespace kvjob

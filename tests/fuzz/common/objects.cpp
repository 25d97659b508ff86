#include "tests/fuzz/common/objects.h"

#include <bit>
#include <cmath>

namespace kv {
namespace {

engine::Brush take_brush(FuzzInput& in, engine::Bitmap* bitmap, engine::Translation* translation) {
    switch (in.u8() % 4) {
        case 0:
            return engine::Brush::hatched(in.u8() % HS_DDI_MAX, in.u32(), in.u32());
        case 1:
            return engine::Brush::patterned(bitmap, translation);
        default:
            return engine::Brush::solid(in.u32());
    }
}

FLOAT_LONG take_length(FuzzInput& in) {
    FLOAT_LONG length = {};
    const DWORD kind = in.u8();
    if (kind < 0x60) {
        length.l = static_cast<LONG>(kind);
    } else if (kind < 0xE0) {
        length.e = static_cast<float>(kind - 0x60) / 4;
    } else {
        length.e = std::bit_cast<float>(static_cast<uint32_t>(in.u32()));
        if (std::isnan(length.e)) length.l = 0;
    }
    return length;
}

}  // namespace

LONG take_coordinate(FuzzInput& in) {
    const auto value = static_cast<LONG>(in.u8());
    return value < 0xF0 ? value - 40 : static_cast<LONG>(in.u32());
}
RECTL take_rect(FuzzInput& in) {
    RECTL rect;
    for (LONG* side : {&rect.left, &rect.top, &rect.right, &rect.bottom}) *side = take_coordinate(in);
    return rect;
}

std::unique_ptr<engine::Bitmap> take_bitmap(FuzzInput& in) {
    const ULONG format = 1 + in.u8() % 8;
    const LONG width = 1 + static_cast<LONG>(in.u8() % 100), height = 1 + static_cast<LONG>(in.u8() % 60);
    const auto order = in.u8() % 2 ? engine::RowOrder::TopDown : engine::RowOrder::BottomUp;
    std::unique_ptr<engine::Bitmap> bitmap;
    if (format > BMF_32BPP) {
        std::vector<BYTE> encoded(1 + in.u8());
        for (BYTE& byte : encoded) byte = static_cast<BYTE>(in.u8());
        bitmap = std::make_unique<engine::Bitmap>(format, width, height, std::move(encoded));
    } else {
        bitmap = std::make_unique<engine::Bitmap>(format, width, height, order);
        auto* bits = static_cast<BYTE*>(bitmap->pvBits);
        for (ULONG i = 0, seed = in.u32(); i < bitmap->cjBits; ++i) {
            seed = seed * 1664525 + 1013904223;
            bits[i] = static_cast<BYTE>(i % 4 ? seed >> 24 : in.u8());
        }
    }
    switch (in.u8()) {
        case 1:
            bitmap->iBitmapFormat = in.u32();
            bitmap->sizlBitmap = {};  // what is not known has no bits to speak of
            break;
        case 2:
            bitmap->lDelta = static_cast<LONG>(in.u32());
            break;
        case 3:
            bitmap->pvBits = nullptr;
            break;
    }
    return bitmap;
}

std::unique_ptr<engine::Translation> take_translation(FuzzInput& in) {
    switch (in.u8() % 6) {
        case 0:
            return nullptr;
        case 1:
            return std::make_unique<engine::Translation>(in.u32(), in.u32(), in.u32());
        case 2: {
            const DWORD factor = in.u32();
            return std::make_unique<engine::Translation>([factor](ULONG bit) { return bit * factor; });
        }
        default: {
            std::vector<ULONG> table(in.u8() % 2 ? 256 : in.u8());
            for (ULONG& color : table) color = in.u8() * 0x01010101;
            return std::make_unique<engine::Translation>(std::move(table));
        }
    }
}

std::unique_ptr<engine::Clip> take_clip(FuzzInput& in) {
    std::unique_ptr<engine::Clip> clip;
    switch (in.u8() % 5) {
        case 0:
            return nullptr;
        case 1:
            return std::make_unique<engine::Clip>(engine::Clip::everything());
        case 2:
            return std::make_unique<engine::Clip>(engine::Clip::rectangle(take_rect(in)));
        case 3:
            clip = std::make_unique<engine::Clip>(engine::Clip::rectangle(take_rect(in)));
            clip->iDComplexity = in.u8() % 2 ? DC_COMPLEX : DC_TRIVIAL;
            clip->iUniq = in.u8();
            return clip;
        default: {  // bands, as regions are
            std::vector<RECTL> rects;
            LONG top = take_coordinate(in) % 10000;
            for (DWORD left = in.u8() % 64; left > 0 && !in.empty(); --left) {
                const auto x = static_cast<LONG>(in.u8()), width = static_cast<LONG>(1 + in.u8());
                rects.push_back({x, top, x + width, top + 5});
                top += 5 + static_cast<LONG>(in.u8() % 3);
            }
            return std::make_unique<engine::Clip>(engine::Clip::region(std::move(rects)));
        }
    }
}

BrushWithPattern::BrushWithPattern(FuzzInput& in)
    : bitmap(in.u8() % 4 == 0 ? take_bitmap(in) : nullptr),
      translation(bitmap ? take_translation(in) : nullptr),
      brush(take_brush(in, bitmap.get(), translation.get())) {}

Pen::Pen(FuzzInput& in) {
    line.fl = in.u8();
    line.iJoin = in.u8() % 3;
    line.iEndCap = in.u8() % 3;
    line.elWidth = take_length(in);
    line.eMiterLimit = take_length(in).e;
    line.cstyle = in.u8() % 40;
    if (line.cstyle) style.reset(new FLOAT_LONG[line.cstyle]);
    for (ULONG i = 0; i < line.cstyle; ++i) style[i] = take_length(in);
    line.pstyle = style.get();
    line.elStyleState = take_length(in);
}

}  // namespace kv

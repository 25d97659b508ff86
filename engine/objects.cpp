#include "engine/objects.h"

#include <algorithm>
#include <cmath>

#include "engine/device.h"
#include "engine/region_outline.h"
#include "platform/driver_module.h"

namespace kv::engine {
namespace {

constexpr ULONG kNotSolid = 0xFFFFFFFF;

ULONG next_identity() {
    static ULONG last = 0;
    return ++last;
}

RECTL bounds_of(const std::vector<RECTL>& rects) {
    RECTL all = rects.empty() ? RECTL{} : rects.front();
    for (const RECTL& rect : rects) {
        all = {std::min(all.left, rect.left), std::min(all.top, rect.top), std::max(all.right, rect.right),
               std::max(all.bottom, rect.bottom)};
    }
    return all;
}

}  // namespace

Brush Brush::solid(ULONG colour) {
    Brush brush;
    brush.iSolidColor = colour;
    return brush;
}

Brush Brush::hatched(ULONG hatch, ULONG foreground, ULONG background) {
    Brush brush;
    brush.iSolidColor = kNotSolid;
    brush.hatch_ = hatch;
    brush.colours_[0] = background;
    brush.colours_[1] = foreground;
    return brush;
}

Brush Brush::patterned(Bitmap* pattern, Translation* translation) {
    Brush brush;
    brush.iSolidColor = kNotSolid;
    brush.pattern_ = pattern;
    brush.translation_ = translation;
    return brush;
}

void* Brush::allocate(ULONG bytes) {
    memory_ = std::make_unique<BYTE[]>(bytes);
    return memory_.get();
}

void* Brush::realized() {
    if (!pvRbrush && device_) {
        Translation two_colours({colours_[0], colours_[1]});
        Translation* translation = hatch_ < HS_DDI_MAX ? &two_colours : translation_;
        if (device_->realize(*this, pattern_, translation, hatch_)) pvRbrush = memory_.get();
    }
    return pvRbrush;
}

Clip Clip::everything() {
    Clip clip;
    clip.iUniq = next_identity();
    clip.iDComplexity = DC_TRIVIAL;
    return clip;
}

Clip Clip::rectangle(const RECTL& rect) {
    Clip clip = everything();
    clip.iDComplexity = DC_RECT;
    clip.rclBounds = rect;
    clip.rects_ = {rect};
    return clip;
}

Clip Clip::region(std::vector<RECTL> rects) {
    Clip clip = everything();
    clip.iDComplexity = DC_COMPLEX;
    clip.rclBounds = bounds_of(rects);
    clip.rects_ = std::move(rects);
    return clip;
}

Translation::Translation(std::vector<ULONG> table) : XLATEOBJ{}, table_(std::move(table)) {
    flXlate = table_.empty() ? XO_TRIVIAL : XO_TABLE;
    cEntries = static_cast<ULONG>(table_.size());
    pulXlate = table_.empty() ? nullptr : table_.data();
}

Translation::Translation(ULONG red, ULONG green, ULONG blue) : XLATEOBJ{}, source_fields_{red, green, blue} {}

Translation::Translation(std::function<ULONG(ULONG)> map) : XLATEOBJ{}, map_(std::move(map)) {}

ULONG Translation::translate(ULONG colour) const {
    if (map_) return map_(colour);
    if (!table_.empty()) return colour < table_.size() ? table_[colour] : colour;
    if (source_fields_.empty()) return colour;
    ULONG translated = 0;
    for (ULONG field : source_fields_) {
        const uint64_t lowest = field & (~field + 1);
        translated =
            translated << 8 | (field ? static_cast<ULONG>((colour & field) / lowest * 255 / (field / lowest)) : 0);
    }
    return translated;
}

}  // namespace kv::engine

using kv::engine_call_fails;
using kv::engine::Brush;
using kv::engine::Clip;
using kv::engine::Path;
using kv::engine::Translation;

PVOID APIENTRY BRUSHOBJ_pvAllocRbrush(BRUSHOBJ* brush, ULONG bytes) {
    if (engine_call_fails("BRUSHOBJ_pvAllocRbrush")) return nullptr;
    return static_cast<Brush*>(brush)->allocate(bytes);
}

PVOID APIENTRY BRUSHOBJ_pvGetRbrush(BRUSHOBJ* brush) { return static_cast<Brush*>(brush)->realized(); }

PATHOBJ* APIENTRY CLIPOBJ_ppoGetPath(CLIPOBJ* clip) {
    if (engine_call_fails("CLIPOBJ_ppoGetPath")) return nullptr;
    auto path = std::make_unique<Path>();
    kv::engine::add_outlines(static_cast<Clip*>(clip)->rects(), *path);
    return path.release();
}

BOOL APIENTRY XFORMOBJ_bApplyXform(XFORMOBJ* transform, ULONG mode, ULONG count, PVOID in, PVOID out) {
    if (mode != XF_LTOL || engine_call_fails("XFORMOBJ_bApplyXform")) return FALSE;
    const XFORML& m = static_cast<kv::engine::Transform*>(transform)->matrix();
    auto* from = static_cast<const POINTL*>(in);
    auto* to = static_cast<POINTL*>(out);
    auto rounded = [](FLOATL value) { return static_cast<LONG>(std::lround(value)); };
    for (ULONG i = 0; i < count; ++i) {
        const auto x = static_cast<FLOATL>(from[i].x), y = static_cast<FLOATL>(from[i].y);
        to[i] = {rounded(x * m.eM11 + y * m.eM21 + m.eDx), rounded(x * m.eM12 + y * m.eM22 + m.eDy)};
    }
    return TRUE;
}

ULONG APIENTRY XFORMOBJ_iGetXform(XFORMOBJ* transform, XFORML* matrix) {
    constexpr ULONG kGeneral = 3;  // GX_GENERAL
    *matrix = static_cast<kv::engine::Transform*>(transform)->matrix();
    return kGeneral;
}

ULONG APIENTRY XLATEOBJ_iXlate(XLATEOBJ* translation, ULONG colour) {
    return static_cast<Translation*>(translation)->translate(colour);
}

ULONG APIENTRY XLATEOBJ_cGetPalette(XLATEOBJ* translation, ULONG kind, ULONG count, ULONG* entries) {
    if (kind != XO_SRCBITFIELDS) return 0;
    const std::vector<ULONG>& fields = static_cast<Translation*>(translation)->source_fields();
    const ULONG copied = std::min(count, static_cast<ULONG>(fields.size()));
    std::copy_n(fields.begin(), copied, entries);
    return copied;
}

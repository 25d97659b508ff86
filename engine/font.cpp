#include "engine/font.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engine/device.h"
#include "engine/font_metrics.h"
#include "engine/path.h"
#include "platform/driver_module.h"

namespace kv::engine {
namespace {

XFORML turned(Face& face, double em_pixels, double degrees) {
    const auto& metrics = *reinterpret_cast<const IFIMETRICS*>(face.metrics().data());
    const double scale = em_pixels / metrics.fwdUnitsPerEm, angle = degrees * std::numbers::pi / 180;
    const auto cosine = static_cast<FLOATL>(scale * std::cos(angle));
    const auto sine = static_cast<FLOATL>(scale * std::sin(angle));
    return {cosine, -sine, sine, cosine, 0, 0};
}

ULONG next_identity() {
    static ULONG last = 0;
    return ++last;
}

}  // namespace

RECTL pixel_box(std::initializer_list<Vector> points) {
    constexpr double kRounding = 1e-3;
    Vector least = *points.begin(), most = least;
    for (const Vector& point : points) {
        least = {std::min(least.x, point.x), std::min(least.y, point.y)};
        most = {std::max(most.x, point.x), std::max(most.y, point.y)};
    }
    return {static_cast<LONG>(std::floor(least.x + kRounding)), static_cast<LONG>(std::floor(least.y + kRounding)),
            static_cast<LONG>(std::ceil(most.x - kRounding)), static_cast<LONG>(std::ceil(most.y - kRounding))};
}

Font::Font(std::shared_ptr<FontFile> file, ULONG face, const XFORML& transform, FLONG simulations)
    : FONTOBJ{}, file_(std::move(file)), face_(file_->face(face)), transform_(transform), metrics_(face_.metrics()) {
    iUniq = next_identity();
    iFace = face + 1;
    iFile = iTTUniq = reinterpret_cast<ULONG_PTR>(file_.get());
    const bool truetype = metrics().flInfo & FM_INFO_TECH_TRUETYPE;
    flFontType = (truetype ? FO_TYPE_TRUETYPE : FO_TYPE_OPENTYPE) | simulations;
    const Vector em = to_device(0, metrics().fwdUnitsPerEm);
    cxMax = static_cast<ULONG>(std::lround(std::hypot(em.x, em.y)));
}

Font::Font(const std::shared_ptr<FontFile>& file, ULONG face, double em_pixels, double degrees)
    : Font(file, face, turned(file->face(face), em_pixels, degrees)) {}

Font::~Font() {
    if (!driver_) return;
    if (auto* destroy = driver_->hook<decltype(DrvDestroyFont)>(INDEX_DrvDestroyFont)) destroy(this);
}

void Font::rename(const WideString& family, const WideString& face) {
    auto text_at = [&](LONG offset) { return WideString(reinterpret_cast<const WCHAR*>(metrics_.data() + offset)); };
    FontTexts texts = {family, text_at(metrics().dpwszStyleName), face, text_at(metrics().dpwszUniqueName)};
    metrics_ = with_texts(metrics_, texts);
}

void Font::give_bytes(std::vector<BYTE> bytes) {
    replaced_ = true;
    replacement_ = std::move(bytes);
}

Vector Font::to_device(double x, double y) const {
    const XFORML& m = transform_.matrix();
    return {x * m.eM11 - y * m.eM21, x * m.eM12 - y * m.eM22};
}

double Font::advance(HGLYPH glyph) const {
    const Vector along = to_device(face_.advance(glyph), 0);
    return std::hypot(along.x, along.y);
}

GLYPHDATA* Font::glyph_data(HGLYPH glyph) {
    auto& data = glyphs_[glyph];
    if (data) return data.get();
    data = std::make_unique<GLYPHDATA>();
    *data = {};
    const InkBox ink = face_.ink(glyph);
    const Vector unit = to_device(1, 0), up = to_device(0, 1);
    const double along = std::hypot(unit.x, unit.y), across = std::hypot(up.x, up.y);
    data->hg = glyph;
    data->fxD = to_fix(advance(glyph));
    data->fxA = to_fix(ink.left * along);
    data->fxAB = to_fix(ink.right * along);
    data->fxInkTop = to_fix(ink.top * across);
    data->fxInkBottom = to_fix(ink.bottom * across);
    data->rclInk = pixel_box({to_device(ink.left, ink.bottom), to_device(ink.left, ink.top),
                              to_device(ink.right, ink.bottom), to_device(ink.right, ink.top)});
    return data.get();
}

}  // namespace kv::engine

using kv::engine_call_fails;
using kv::engine::Font;

namespace {
Font& font_of(FONTOBJ* font) { return *static_cast<Font*>(font); }
}  // namespace

IFIMETRICS* APIENTRY FONTOBJ_pifi(FONTOBJ* font) {
    if (engine_call_fails("FONTOBJ_pifi")) return nullptr;
    return &font_of(font).metrics();
}

XFORMOBJ* APIENTRY FONTOBJ_pxoGetXform(FONTOBJ* font) {
    if (engine_call_fails("FONTOBJ_pxoGetXform")) return nullptr;
    return &font_of(font).transform();
}

PVOID APIENTRY FONTOBJ_pvTrueTypeFontFile(FONTOBJ* font, ULONG* size) {
    const auto& bytes = font_of(font).driver_bytes();
    *size = 0;
    if (bytes.empty() || engine_call_fails("FONTOBJ_pvTrueTypeFontFile")) return nullptr;
    *size = static_cast<ULONG>(bytes.size());
    return const_cast<BYTE*>(bytes.data());
}

FD_GLYPHSET* APIENTRY FONTOBJ_pfdg(FONTOBJ* font) {
    if (engine_call_fails("FONTOBJ_pfdg")) return nullptr;
    return font_of(font).face().glyph_set();
}

ULONG APIENTRY FONTOBJ_cGetGlyphs(FONTOBJ* font, ULONG mode, ULONG count, HGLYPH* handles, PVOID* glyphs) {
    if (mode != FO_GLYPHBITS || engine_call_fails("FONTOBJ_cGetGlyphs")) return 0;
    for (ULONG i = 0; i < count; ++i) glyphs[i] = font_of(font).glyph_data(handles[i]);
    return count;
}

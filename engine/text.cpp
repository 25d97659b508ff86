#include "engine/text.h"

#include <algorithm>
#include <cmath>

#include "platform/driver_module.h"

namespace kv::engine {
namespace {

std::vector<HGLYPH> glyphs_of(const Font& font, const WideString& characters) {
    std::vector<HGLYPH> glyphs;
    for (WCHAR unit : characters) glyphs.push_back(const_cast<Font&>(font).face().glyph_of(unit));
    return glyphs;
}

POINTL rounded(double x, double y) { return {static_cast<LONG>(std::lround(x)), static_cast<LONG>(std::lround(y))}; }

Placement along_baseline(const Font& font, const std::vector<HGLYPH>& glyphs, POINTL origin) {
    Placement placement;
    const Vector unit = font.to_device(1, 0);
    const double length = std::hypot(unit.x, unit.y);
    double x = origin.x, y = origin.y;
    for (HGLYPH glyph : glyphs) {
        placement.origins.push_back(rounded(x, y));
        const double advance = length > 0 ? font.advance(glyph) / length : 0;
        x += advance * unit.x;
        y += advance * unit.y;
    }
    placement.end = rounded(x, y);
    return placement;
}

}  // namespace

RECTL line_box(Font& font, POINTL start, POINTL end) {
    const Vector up = font.to_device(0, font.metrics().fwdWinAscender);
    const Vector down = font.to_device(0, -font.metrics().fwdWinDescender);
    auto corner = [](POINTL at, Vector offset) { return Vector{at.x + offset.x, at.y + offset.y}; };
    return pixel_box({corner(start, up), corner(start, down), corner(end, up), corner(end, down)});
}

String::String(Font& font, const WideString& characters, POINTL origin)
    : String(font, characters, along_baseline(font, glyphs_of(font, characters), origin)) {}

String::String(Font& font, const WideString& characters, Placement placement)
    : STROBJ{}, units_(characters.begin(), characters.end()) {
    for (HGLYPH glyph : glyphs_of(font, characters)) glyphs_.push_back({glyph, nullptr, {}});
    take(font, std::move(placement));
}

String::String(Font& font, const std::vector<USHORT>& glyphs, Placement placement)
    : STROBJ{}, units_(glyphs.begin(), glyphs.end()) {
    for (USHORT glyph : glyphs) glyphs_.push_back({glyph, nullptr, {}});
    take(font, std::move(placement));
    flAccel |= SO_GLYPHINDEX_TEXTOUT;
}

void String::take(Font& font, Placement placement) {
    for (size_t i = 0; i < glyphs_.size(); ++i) glyphs_[i].ptl = placement.origins.at(i);
    units_.push_back(0);
    cGlyphs = static_cast<ULONG>(glyphs_.size());
    pwszOrg = units_.data();
    if (!placement.origins.empty()) rclBkGround = line_box(font, placement.origins.front(), placement.end);
    set_batch(cGlyphs);
}

void String::set_batch(ULONG glyphs) {
    batch_ = std::max<ULONG>(glyphs, 1);
    pgp = batch_ < cGlyphs ? nullptr : glyphs_.data();
}

void String::start_enumeration() {
    next_ = 0;
    empty_given_ = false;
}

bool String::next_batch(ULONG& count, GLYPHPOS*& glyphs) {
    const size_t left = glyphs_.size() - next_;
    glyphs = glyphs_.data() + next_;
    if (empty_batches_ && !empty_given_) {
        empty_given_ = true;
        count = 0;
        glyphs = nullptr;
        return left > 0;
    }
    empty_given_ = false;
    count = static_cast<ULONG>(std::min<size_t>(batch_, left));
    next_ += count;
    if (lost_) glyphs = nullptr;
    return next_ < glyphs_.size();
}

}  // namespace kv::engine

using kv::engine_call_fails;
using kv::engine::String;

void APIENTRY STROBJ_vEnumStart(STROBJ* text) { static_cast<String*>(text)->start_enumeration(); }

BOOL APIENTRY STROBJ_bEnumPositionsOnly(STROBJ* text, ULONG* count, GLYPHPOS** glyphs) {
    if (engine_call_fails("STROBJ_bEnumPositionsOnly")) return static_cast<BOOL>(DDI_ERROR);
    return static_cast<String*>(text)->next_batch(*count, *glyphs);
}

DWORD APIENTRY STROBJ_dwGetCodePage(STROBJ* text) { return static_cast<String*>(text)->code_page(); }

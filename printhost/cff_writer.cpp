#include "printhost/cff_writer.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace kvprint {
namespace {

constexpr unsigned kStandardStrings = 391;

enum DictOperator : unsigned {
    kFontBox = 5,
    kCharset = 15,
    kCharStrings = 17,
    kPrivate = 18,
    kDefaultWidth = 20,
    kNominalWidth = 21,
    kFontMatrix = 0x0C07,
};

FontBytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

FontBytes make_index(const std::vector<FontBytes>& items) {
    FontWriter index;
    index.u16(static_cast<unsigned>(items.size()));
    if (items.empty()) return index.bytes;
    size_t end = 1;
    for (const FontBytes& item : items) end += item.size();
    unsigned width = 1;
    while (end >> (8 * width) != 0) ++width;
    index.u8(width);
    auto offset = [&](size_t value) {
        for (unsigned i = width; i-- > 0;) index.u8(static_cast<unsigned>(value >> (8 * i)));
    };
    size_t at = 1;
    offset(at);
    for (const FontBytes& item : items) offset(at += item.size());
    for (const FontBytes& item : items) index.add(item);
    return index.bytes;
}

class Dict {
public:
    // Five bytes, whatever the number.
    Dict& number(int value) {
        constexpr unsigned kLong = 29;
        out_.u8(kLong).u32(static_cast<uint32_t>(value));
        return *this;
    }
    // Half bytes: the digits, 10 for the point, 15 for the end.
    Dict& real(double value) {
        constexpr unsigned kReal = 30, kPoint = 10, kEnd = 15;
        char text[32];
        std::snprintf(text, sizeof text, "%.12f", value);
        std::vector<unsigned> halves;
        for (const char* digit = text; *digit; ++digit) {
            halves.push_back(*digit == '.' ? kPoint : static_cast<unsigned>(*digit - '0'));
        }
        halves.resize(halves.size() + 2 - halves.size() % 2, kEnd);
        out_.u8(kReal);
        for (size_t i = 0; i < halves.size(); i += 2) out_.u8(halves[i] << 4 | halves[i + 1]);
        return *this;
    }
    Dict& operation(DictOperator code) {
        if (code > 0xFF) out_.u8(code >> 8);
        out_.u8(code & 0xFF);
        return *this;
    }
    const FontBytes& bytes() const { return out_.bytes; }

private:
    FontWriter out_;
};

int most_common_advance(const CffFont& font) {
    std::map<int, int> counts;
    for (const CffGlyph& glyph : font.glyphs) ++counts[glyph.advance];
    return std::max_element(counts.begin(), counts.end(), [](auto& a, auto& b) { return a.second < b.second; })->first;
}

struct Offsets {
    size_t charset, charstrings, private_dict;
};

FontBytes make_top_dict(const CffFont& font, const Offsets& offsets, size_t private_size) {
    constexpr int kUsualUnits = 1000;
    const CffBox box = font.bounds();
    Dict dict;
    if (font.units_per_em != kUsualUnits) {
        const double unit = 1.0 / font.units_per_em;
        dict.real(unit).number(0).number(0).real(unit).number(0).number(0).operation(kFontMatrix);
    }
    dict.number(box.left).number(box.bottom).number(box.right).number(box.top).operation(kFontBox);
    dict.number(static_cast<int>(offsets.charset)).operation(kCharset);
    dict.number(static_cast<int>(offsets.charstrings)).operation(kCharStrings);
    dict.number(static_cast<int>(private_size)).number(static_cast<int>(offsets.private_dict)).operation(kPrivate);
    return dict.bytes();
}

// The names' numbers run from the first behind the standard ones.
FontBytes make_charset(size_t glyphs) {
    constexpr unsigned kRanges = 2;
    if (glyphs < 2) return FontWriter().u8(kRanges).bytes;
    return FontWriter().u8(kRanges).u16(kStandardStrings).u16(static_cast<unsigned>(glyphs - 2)).bytes;
}

}  // namespace

CffBox CffFont::bounds() const {
    std::optional<CffBox> box;
    auto take = [&](const DesignPoint& point) {
        if (!box) box = {point.x, point.y, point.x, point.y};
        box = {std::min(box->left, point.x), std::min(box->bottom, point.y), std::max(box->right, point.x),
               std::max(box->top, point.y)};
    };
    for (const CffGlyph& glyph : glyphs) {
        for (const OutlineStep& step : glyph.outline) {
            take(step.end);
            if (step.kind != OutlineStep::Curve) continue;
            take(step.control1);
            take(step.control2);
        }
    }
    return box.value_or(CffBox{});
}

FontBytes make_cff(const CffFont& font) {
    const int usual = most_common_advance(font);
    std::vector<FontBytes> names, charstrings;
    for (const CffGlyph& glyph : font.glyphs) {
        if (&glyph != &font.glyphs.front()) names.push_back(bytes_of(glyph.name));
        charstrings.push_back(
            charstring_of(glyph.outline, glyph.advance == usual ? std::nullopt : std::optional(glyph.advance - usual)));
    }
    const FontBytes private_dict =
        Dict().number(usual).operation(kDefaultWidth).number(usual).operation(kNominalWidth).bytes();
    const FontBytes charset = make_charset(font.glyphs.size()), outlines = make_index(charstrings);

    auto head = [&](const Offsets& offsets) {
        constexpr unsigned kMajor = 1, kMinor = 0, kHeaderSize = 4, kOffsetSize = 4;
        return FontWriter()
            .u8(kMajor)
            .u8(kMinor)
            .u8(kHeaderSize)
            .u8(kOffsetSize)
            .add(make_index({bytes_of(font.name)}))
            .add(make_index({make_top_dict(font, offsets, private_dict.size())}))
            .add(make_index(names))
            .add(make_index({}))  // global subroutines
            .bytes;
    };
    const size_t start = head({}).size();
    const size_t after_charset = start + charset.size();
    FontWriter cff;
    cff.add(head({start, after_charset, after_charset + outlines.size()}));
    return cff.add(charset).add(outlines).add(private_dict).bytes;
}

}  // namespace kvprint

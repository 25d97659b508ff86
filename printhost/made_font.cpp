#include "printhost/made_font.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>

#include "printhost/cff_writer.h"
#include "printhost/letter_shape.h"
#include "printhost/outline_cache.h"
#include "printhost/path_walk.h"

namespace kvprint {
namespace {

// A target for walk(): points of design units.
class OutlineBuilder {
public:
    void move_to(fz_point point) {
        end_figure();
        start_ = rounded(point);
    }
    void line_to(fz_point point) {
        open();
        outline_.push_back({OutlineStep::Line, {}, {}, rounded(point)});
    }
    void curve_to(fz_point a, fz_point b, fz_point end) {
        open();
        outline_.push_back({OutlineStep::Curve, rounded(a), rounded(b), rounded(end)});
    }
    void close() { end_figure(); }

    // Nothing when a point lies beyond what a font can say.
    std::optional<Outline> take() {
        end_figure();
        return fits_ ? std::optional(std::move(outline_)) : std::nullopt;
    }

private:
    DesignPoint rounded(fz_point point) {
        const bool fits = std::abs(point.x) <= kFarthestUnit && std::abs(point.y) <= kFarthestUnit;
        fits_ = fits_ && fits;
        return fits ? DesignPoint{static_cast<int>(std::lround(point.x)), static_cast<int>(std::lround(point.y))}
                    : DesignPoint{};
    }
    void open() {
        if (!open_) outline_.push_back({OutlineStep::Move, {}, {}, start_});
        open_ = true;
    }
    // The line that closes a figure need not be drawn.
    void end_figure() {
        if (open_ && outline_.back().kind == OutlineStep::Line && outline_.back().end == start_) outline_.pop_back();
        open_ = false;
    }

    Outline outline_;
    DesignPoint start_ = {0, 0};
    bool open_ = false, fits_ = true;
};

// Takes a glyph that is a drawing, as far as it is one plain shape.
struct ShapeProbe {
    fz_device base;
    OutlineBuilder* outline;
    int fills;
    bool plain;
};

ShapeProbe& probe_of(fz_device* device) { return *reinterpret_cast<ShapeProbe*>(device); }

fz_device* make_probe(fz_context* context, OutlineBuilder* outline) {
    auto* probe = reinterpret_cast<ShapeProbe*>(fz_new_device_of_size(context, sizeof(ShapeProbe)));
    probe->outline = outline;
    probe->plain = true;
    fz_device& base = probe->base;
    base.fill_path = [](fz_context* run, fz_device* self, const fz_path* path, int even_odd, fz_matrix ctm,
                        fz_colorspace*, const float*, float alpha, fz_color_params) {
        ShapeProbe& shape = probe_of(self);
        shape.plain = shape.plain && !even_odd && alpha == 1 && ++shape.fills == 1;
        if (shape.plain) walk(run, path, ctm, *shape.outline);
    };
    base.stroke_path = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.clip_path = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.clip_stroke_path = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.fill_text = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.stroke_text = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.clip_text = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.clip_stroke_text = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.fill_shade = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.fill_image = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.fill_image_mask = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.clip_image_mask = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.begin_mask = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.begin_group = [](auto, fz_device* self, auto...) { probe_of(self).plain = false; };
    base.begin_tile = [](auto, fz_device* self, auto...) {
        probe_of(self).plain = false;
        return 0;
    };
    return &base;
}

class FontMaker {
public:
    FontMaker(fz_context* context, fz_font* font, const FontKey& key, const FontSurvey& survey)
        : context_(context), font_(font), key_(key), survey_(survey), units_(units_per_em()) {}

    FontSubset make(const std::string& name) {
        FontSubset made;
        GlyphTexts texts;
        CffFont cff = {name, units_, {{".notdef", 0, {}}}};
        constexpr size_t kMostGlyphs = 0xFFFF;
        for (const auto& [glyph, said] : survey_.texts_of(key_)) {
            auto outline = outline_of(glyph);
            if (!outline || cff.glyphs.size() == kMostGlyphs) continue;
            const auto number = static_cast<uint16_t>(cff.glyphs.size());
            made.numbers[glyph] = number;
            texts[number] = said;
            cff.glyphs.push_back({"", advance_of(glyph), std::move(*outline)});
        }
        if (made.numbers.empty()) return {};
        name_glyphs(cff, texts);
        const FontBytes bare = make_sfnt(tables_of(cff));
        made.bytes = Sfnt(bare).completed(name, texts);
        return made;
    }

private:
    // Those in which the font itself counts.
    int units_per_em() const {
        constexpr int kUsual = 1000, kFewest = 16, kMost = 8192;
        int units = kUsual;
        if (font_->t3procs) {
            const float unit = std::max(std::abs(font_->t3matrix.a), std::abs(font_->t3matrix.b));
            if (unit > 0 && 1 / unit <= kMost) units = static_cast<int>(std::lround(1 / unit));
        } else if (const auto* face = static_cast<FT_Face>(fz_font_ft_face(context_, font_))) {
            units = face->units_per_EM;
        }
        return units >= kFewest && units <= kMost ? units : kUsual;
    }

    std::optional<Outline> outline_of(uint16_t glyph) const {
        const auto em = static_cast<float>(units_);
        const fz_matrix matrix = {em, 0, em * static_cast<float>(key_.slant) / kSlantSteps, em, 0, 0};
        return font_->t3procs ? drawing_of(glyph, matrix) : program_of(glyph, matrix);
    }

    std::optional<Outline> program_of(uint16_t glyph, fz_matrix matrix) const {
        const auto path =
            make_held<GlyphPath>(context_, [&] { return fz_outline_glyph(context_, font_, glyph, matrix); });
        OutlineBuilder builder;
        if (path) walk(context_, path.get(), fz_identity, builder);
        return builder.take();
    }

    std::optional<Outline> drawing_of(uint16_t glyph, fz_matrix matrix) const {
        constexpr int kGlyphs = 256;
        if (glyph >= kGlyphs || !(font_->t3flags[glyph] & FZ_DEVFLAG_MASK)) return std::nullopt;
        OutlineBuilder builder;
        const auto device = make_held<DrawDevice>(context_, [&] { return make_probe(context_, &builder); });
        with_errors(context_, [&] {
            fz_run_t3_glyph(context_, font_, glyph, matrix, device.get());
            fz_close_device(context_, device.get());
        });
        return probe_of(device.get()).plain ? builder.take() : std::nullopt;
    }

    int advance_of(uint16_t glyph) const {
        constexpr float kThousandths = 1000, kMost = 0x7FFF;
        float ems = 0;
        with_errors(context_, [&] { ems = fz_advance_glyph(context_, font_, glyph, 0); });
        if (const auto width = survey_.width_of(key_.digest, glyph)) ems = static_cast<float>(*width) / kThousandths;
        return static_cast<int>(std::lround(std::clamp(ems * static_cast<float>(units_), 0.0f, kMost)));
    }

    // A name tells what the map of characters cannot.
    static void name_glyphs(CffFont& cff, const GlyphTexts& texts) {
        const CharacterMap map = make_map(texts);
        for (const auto& [number, said] : texts) {
            const std::string own = std::to_string(number);
            const bool told = said.empty() || is_mapped(map, number, said.front());
            cff.glyphs[number].name = told ? "g" + own : glyph_name(said.front()) + "." + own;
        }
    }

    static FontTables tables_of(const CffFont& cff) {
        constexpr uint32_t kMagic = 0x5F0F3CF5, kVersion = 0x10000, kVersionHalf = 0x5000;
        const CffBox box = cff.bounds();
        const auto count = static_cast<unsigned>(cff.glyphs.size());
        FontTables tables;
        tables[font_tag("CFF ")] = make_cff(cff);
        FontWriter head;
        head.u32(kVersion).u32(kVersion).u32(0).u32(kMagic).u16(3).u16(static_cast<unsigned>(cff.units_per_em));
        head.zeros(16).i16(box.left).i16(box.bottom).i16(box.right).i16(box.top);
        tables[font_tag("head")] = head.u16(0).u16(8).i16(2).i16(0).i16(0).bytes;
        int widest = 0;
        FontWriter metrics;
        for (const CffGlyph& glyph : cff.glyphs) {
            widest = std::max(widest, glyph.advance);
            metrics.i16(glyph.advance).i16(left_of(glyph.outline));
        }
        tables[font_tag("hmtx")] = metrics.bytes;
        FontWriter hhea;
        hhea.u32(kVersion).i16(std::max(box.top, 0)).i16(std::min(box.bottom, 0)).i16(0).i16(widest);
        tables[font_tag("hhea")] = hhea.i16(box.left).i16(0).i16(box.right).i16(1).zeros(14).u16(count).bytes;
        tables[font_tag("maxp")] = FontWriter().u32(kVersionHalf).u16(count).bytes;
        return tables;
    }

    static int left_of(const Outline& outline) {
        int left = outline.empty() ? 0 : kFarthestUnit;
        for (const OutlineStep& step : outline) left = std::min(left, step.end.x);
        return left;
    }

    fz_context* context_;
    fz_font* font_;
    const FontKey& key_;
    const FontSurvey& survey_;
    const int units_;
};

}  // namespace

FontSubset make_font(fz_context* context, fz_font* font, const FontKey& key, const FontSurvey& survey,
                     const std::string& name) {
    return FontMaker(context, font, key, survey).make(name);
}

}  // namespace kvprint

#include "printhost/font_survey.h"

#include <algorithm>

#include "printhost/letter_shape.h"

namespace kvprint {
namespace {

using PdfFont = Held<pdf_font_desc, pdf_drop_font>;

constexpr int kSimpleFontCodes = 256, kMostCharacters = 0x10000;
constexpr int kDeepest = 8;  // drawings within drawings

struct SurveyDevice {
    fz_device base;
    FontSurvey* survey;
};

fz_device* make_device(fz_context* context, FontSurvey* survey) {
    auto* device = reinterpret_cast<SurveyDevice*>(fz_new_device_of_size(context, sizeof(SurveyDevice)));
    device->survey = survey;
    device->base.fill_text = [](fz_context* run, fz_device* self, const fz_text* text, fz_matrix ctm, fz_colorspace*,
                                const float*, float, fz_color_params) {
        as_callback(run, [&] { reinterpret_cast<SurveyDevice*>(self)->survey->add_text(*text, ctm); });
    };
    return &device->base;
}

bool is_printable(char32_t character) {
    constexpr char32_t kFirst = 0x20, kSurrogates = 0xD800, kAfterSurrogates = 0xE000, kReplacement = 0xFFFD;
    return character >= kFirst && (character < kSurrogates || character >= kAfterSurrogates) &&
           (character < kReplacement || character > 0xFFFF);
}

// Of the codes by which a font's glyphs are called.
int code_count(const pdf_font_desc& font) {
    if (font.cid_to_gid_len > 0) return static_cast<int>(std::min<size_t>(font.cid_to_gid_len, kMostCharacters));
    if (font.to_ttf_cmap) return kMostCharacters;
    return std::max(font.font->glyph_count, kSimpleFontCodes);
}

}  // namespace

std::u32string text_at(const fz_text_span& span, int item) {
    std::u32string text;
    do {
        text += static_cast<char32_t>(span.items[item].ucs);
    } while (++item < span.len && span.items[item].gid < 0);
    return std::all_of(text.begin(), text.end(), is_printable) ? text : std::u32string();
}

FontSurvey::FontSurvey(fz_context* context, FontIdentities& identities) : context_(context), identities_(identities) {}

// A device that was closed takes nothing more.
fz_device* FontSurvey::start_page() {
    device_ = make_held<DrawDevice>(context_, [&] { return make_device(context_, this); });
    depth_ = 0;
    return device_.get();
}

void FontSurvey::add_text(const fz_text& text, fz_matrix ctm) {
    for (const fz_text_span* span = text.head; span; span = span->next) {
        add_span(*span, ctm);
        if (span->font->t3procs) add_drawings(*span, ctm);
    }
}

void FontSurvey::add_span(const fz_text_span& span, fz_matrix ctm) {
    const auto shape = shape_of(fz_concat(span.trm, ctm));
    if (!shape) return;
    GlyphTexts& texts = texts_[{identities_.digest_of(span.font), shape->slant}];
    for (int i = 0; i < span.len; ++i) {
        const int glyph = span.items[i].gid;
        if (glyph < 0 || glyph > 0xFFFF) continue;
        auto& known = texts[static_cast<uint16_t>(glyph)];
        std::u32string said = text_at(span, i);
        if (!said.empty() && std::find(known.begin(), known.end(), said) == known.end())
            known.push_back(std::move(said));
    }
}

// What such glyphs show themselves.
void FontSurvey::add_drawings(const fz_text_span& span, fz_matrix ctm) {
    constexpr int kGlyphs = 256;
    const FontDigest digest = identities_.digest_of(span.font);
    if (depth_ >= kDeepest) return;
    ++depth_;
    for (int i = 0; i < span.len; ++i) {
        const fz_text_item& item = span.items[i];
        if (item.gid < 0 || item.gid >= kGlyphs || !drawings_.insert({digest, item.gid}).second) continue;
        const fz_matrix place = fz_concat({span.trm.a, span.trm.b, span.trm.c, span.trm.d, item.x, item.y}, ctm);
        with_errors(context_, [&] { fz_run_t3_glyph(context_, span.font, item.gid, place, device_.get()); });
    }
    --depth_;
}

bool FontSurvey::is_new(pdf_obj* object) {
    return !pdf_is_indirect(context_, object) || seen_.insert(pdf_to_num(context_, object)).second;
}

void FontSurvey::add_widths(pdf_document* document, pdf_obj* resources) { add_resources(document, resources, 0); }

void FontSurvey::add_resources(pdf_document* document, pdf_obj* resources, int depth) {
    if (depth >= kDeepest || !is_new(resources)) return;
    auto for_each = [&](pdf_obj* name, auto visit) {
        pdf_obj* entries = nullptr;
        int count = 0;
        with_errors(context_, [&] {
            entries = pdf_dict_get(context_, resources, name);
            count = pdf_dict_len(context_, entries);
        });
        for (int i = 0; i < count; ++i) {
            pdf_obj* value = pdf_dict_get_val(context_, entries, i);
            if (is_new(value)) visit(value);
        }
    };
    for_each(PDF_NAME(Font), [&](pdf_obj* font) { add_font(document, font); });
    for_each(PDF_NAME(XObject), [&](pdf_obj* form) {
        pdf_obj* inner = nullptr;
        with_errors(context_, [&] { inner = pdf_dict_get(context_, form, PDF_NAME(Resources)); });
        if (inner) add_resources(document, inner, depth + 1);
    });
}

void FontSurvey::add_font(pdf_document* document, pdf_obj* object) {
    const auto font = make_held<PdfFont>(context_, [&] { return pdf_load_font(context_, document, nullptr, object); });
    pdf_font_desc& description = *font.get();
    if (!description.font->buffer) return;
    auto& widths = widths_[identities_.digest_of(description.font)];
    const int codes = code_count(description);
    for (int code = 0; code < codes; ++code) {
        const int glyph = pdf_font_cid_to_gid(context_, &description, code);
        if (glyph <= 0 || glyph >= description.font->glyph_count) continue;
        widths.try_emplace(static_cast<uint16_t>(glyph), pdf_lookup_hmtx(context_, &description, code).w);
    }
}

const GlyphTexts& FontSurvey::texts_of(const FontKey& key) const {
    static const GlyphTexts kNone;
    const auto found = texts_.find(key);
    return found == texts_.end() ? kNone : found->second;
}

std::optional<int> FontSurvey::width_of(const FontDigest& font, uint16_t glyph) const {
    const auto found = widths_.find(font);
    if (found == widths_.end()) return std::nullopt;
    const auto width = found->second.find(glyph);
    return width == found->second.end() ? std::nullopt : std::optional(width->second);
}

}  // namespace kvprint

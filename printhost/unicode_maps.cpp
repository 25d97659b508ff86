#include "printhost/unicode_maps.h"

#include <algorithm>

#include "printhost/mupdf.h"
#include "printhost/warnings.h"

namespace kvprint {
namespace {

using PdfFont = Held<pdf_font_desc, pdf_drop_font>;
using PdfObject = Held<pdf_obj, pdf_drop_obj>;

constexpr int kSimpleFontCodes = 256, kMostCharacters = 0x10000;

// Of the codes by which a font's glyphs are called.
int code_count(const pdf_font_desc& font) {
    if (font.cid_to_gid_len > 0) return static_cast<int>(std::min<size_t>(font.cid_to_gid_len, kMostCharacters));
    if (font.to_ttf_cmap) return kMostCharacters;
    return std::max(font.font->glyph_count, kSimpleFontCodes);
}

bool is_printable(char32_t character) {
    constexpr char32_t kFirst = 0x20, kSurrogates = 0xD800, kAfterSurrogates = 0xE000, kReplacement = 0xFFFD;
    return character >= kFirst && (character < kSurrogates || character >= kAfterSurrogates) &&
           (character < kReplacement || character > 0xFFFF);
}

// Empty where nothing is known.
std::u32string text_of(const pdf_font_desc& font, int code) {
    constexpr int kMostOfOneCode = 8;
    int characters[kMostOfOneCode] = {};
    int count = font.to_unicode ? pdf_lookup_cmap_full(font.to_unicode, static_cast<unsigned>(code), characters) : 0;
    if (count == 0 && static_cast<size_t>(code) < font.cid_to_ucs_len) {
        characters[0] = font.cid_to_ucs[code];
        count = 1;
    }
    const std::u32string text(characters, characters + count);
    return std::all_of(text.begin(), text.end(), is_printable) ? text : std::u32string();
}

}  // namespace

FontDigest digest_of(fz_context* context, fz_font* font) {
    FontDigest digest;
    with_errors(context, [&] { fz_font_digest(context, font, digest.data()); });
    return digest;
}

const GlyphTexts& UnicodeMaps::texts_of(fz_font* font) {
    if (!read_) read_all();
    return texts_[digest_of(context_, font)];
}

void UnicodeMaps::read_all() {
    read_ = true;
    if (!document_) return;
    const Warnings::Subject other_pages_too(warnings_of(context_), nullptr);
    int count = 0;
    with_errors(context_, [&] { count = pdf_xref_len(context_, document_); });
    // By the page that is being read, which does not hold all that it uses.
    std::vector<bool> in_use(static_cast<size_t>(count));
    for (int number = 1; number < count; ++number) in_use[static_cast<size_t>(number)] = cached(number) != nullptr;
    for (int number = 1; number < count; ++number) {
        try {
            const auto object =
                make_held<PdfObject>(context_, [&] { return pdf_load_object(context_, document_, number); });
            read(object.get());
        } catch (const std::runtime_error&) {  // what cannot be read is no font of a page that prints
        }
        if (!in_use[static_cast<size_t>(number)]) forget(number);
    }
}

// What the document holds of an object's entry while the object is in memory.
pdf_xref_entry* UnicodeMaps::cached(int number) const {
    pdf_xref_entry* entry = nullptr;
    with_errors(context_, [&] { entry = pdf_get_xref_entry_no_null(context_, document_, number); });
    return entry && entry->obj ? entry : nullptr;
}

void UnicodeMaps::forget(int number) const {
    pdf_xref_entry* entry = cached(number);
    if (!entry || entry->stm_buf || pdf_obj_refs(context_, entry->obj) > 1) return;
    pdf_drop_obj(context_, entry->obj);
    entry->obj = nullptr;
}

void UnicodeMaps::read(pdf_obj* object) {
    bool is_font = false;
    with_errors(context_, [&] {
        pdf_obj* kind = pdf_dict_get(context_, object, PDF_NAME(Subtype));
        is_font = pdf_name_eq(context_, pdf_dict_get(context_, object, PDF_NAME(Type)), PDF_NAME(Font)) &&
                  (pdf_name_eq(context_, kind, PDF_NAME(TrueType)) || pdf_name_eq(context_, kind, PDF_NAME(Type0)));
    });
    if (!is_font) return;
    const auto font = make_held<PdfFont>(context_, [&] { return pdf_load_font(context_, document_, nullptr, object); });
    if (font.get()->is_embedded && font.get()->font->buffer) add(*font.get());
}

void UnicodeMaps::add(pdf_font_desc& font) {
    GlyphTexts& texts = texts_[digest_of(context_, font.font)];
    const int codes = code_count(font);
    for (int code = 0; code < codes; ++code) {
        const std::u32string text = text_of(font, code);
        if (text.empty()) continue;
        const int glyph = pdf_font_cid_to_gid(context_, &font, code);
        if (glyph > 0 && glyph < font.font->glyph_count) texts.try_emplace(static_cast<uint16_t>(glyph), text);
    }
}

}  // namespace kvprint

#pragma once
// What a document shows of its fonts. Pages are run on the survey's device before the first one is played, since fonts
// are handed out once and hold just these glyphs.

#include <mupdf/pdf.h>

#include <compare>
#include <set>

#include "printhost/font_identity.h"
#include "printhost/sfnt.h"

namespace kvprint {

// A font of the job: one of the document, with letters that lean by that much.
struct FontKey {
    FontDigest digest;
    int slant;
    auto operator<=>(const FontKey&) const = default;
};

// Of the glyph that a text's item draws, in the order of its characters. Empty where nothing is known.
std::u32string text_at(const fz_text_span& span, int item);

class FontSurvey {
public:
    FontSurvey(fz_context* context, FontIdentities& identities);
    FontSurvey(const FontSurvey&) = delete;
    FontSurvey& operator=(const FontSurvey&) = delete;

    // Takes one page.
    fz_device* start_page();
    // Takes the advances of the fonts that are named there, or in what is named there.
    void add_widths(pdf_document* document, pdf_obj* resources);

    // The glyphs that were shown, with their texts in the order in which they came.
    const GlyphTexts& texts_of(const FontKey& key) const;
    // Thousandths of an em; nothing where the document does not tell.
    std::optional<int> width_of(const FontDigest& font, uint16_t glyph) const;

    // For the device's function.
    void add_text(const fz_text& text, fz_matrix ctm);

private:
    void add_span(const fz_text_span& span, fz_matrix ctm);
    void add_drawings(const fz_text_span& span, fz_matrix ctm);
    void add_font(pdf_document* document, pdf_obj* font);
    void add_resources(pdf_document* document, pdf_obj* resources, int depth);
    bool is_new(pdf_obj* object);

    fz_context* context_;
    FontIdentities& identities_;
    DrawDevice device_;
    std::map<FontKey, GlyphTexts> texts_;
    std::map<FontDigest, std::map<uint16_t, int>> widths_;
    std::set<int> seen_;  // objects
    std::set<std::pair<FontDigest, int>> drawings_;
    int depth_ = 0;
};

}  // namespace kvprint

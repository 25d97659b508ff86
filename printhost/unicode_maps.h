#pragma once
// What the glyphs of a PDF file's fonts stand for: known to the PDF file, not to the fonts themselves.

#include <mupdf/pdf.h>

#include <array>
#include <map>

#include "printhost/sfnt.h"

namespace kvprint {

// Of a font file.
using FontDigest = std::array<unsigned char, 16>;
FontDigest digest_of(fz_context* context, fz_font* font);

class UnicodeMaps {
public:
    UnicodeMaps(fz_context* context, pdf_document* document) : context_(context), document_(document) {}

    // Empty where the file says nothing. The first call reads all fonts of the file.
    const GlyphTexts& texts_of(fz_font* font);

private:
    void read_all();
    void read(pdf_obj* object);
    pdf_xref_entry* cached(int number) const;
    void forget(int number) const;
    void add(pdf_font_desc& font);

    fz_context* context_;
    pdf_document* document_;
    bool read_ = false;
    std::map<FontDigest, GlyphTexts> texts_;
};

}  // namespace kvprint

#pragma once
// Which fonts of a document are the same: a font is loaded more than once, and several fonts share a font program.

#include <array>
#include <map>
#include <span>

#include "printhost/mupdf.h"

namespace kvprint {

// Of all that says how a font's glyphs are drawn.
using FontDigest = std::array<unsigned char, 16>;

class FontIdentities {
public:
    explicit FontIdentities(fz_context* context) : context_(context) {}
    const FontDigest& digest_of(fz_font* font);

private:
    struct Known {
        Held<fz_font, fz_drop_font> font;  // no other font takes its place in memory
        FontDigest digest;
    };
    fz_context* context_;
    std::map<const fz_font*, Known> known_;
};

// The member of a collection that a font is; 0 for other files.
unsigned member_of(fz_context* context, fz_font* font);

}  // namespace kvprint

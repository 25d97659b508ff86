#pragma once
// Outlines of glyphs that are drawn as paths, each loaded once.

#include <map>

#include "printhost/mupdf.h"

namespace kvprint {

void drop_path(fz_context* context, fz_path* path);
using GlyphPath = Held<fz_path, drop_path>;

class OutlineCache {
public:
    explicit OutlineCache(fz_context* context) : context_(context) {}

    // In ems; null for a blank glyph. Valid until the next call.
    fz_path* outline_of(fz_font* font, int glyph);

private:
    struct Font {
        Held<fz_font, fz_drop_font> font;  // no other font takes its place in memory
        std::map<int, GlyphPath> outlines;
    };
    fz_context* context_;
    std::map<const fz_font*, Font> fonts_;
    size_t outlines_ = 0;
};

}  // namespace kvprint

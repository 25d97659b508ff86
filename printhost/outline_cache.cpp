#include "printhost/outline_cache.h"

namespace kvprint {

void drop_path(fz_context* context, fz_path* path) { fz_drop_path(context, path); }

fz_path* OutlineCache::outline_of(fz_font* font, int glyph) {
    constexpr size_t kMostOutlines = 4000;
    if (const auto known = fonts_.find(font); known != fonts_.end()) {
        const auto outline = known->second.outlines.find(glyph);
        if (outline != known->second.outlines.end()) return outline->second.get();
    }
    if (outlines_ >= kMostOutlines) {
        fonts_.clear();
        outlines_ = 0;
    }
    Font& entry = fonts_[font];
    if (!entry.font) entry.font = {context_, fz_keep_font(context_, font)};
    auto outline = make_held<GlyphPath>(context_, [&] { return fz_outline_glyph(context_, font, glyph, fz_identity); });
    ++outlines_;
    return entry.outlines.emplace(glyph, std::move(outline)).first->second.get();
}

}  // namespace kvprint

#include "drawing/font_fit.h"

#include <algorithm>
#include <cmath>

#include "drawing/glyph_run.h"

namespace kvjob {
namespace {

class Fitter {
public:
    Fitter(const JobMap& map, FontStore& fonts) : map_(map), fonts_(fonts) {}

    void begin_page() { state_ = {}; }

    void take(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        if (info.body == Body::TextState) return apply(state_, read_text_state(map_.body(record, buffer_)));
        if (info.body != Body::Text) return;
        const FontDefinition& font = fonts_.definition(state_.font);
        Sums& sums = sizes_[-font.height];
        if (sums.letters < kEnough) add(font, read_text(map_.body(record, buffer_), info.wide), sums);
    }

    FontFits fits() const {
        FontFits fits;
        for (const auto& [em, sums] : sizes_) {
            if (em <= 0 || sums.natural <= 0) continue;
            const double rounding = 0.5 / em;
            fits[em] = std::clamp(sums.placed / sums.natural, 1 - rounding, 1 + rounding);
        }
        return fits;
    }

private:
    static constexpr size_t kEnough = 500;  // letters; their rounding is then a few hundredths of a percent
    struct Sums {
        double placed = 0, natural = 0;  // device pixels
        size_t letters = 0;
    };

    // Letters that stand as the font has them; gaps between words, and pairs that are moved together, are wider apart.
    void add(const FontDefinition& font, const TextRun& run, Sums& sums) {
        constexpr double kRounding = 1.25;  // of two places and the em, device pixels
        const std::shared_ptr<Face> face = fonts_.face(font);
        if (!face) return;
        const double width = -font.height * stretch_of(font, *face);
        const auto glyphs = place_glyphs(run, font, face.get());
        for (size_t i = 0; i + 1 < glyphs.size(); ++i) {
            const double natural = face->advance_of(glyphs[i].glyph) * width;
            if (natural <= 0 || std::abs(glyphs[i].advance - natural) > kRounding) continue;
            sums.placed += glyphs[i].advance;
            sums.natural += natural;
            ++sums.letters;
        }
    }

    const JobMap& map_;
    FontStore& fonts_;
    TextState state_;
    std::unordered_map<int32_t, Sums> sizes_;
    std::vector<uint8_t> buffer_;
};

}  // namespace

FontFits fit_fonts(const JobMap& map, FontStore& fonts, std::span<const size_t> pages) {
    Fitter fitter(map, fonts);
    for (const size_t page : pages) {
        fitter.begin_page();
        try {
            map.for_each_record(page, [&](const Record& record) {
                try {
                    fitter.take(record);
                } catch (const BodyFault&) {  // is told when it is drawn
                }
            });
        } catch (const Fault&) {
        }
    }
    return fitter.fits();
}

}  // namespace kvjob

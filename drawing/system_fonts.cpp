#include "drawing/system_fonts.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <memory>

namespace kvjob {
namespace {

struct Destroy {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
// The library's configuration, given back at the end.
struct Configuration {
    Configuration() { FcInit(); }
    ~Configuration() { FcFini(); }
};

using Pattern = std::unique_ptr<FcPattern, Destroy>;

Pattern pattern_of(const FontDefinition& font) {
    constexpr uint8_t kFixedPitch = 1, kRoman = 0x10;
    Pattern pattern(FcPatternCreate());
    auto add_family = [&](const char* name) {
        FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(name));
    };
    const std::string face = font.face.starts_with('@') ? font.face.substr(1) : font.face;
    if (!face.empty()) add_family(face.c_str());
    add_family((font.pitch_and_family & 3) == kFixedPitch ? "monospace"
               : (font.pitch_and_family & 0xF0) == kRoman ? "serif"
                                                          : "sans-serif");
    const int weight = std::clamp(font.weight ? font.weight : 400, 1, 1000);
    FcPatternAddInteger(pattern.get(), FC_WEIGHT, FcWeightFromOpenType(weight));
    FcPatternAddInteger(pattern.get(), FC_SLANT, font.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
    return pattern;
}

}  // namespace

std::optional<SystemFont> find_system_font(const FontDefinition& font) {
    static const Configuration configuration;
    const Pattern wanted = pattern_of(font);
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    const Pattern found(FcFontMatch(nullptr, wanted.get(), &result));
    FcChar8* path = nullptr;
    int member = 0;
    if (!found || FcPatternGetString(found.get(), FC_FILE, 0, &path) != FcResultMatch) return std::nullopt;
    FcPatternGetInteger(found.get(), FC_INDEX, 0, &member);
    return SystemFont{reinterpret_cast<const char*>(path), member};
}

}  // namespace kvjob

#pragma once

#include <optional>
#include <string>

#include "reader/text_bodies.h"

namespace kvjob {

struct SystemFont {
    std::string path;
    int32_t member;  // of a collection
};

// The installed font that comes nearest to a logical font: family, weight and slant.
std::optional<SystemFont> find_system_font(const FontDefinition& font);

}  // namespace kvjob

#pragma once
// The definitions that a job has so far: drawing refers to them by identifier.

#include "record/brush.h"
#include "record/font_identity.h"
#include "record/font_list.h"

namespace kv {

struct Definitions {
    BrushList brushes;
    FontFileTable font_files;
    FontList fonts;
};

}  // namespace kv

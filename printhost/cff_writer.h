#pragma once
// Font programs in the Compact Font Format (Adobe technical note 5176), without hints and subroutines.

#include <string>
#include <vector>

#include "printhost/charstring.h"

namespace kvprint {

struct CffGlyph {
    std::string name;
    int advance;  // design units
    Outline outline;
};

struct CffBox {
    int left, bottom, right, top;
};

struct CffFont {
    std::string name;  // of ASCII letters
    int units_per_em;
    std::vector<CffGlyph> glyphs;  // the first is ".notdef"; the others' names are no standard ones and differ

    // Of all points, those off the curves too.
    CffBox bounds() const;
};

FontBytes make_cff(const CffFont& font);

}  // namespace kvprint

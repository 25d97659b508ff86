#pragma once
// Glyph outlines in whole design units, and the Type 2 charstrings that draw them (Adobe technical note 5177).

#include <optional>
#include <vector>

#include "printhost/big_endian.h"

namespace kvprint {

struct DesignPoint {
    int x, y;
    bool operator==(const DesignPoint&) const = default;
};

// Figures are closed; they fill by the nonzero winding rule.
struct OutlineStep {
    enum Kind { Move, Line, Curve } kind;
    DesignPoint control1, control2, end;  // controls of curves alone
};
using Outline = std::vector<OutlineStep>;

// A charstring's numbers reach that far from one point to the next: twice the units that a coordinate may have.
inline constexpr int kFarthestUnit = 16000;

// extra_width: what the advance has over the font's nominal one; nothing for the font's default advance.
FontBytes charstring_of(const Outline& outline, std::optional<int> extra_width);

}  // namespace kvprint

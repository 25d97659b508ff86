#pragma once
// The pixels that a path fills.

#include "printhost/outline.h"
#include "printhost/region.h"

namespace kvprint {

enum class FillRule { Winding, EvenOdd };

// Pixels of the area whose centres lie inside the figures, each of which counts as closed.
Region scan(const std::vector<Figure>& figures, FillRule rule, const RECTL& area);

}  // namespace kvprint

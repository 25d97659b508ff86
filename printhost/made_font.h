#pragma once
// Font files for fonts that no system takes as they stand: OpenType with the outlines that the document's font draws.

#include "printhost/font_subset.h"
#include "printhost/font_survey.h"

namespace kvprint {

// The outlines, in whole design units, are what MuPDF draws of the glyphs in the survey's list, with substitutes
// stretched to their widths; advances are the document's. Glyphs that cannot be said so (drawings with colours, images,
// lines; coordinates beyond the format's) are not in the font. No bytes when none is left.
FontSubset make_font(fz_context* context, fz_font* font, const FontKey& key, const FontSurvey& survey,
                     const std::string& name);

}  // namespace kvprint

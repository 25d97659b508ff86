#pragma once
// Font files of this machine with some of their tables, as PDF files hold them.

#include "printhost/sfnt.h"

namespace kvprint {

inline const char* const kMonoFont = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";

FontBytes read_font(const char* path);
// With the tables named alone.
FontBytes with_tables(const FontBytes& font, const std::vector<std::string>& tags);
// A collection of two, of which the first has these tables and the second none.
FontBytes collection_with(const FontBytes& font, const std::vector<std::string>& tags);
// The tables that a PDF file must hold of a TrueType font.
inline const std::vector<std::string> kTablesOfPdf = {"cvt ", "fpgm", "glyf", "head", "hhea",
                                                      "hmtx", "loca", "maxp", "prep"};
// The bytes of a table; empty for none.
FontBytes table_of(const FontBytes& font, const std::string& tag);

}  // namespace kvprint

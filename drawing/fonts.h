#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <variant>

#include "drawing/font_store.h"
#include "reader/output.h"
#include "reader/reports.h"

namespace kvjob {

// A logical font as the job defines it. The face is null where none can be opened.
struct ListedFont {
    uint64_t offset;
    const FontDefinition& definition;
    std::shared_ptr<Face> face;
};
// A font file that the job carries.
struct ListedFontFile {
    uint64_t offset;
    const FontFile& file;
    std::string name;  // font-20000123.ttf, the number being the file's identifier
};
using FontVisit = std::function<void(const std::variant<ListedFont, ListedFontFile>& found)>;

// Fonts and embedded files in the job's order. Damaged records are reported. Throws Fault where the framing ends, and
// what visit throws.
void for_each_font(const JobMap& map, FontStore& fonts, const FontVisit& visit, Reports& reports);

// A line for what was found.
void print_font(const std::variant<ListedFont, ListedFontFile>& found, std::FILE* out);
// Writes a file under its name.
void extract_font(const ListedFontFile& found, const OpenOutput& open);

}  // namespace kvjob

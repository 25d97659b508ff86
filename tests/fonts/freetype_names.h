#pragma once
// Compares what the readers find in real fonts with what FreeType finds.

#include <map>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace kv::test {

struct FontComparison {
    size_t faces = 0, records = 0, names = 0, characters = 0;
    // What FreeType has and the readers leave out, or choose otherwise, by rule.
    std::map<std::string, size_t> explained;
    // Differences that no rule explains.
    std::vector<std::string> faults;
};

// Each face of a font file: the records of its name table, the names chosen, the glyphs of its Windows map, and that
// the way back to file order restores the file.
void compare_with_freetype(const std::vector<BYTE>& file, const std::string& label, FontComparison& result);

}  // namespace kv::test

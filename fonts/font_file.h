#pragma once
// Font files in memory.

#include "support/global_obj.h"

namespace kv {

// Reads a whole file into the block, whose used() is then its size. FALSE, without a message about the file, when it
// cannot be read.
BOOL read_font_file(const WCHAR* path, CGlobalObj& block);

}  // namespace kv

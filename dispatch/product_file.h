#pragma once
// Where the files of the product are.

#include "support/text.h"

namespace kv {

// Looks below the printer driver directory of the environment (when the driver is there), in the folder that the
// registry names, and beside the driver. FALSE when the file is in none of them; `path` is then where it should be. An
// address is given back as it stands, an empty name gives the driver's folder.
BOOL FindProductFile(const WCHAR* environment, const WCHAR* file_name, PathText& path);

}  // namespace kv

#pragma once
// Prints a PDF file: one document through the driver, page by page.

#include "tools/kvprint/canvas.h"
#include "tools/kvprint/options.h"

namespace kvprint {

// Throws std::runtime_error with one line that says what is wrong; there is no job file then.
Played print_file(const Options& options);

}  // namespace kvprint

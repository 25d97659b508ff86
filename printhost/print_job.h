#pragma once
// Prints a PDF file: one document through the driver, page by page.

#include "printhost/canvas.h"
#include "printhost/request.h"

namespace kvprint {

// Throws std::runtime_error with one line that says what is wrong with the document, or OutputFault; there is no job
// file then.
Played print_file(const Request& request);

}  // namespace kvprint

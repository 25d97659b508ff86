#pragma once

#include <cstdio>
#include <string>

#include "reader/bytes.h"
#include "reader/reports.h"

namespace kvjob {

// Lists the fonts and the embedded files of a job. With a folder, which must exist, the files are stored there as
// font-20000123.ttf, the number being the file's identifier. Damaged records are reported. Throws Fault for no job, and
// std::runtime_error for a file that cannot be written.
void list_fonts(Bytes file, const std::string& folder, std::FILE* out, Reports& reports);

}  // namespace kvjob

#pragma once

#include <cstdio>
#include <string>

#include "reader/output.h"
#include "reader/reports.h"

namespace kvjob {

// Lists the fonts and the embedded files of a job. With `open`, the files are written as font-20000123.ttf,
// the number being the file's identifier. Damaged records are reported. Throws Fault for no job, and what the
// outputs throw.
void list_fonts(Bytes file, const OpenOutput& open, std::FILE* out, Reports& reports);

}  // namespace kvjob

#pragma once
// What is known of a job as JSON, in the words of docs/json.md.

#include "drawing/fonts.h"
#include "drawing/images.h"
#include "drawing/page_words.h"
#include "reader/checker.h"
#include "reader/info.h"
#include "reader/json.h"
#include "reader/recover.h"

namespace kvjob {

inline constexpr int kJsonVersion = 1;  // raised when a member changes its meaning or goes

Json fault_json(uint64_t offset, const std::string& message);
Json findings_json(const std::vector<Finding>& findings);
Json losses_json(const std::vector<Loss>& losses);
Json info_json(const JobInfo& info);
Json font_json(const ListedFont& font);
Json font_file_json(const ListedFontFile& file);
Json image_json(const FoundImage& image);
// A page's lines; coordinates with two digits behind the point.
Json lines_json(const std::vector<PlacedLine>& lines);
double rounded(double value);

}  // namespace kvjob

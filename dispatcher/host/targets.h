#pragma once
// What jobs are delivered to on the host, one file each, and the drawing that two of them need.

#include "dispatcher/delivery.h"

namespace kvdisp12 {

std::unique_ptr<Target> make_pdf_target(const std::string& folder);
std::unique_ptr<Target> make_cups_target(const std::string& queue, const std::string& host);

// Has kvjob draw the attempt's job as PDF into a file that is open for writing. What of the job is lost is noted as the
// document's error; Down where the file cannot be written.
Outcome draw_pdf(const Attempt& attempt, int output);

}  // namespace kvdisp12

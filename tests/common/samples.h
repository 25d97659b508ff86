#pragma once

#include "tests/common/job_builder.h"

namespace kvjob::test {

// A LOGFONT of weight 400 behind an identifier.
Buffer font_definition(uint32_t id, int height, const std::u16string& face, int escapement = 0, int weight = 400,
                       bool italic = false);
// `rest` stands behind the flags of the reference.
Buffer embedded_font_definition(uint32_t id, int height, uint32_t file, int flags, const Buffer& rest = {});
// A font that the system has: DejaVu Sans.
const Buffer& sample_font();
// Starts a page with the sample font embedded; returns its definition's identifier.
uint32_t start_page_with_font(JobBuilder& job, int height);

// Sound jobs that hold records of every kind between them.
std::vector<Buffer> sample_jobs();

}  // namespace kvjob::test

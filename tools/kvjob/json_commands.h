#pragma once
// The commands that read, as JSON.

#include "tools/kvjob/json_writer.h"
#include "tools/kvjob/options.h"

namespace kvjob {

// Adds what the command says to the job that is open. Bitmaps and font files are extracted where `open` is set. Returns
// whether the job is as it should be; throws as the commands do.
bool write_json(const Options& options, Bytes file, const OpenOutput& open, Reports& reports, JsonWriter& json);

}  // namespace kvjob

#pragma once
// What a record holds, field by field; docs/json.md lists the fields.

#include "reader/fields.h"
#include "reader/records.h"

namespace kvjob {

// Length and body. A body that is not as the format says ends in the field "fault".
void show_record(const Record& record, BodyReader& bodies, Fields& out);

// The record as a JSON object: offset, type, name, and what show_record tells.
Json record_json(const Record& record, BodyReader& bodies, size_t longest_list = SIZE_MAX);

}  // namespace kvjob

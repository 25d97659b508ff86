#pragma once
// What a document and the program that printed it are called, and the data that came with it.

#include <string>
#include <utility>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

struct DocumentNames {
    std::string title, application;                             // UTF-8, may be empty
    std::vector<std::pair<std::string, std::string>> attached;  // names and values, in the job's order
};

// Of the trailer. Throws Fault where it is missing or damaged.
DocumentNames read_names(Bytes file);

}  // namespace kvjob

#pragma once
// What a job holds, counted.

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "reader/bodies.h"
#include "reader/index.h"

namespace kvjob {

struct TypeCount {
    uint8_t type;
    uint64_t records = 0, bytes = 0;  // bytes of the file
};

struct JobInfo {
    uint64_t bytes = 0;
    Summary summary;
    std::string document, application;  // empty where the job does not say
    std::vector<Tray> trays;
    std::vector<std::pair<std::string, std::string>> attached;
    size_t fonts = 0, fonts_with_files = 0;                // definitions
    size_t files = 0, file_bytes = 0;                      // embedded fonts, inflated
    std::map<std::pair<int, std::string>, size_t> images;  // by bits a pixel and encoding
    std::vector<TypeCount> types;                          // those that occur, in their order
};

// memory: bytes that a record's body may inflate to. Throws Fault for a job that is not whole.
JobInfo read_info(Bytes file, uint64_t memory = kRecordMemory);

void print_info(const JobInfo& info, std::FILE* out);

}  // namespace kvjob

#pragma once
// What a command says of its jobs as one JSON document, written as it comes: docs/json.md.

#include <cstdio>

#include "report/job_json.h"

namespace kvjob {

class JsonWriter {
public:
    JsonWriter(std::FILE* out, const std::string& command);
    // Closes what is open, so that the document is whole whatever happened.
    ~JsonWriter();
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void begin_job(const std::string& name);
    void member(const char* name, const Json& value);
    // The members of an object.
    void members(const Json& object);
    void begin_list(const char* name);
    void item(const Json& value);
    void end_list();
    void end_job();  // with its open list

private:
    std::FILE* out_;
    bool in_job_ = false, in_list_ = false, first_job_ = true, first_item_ = true;
};

}  // namespace kvjob

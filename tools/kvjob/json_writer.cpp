#include "tools/kvjob/json_writer.h"

namespace kvjob {

JsonWriter::JsonWriter(std::FILE* out, const std::string& command) : out_(out) {
    std::fprintf(out_, "{\"version\":%d,\"command\":\"%s\",\"jobs\":[", kJsonVersion, command.c_str());
}

JsonWriter::~JsonWriter() {
    if (in_job_) end_job();
    std::fputs("]}\n", out_);
}

void JsonWriter::begin_job(const std::string& name) {
    std::fprintf(out_, "%s\n{\"name\":%s", first_job_ ? "" : ",", written(name).c_str());
    first_job_ = false;
    in_job_ = true;
}

void JsonWriter::member(const char* name, const Json& value) {
    if (in_list_) end_list();
    std::fprintf(out_, ",\n\"%s\":%s", name, written(value).c_str());
}

void JsonWriter::members(const Json& object) {
    for (const auto& [name, value] : object.items()) member(name.c_str(), value);
}

void JsonWriter::begin_list(const char* name) {
    std::fprintf(out_, ",\n\"%s\":[", name);
    in_list_ = first_item_ = true;
}

void JsonWriter::item(const Json& value) {
    std::fprintf(out_, "%s\n%s", first_item_ ? "" : ",", written(value).c_str());
    first_item_ = false;
}

void JsonWriter::end_list() {
    std::fputs("]", out_);
    in_list_ = false;
}

void JsonWriter::end_job() {
    if (in_list_) end_list();
    std::fputs("}", out_);
    in_job_ = false;
}

}  // namespace kvjob

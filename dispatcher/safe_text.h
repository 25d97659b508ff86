#pragma once
// Texts that came from someone else, made fit for a line of the log and for a file's name.

#include <string>

#include "dispatcher/text.h"

namespace kvdisp12 {

// In quotes; what could end the line or change its direction is written as \uXXXX.
std::string in_quotes(TextView text);
std::string in_quotes(const std::string& utf8);

// For programs that take any text but those characters: they become spaces.
std::string without_controls(const std::string& utf8);

// What a file can be called of a document's name, at most 200 bytes of UTF-8: no device's name, nothing that a shell or
// a program would take for an option or a folder.
Text file_name_of(TextView document_name);

}  // namespace kvdisp12

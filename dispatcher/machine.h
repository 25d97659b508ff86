#pragma once
// What differs between the systems that the dispatcher runs on.

#include <string>
#include <vector>

#include "dispatcher/text.h"

namespace kvdisp12 {

// Makes this process part of the user's machine: the paths that clients name mean the same files here.
void join_machine();
// The arguments of this process without its name, in UTF-8.
std::vector<std::string> command_line(int argc, char** argv);
// The folder of the outbox and the log where no other is given; it exists.
std::string default_folder();
// The system interface's path of a path of the command line.
Text system_path(const std::string& path);

}  // namespace kvdisp12

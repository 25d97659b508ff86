#include "dispatcher/machine.h"

#include <cstdlib>
#include <filesystem>

#include "platform/host/control.h"

namespace kvdisp12 {

void join_machine() {
    // A dispatcher that the driver started has its drive; started by hand, it serves the drive of all the user's
    // programs.
    if (!std::getenv("KARVO_DRIVE")) kv::host::use_user_drive();
    kv::host::set_messages_quiet(true);
}

std::vector<std::string> command_line(int argc, char** argv) { return {argv + 1, argv + argc}; }

std::string default_folder() { return kv::host::user_data_folder(); }

Text system_path(const std::string& path) { return kv::host::win32_path(std::filesystem::absolute(path).string()); }

}  // namespace kvdisp12

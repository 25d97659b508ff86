#pragma once
// UTF-16 texts of the system interface, and their UTF-8 form for logs and the command line.

#include <string>
#include <string_view>

#include "platform/win32.h"

namespace kvdisp12 {

using Text = std::basic_string<WCHAR>;
using TextView = std::basic_string_view<WCHAR>;

std::string to_utf8(TextView text);
Text from_utf8(std::string_view text);

}  // namespace kvdisp12

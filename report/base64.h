#pragma once

#include <string>

#include "reader/bytes.h"

namespace kvjob {

std::string base64(Bytes bytes);

}  // namespace kvjob

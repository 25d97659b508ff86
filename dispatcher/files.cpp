#include "dispatcher/files.h"

#include "dispatcher/safe_text.h"

namespace kvdisp12 {

void JobFile::require_magic() const {
    const std::vector<uint8_t> magic = read(0, 4);
    if (std::string(magic.begin(), magic.end()) != "KARV") throw FileError(in_quotes(path()) + ": it is no job");
}

}  // namespace kvdisp12

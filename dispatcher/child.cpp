#include "dispatcher/child.h"

#include "dispatcher/safe_text.h"

namespace kvdisp12 {

std::string ChildEnd::told() const {
    return said.empty() ? how : how + ": " + in_quotes(said.substr(0, said.find_last_not_of("\r\n") + 1));
}

}  // namespace kvdisp12

#pragma once
// What an administrator asks of the dispatcher, from any terminal, whether one runs or not.

#include "tools/kvdisp12/options.h"

namespace kvdisp12 {

// Its exit code: 3 where --status found something that needs attention.
int administer(const Options& options);

}  // namespace kvdisp12

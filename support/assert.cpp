#include "support/assert.h"

#include <cstdio>
#include <cstdlib>

namespace kv {

void assertion_failed(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

}  // namespace kv

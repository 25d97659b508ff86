// What makes a job of a damaged one, over any bytes: it is sound.

#include "tests/drawing/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kvjob::test::exercise_saving({data, size});
    return 0;
}

// What draws a job, over any bytes.

#include "tests/drawing/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kvjob::test::exercise_drawing({data, size});
    return 0;
}

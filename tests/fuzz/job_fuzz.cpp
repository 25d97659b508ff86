// Every command of the job reader over any bytes.

#include <filesystem>

#include "tests/common/samples.h"
#include "tests/common/workspace.h"
#include "tests/drawing/exercise.h"

// An empty corpus starts with the sample jobs.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
    namespace fs = std::filesystem;
    const fs::path corpus = (*arguments)[*count - 1];
    if (!fs::is_directory(corpus) || !fs::is_empty(corpus)) return 0;
    int number = 0;
    for (const auto& job : kvjob::test::sample_jobs()) {
        kv::test::write_file(corpus / ("sample" + std::to_string(number++)), job);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kvjob::test::exercise({data, size});
    return 0;
}

// Any bytes as a PDF file that is printed: the job is sound, or the fault is told and there is no job.

#include <filesystem>

#include "printhost/output.h"
#include "printhost/print_job.h"
#include "reader/checker.h"
#include "tests/common/workspace.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const kv::test::Workspace folder;
    kvprint::Request request;
    request.input = folder.write("in.pdf", kv::test::Bytes(data, data + size));
    request.output = folder.path("out.kv");
    request.pages = [](size_t count) { return count ? std::vector<size_t>{1} : std::vector<size_t>(); };
    request.settings = {{"Resolution", 72}};
    request.memory = size_t{64} << 20;
    request.quiet = true;
    bool printed = false;
    try {
        kvprint::print_file(request);
        printed = true;
    } catch (const std::bad_alloc&) {
    } catch (const std::runtime_error&) {
    }
    kv::require(printed == std::filesystem::exists(request.output));
    if (!printed) return 0;
    kv::require(kvjob::check_job(kv::test::read_bytes(request.output), 1).empty());
    std::filesystem::remove(request.output);
    return 0;
}

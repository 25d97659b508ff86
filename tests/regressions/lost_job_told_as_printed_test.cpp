// The last bytes of a job met a full disk when the document ended, whose hook answers TRUE whatever came of it: kvprint
// told of a printed document, and the dispatcher had none.

#include <sys/resource.h>

#include "tests/dispatcher/dispatcher_process.h"

namespace kv::test {
namespace {

TEST_F(DispatcherTest, AJobLostAtItsEndIsNotToldAsPrinted) {
    PdfText source;
    source.pages = {"0 0 100 100 re f"};
    const std::string small = write_file(shared + "/small.pdf", source.text());
    source.pages = std::vector<std::string>(300, "0 0 100 100 re f");
    const std::string large = write_file(shared + "/large.pdf", source.text());
    ASSERT_EQ(run("kvprint", {small, "--quiet"}), 0) << file("output");  // which starts the dispatcher

    rlimit usual = {};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit narrow = {4096, usual.rlim_max};  // less than the job, which waits in memory until its end
    setrlimit(RLIMIT_FSIZE, &narrow);
    const pid_t print = start("kvprint", {large, "--quiet"});
    setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(end_of(print), 1);
    EXPECT_NE(file("output").find("The disk is full."), std::string::npos) << file("output");
    EXPECT_EQ(outbox(), std::vector<std::string>{"small.kv"});
}

}  // namespace
}  // namespace kv::test

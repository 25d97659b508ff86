// The job that docs/job-format.md spells out byte for byte.

#include <cctype>
#include <fstream>

#include "tests/common/print_test.h"

namespace kv::test {
namespace {

// The bytes of the page's block "job"; each line begins with its file position.
Bytes documented_job() {
    std::ifstream page(KV_DOCS_DIR "/job-format.md");
    Bytes job;
    std::string line;
    while (std::getline(page, line) && line != "```job") continue;
    while (std::getline(page, line) && line != "```") {
        EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), job.size()) << line;
        for (size_t at = 6; std::isxdigit(line[at]) && std::isxdigit(line[at + 1]) && line[at + 2] == ' '; at += 3) {
            job.push_back(static_cast<BYTE>(std::stoul(line.substr(at, 2), nullptr, 16)));
        }
    }
    return job;
}

TEST_F(PrintTest, DocumentedJobIsWhatIsWritten) {
    start_page();
    engine::Brush red = engine::Brush::solid(0xFF0000);
    EXPECT_TRUE(device->bit_blt(nullptr, nullptr, nullptr, nullptr, {100, 100, 300, 200}, nullptr, &red, 0xF0F0));
    end_page_and_document();
    EXPECT_EQ(to_hex(job()), to_hex(documented_job()));
}

}  // namespace
}  // namespace kv::test

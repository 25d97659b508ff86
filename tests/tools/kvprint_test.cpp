// What the print host says of its work: the summary as docs/kvprint.schema.json has it, and how far it is.

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "printhost/progress.h"
#include "tests/common/pdf_text.h"
#include "tests/common/workspace.h"

namespace kvprint {
namespace {

using nlohmann::json;

class Summary : public testing::Test {
protected:
    Summary() {
        kv::test::PdfText pdf;
        pdf.pages = {"0 0 9 9 re f 0 0 m 9 9 l S", "0 0 9 9 re f bogus bogus"};
        workspace.write("in.pdf", pdf.text());
    }
    kv::test::ProgramRun print(const std::string& arguments, const std::string& before = "") {
        return kv::test::run(workspace, "kvprint", arguments, before);
    }

    kv::test::Workspace workspace;
};

TEST_F(Summary, AsJson) {
    workspace.write("n\xFF.pdf", "no document");
    const auto ended = print("in.pdf n\xFF.pdf none.pdf -o %s.kv --json --quiet");
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.errors.find("kvprint: none.pdf: no such file\n"), std::string::npos) << ended.errors;
    json said = json::parse(ended.output, nullptr, false);
    EXPECT_GE(said["documents"][0]["seconds"], 0.0);
    said["documents"][0].erase("seconds");
    EXPECT_EQ(said,
              json({{"version", 1},
                    {"documents",
                     {{{"input", "in.pdf"},
                       {"output", "in.kv"},
                       {"pages", 2},
                       {"bytes", std::filesystem::file_size(workspace.path("in.kv"))},
                       {"fills", 2},
                       {"strokes", 1},
                       {"texts", 0},
                       {"images", 0},
                       {"letters", json::array()},
                       {"otherwise", json::array()},
                       {"warnings", {{{"page", 2}, {"what", "drawing instruction not understood"}, {"count", 2}}}}},
                      {{"input", "n\xEF\xBF\xBD.pdf"}, {"output", "n\xEF\xBF\xBD.kv"}, {"error", "not a PDF file"}},
                      {{"input", "none.pdf"}, {"output", "none.kv"}, {"error", "no such file"}}}}}));
    const std::string written = workspace.write("said", ended.output), faults = workspace.path("faults");
    const std::string check = "python3 " KV_SOURCE_DIR "/tests/tools/validate_json.py " KV_SOURCE_DIR
                              "/docs/kvprint.schema.json " +
                              written + " >" + faults + " 2>&1";
    EXPECT_EQ(std::system(check.c_str()), 0) << kv::test::read_file(faults);
    EXPECT_EQ(print("in.pdf -o /dev/stdout --json | cat >got; test ! -s got").exit_code, 0);
}

TEST_F(Summary, ProgressIsToldWhereItIsWanted) {
    EXPECT_EQ(print("in.pdf -o out.kv --pages 1").errors, "");
    EXPECT_EQ(print("in.pdf -o out.kv --pages 1 --progress plain --quiet").errors, "");
    const std::string plain = print("in.pdf -o out.kv --pages 1,1 --progress=plain").errors;
    EXPECT_TRUE(std::regex_search(
        plain, std::regex("(^|\n)kvprint: in.pdf: 2 of 2 pages, [0-9.]+ pages a second, [0-9]+ KiB\n$")))
        << plain;
    const std::string terminal = "script -qec '" KV_BIN_DIR "/kvprint in.pdf -o out.kv --pages 1 ";
    print("--version", terminal + "' said >said; ");
    // The line is taken back before the closing one.
    EXPECT_TRUE(std::regex_search(workspace.read("said"), std::regex("\r[^\n]*of 1 page[^\n]*\r +\rout.kv: 1 page, ")))
        << workspace.read("said");
    print("--version", terminal + "--progress none' said >said; ");
    EXPECT_EQ(workspace.read("said").find("of 1"), std::string::npos);
}

TEST(ProgressText, SaysPagesSpeedTimeLeftAndBytes) {
    const struct {
        size_t done, pages;
        double seconds;
        uint64_t bytes;
        const char* text;
    } cases[] = {
        {0, 120, 0, 0, "0 of 120 pages, 0 KiB"},
        {1, 1, 0.25, 1, "1 of 1 page, 4.0 pages a second, 1 KiB"},
        {12, 120, 0.1, 3 << 19, "12 of 120 pages, 120 pages a second, 1 s left, 1.5 MiB"},
        {10, 100, 20, 1 << 20, "10 of 100 pages, 0.5 pages a second, 3 min left, 1.0 MiB"},
        {1, 10001, 3.6, 0, "1 of 10001 pages, 0.3 pages a second, 10.0 h left, 0 KiB"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(progress_text(each.done, each.pages, each.seconds, each.bytes), each.text);
    }
}

}  // namespace
}  // namespace kvprint

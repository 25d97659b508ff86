// What the program says as JSON: valid whatever a job holds, as docs/kvjob.schema.json says, and with the job's values.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/common/job_builder.h"
#include "tests/common/samples.h"
#include "tests/common/workspace.h"

namespace kvjob::test {
namespace {

using nlohmann::json;

class JsonTest : public testing::Test {
protected:
    // Runs a command with --json, and keeps what it wrote for the schema.
    json run(const std::string& command, const std::string& arguments, int code = 0) {
        const kv::test::ProgramRun ended = kv::test::run(workspace, "kvjob", command + " --json " + arguments);
        EXPECT_EQ(ended.exit_code, code) << command << ' ' << arguments << ended.errors;
        errors = ended.errors;
        written += " " + workspace.write("written-" + std::to_string(runs++), ended.output);
        return json::parse(ended.output, nullptr, false);
    }
    void TearDown() override {
        const std::string output = workspace.path("schema-said");
        const std::string line = "python3 " KV_SOURCE_DIR "/tests/tools/validate_json.py " KV_SOURCE_DIR
                                 "/docs/kvjob.schema.json" +
                                 written + " >" + output + " 2>&1";
        EXPECT_EQ(std::system(line.c_str()), 0) << kv::test::read_file(output);
    }

    kv::test::Workspace workspace;
    std::string written, errors;
    int runs = 0;
};

// Units that are no UTF-16, and all that JSON and terminals take badly.
const std::u16string kHostile = u"\xD800\"\\</script>\x01\x7F\x2028\xDC00";
const std::string kHostileUtf8 = "\xEF\xBF\xBD\"\\</script>\x01\x7F\xE2\x80\xA8\xEF\xBF\xBD";

TEST_F(JsonTest, EveryCommandIsAsTheSchemaSays) {
    std::string names;
    for (const Buffer& job : sample_jobs()) {
        const std::string name = "job" + std::to_string(names.size());
        workspace.write(name, job);
        names += " " + name;
        for (const char* command : {"dump", "fonts", "images", "images --out images", "fonts --extract fonts"}) {
            run(command, name);
        }
    }
    for (const char* command : {"info", "check", "text"}) {
        const json document = run(command, names);
        EXPECT_EQ(document["version"], 1);
        EXPECT_EQ(document["jobs"].size(), sample_jobs().size());
    }
}

TEST_F(JsonTest, TextsOfTheJobStayTexts) {
    JobBuilder job;
    const uint32_t font = job.start_page().next_id();
    job.record(9, font_definition(font, -50, kHostile));
    job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    job.record(30, Body().u8({0x40, 2}).u16({0xDC00, 0xD800, 0, 5, 5, 9, 9})).end_page();
    const Buffer text = Body().text(kHostile).u16({0});
    workspace.write("job", job.finish({{23, text}, {40, Body().add(text).add(text).u16({0})}}));
    const json info = run("info", "job")["jobs"][0];
    EXPECT_EQ(info["document"], kHostileUtf8);
    EXPECT_EQ(info["data"][0], json({{"name", kHostileUtf8}, {"value", kHostileUtf8}}));
    EXPECT_EQ(run("fonts", "job")["jobs"][0]["fonts"][0]["face"], kHostileUtf8);
    EXPECT_EQ(run("dump", "--page 1 job")["jobs"][0]["records"][3]["text"], "\xEF\xBF\xBD\xEF\xBF\xBD");
    run("text", "job");
    workspace.write("n\xFF", std::string("x"));
    EXPECT_EQ(run("info", "n\xFF", 1)["jobs"][0]["name"], "n\xEF\xBF\xBD");
}

// Faults stand in a whole document, and on standard error.
TEST_F(JsonTest, DamagedJobs) {
    Buffer job = sample_jobs()[0];
    workspace.write("sound", job);
    job[21] = 99;  // the type of the first record in the page, at 16 + 5
    workspace.write("damaged", job);
    job.resize(25);
    workspace.write("cut", job);
    const json checked = run("check", "none damaged sound", 1)["jobs"];
    EXPECT_TRUE(checked[0].contains("error"));
    EXPECT_EQ(checked[1]["findings"][0]["offset"], 21);
    EXPECT_EQ(checked[2]["sound"], true);
    const json dumped = run("dump", "cut", 1)["jobs"][0];
    EXPECT_EQ(dumped["records"].back()["offset"], 16);
    EXPECT_EQ(dumped["error"]["offset"], 21);
    EXPECT_NE(errors.find("cut: 0x15: "), std::string::npos) << errors;
    EXPECT_EQ(run("info", "--recover damaged", 3)["jobs"][0]["lost"][0]["offset"], 21);
}

TEST_F(JsonTest, WordsHaveBoxes) {
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -2048);  // a pixel for each unit of the font
    job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    // "ab c" with advances of 1255, 1300, 651, 1126; 1255 and 1300 are those of the font, nearly.
    job.record(30, Body().u8({0x40, 4}).u16({'a', 'b', ' ', 'c', 0, 100, 3000, 1255, 1300, 651, 1126}));
    job.record(30, Body().u8({0x40, 1}).u16({'d', 0, 3432, 3000, 1300}));  // where the last one ended
    workspace.write("job", job.end_page().finish());
    const json lines = run("text", "job")["jobs"][0]["pages"][0]["lines"];
    // The font's ascent is 1901 units, its descent 483.
    EXPECT_EQ(lines, json::parse(R"([{"angle": 0, "words": [{"text": "ab", "box": [100, 1099, 2655, 3483]},
                                                            {"text": "cd", "box": [3306, 1099, 4732, 3483]}]}])"));
}

}  // namespace
}  // namespace kvjob::test

// The file that a report is; how it looks and behaves is seen in a browser (scripts/test-report).

#include "report/html_report.h"

#include <gtest/gtest.h>

#include "report/base64.h"
#include "report/html_file.h"
#include "report/page_records.h"
#include "tests/common/job_builder.h"
#include "tests/common/samples.h"

namespace kvjob::test {
namespace {

class Text : public Output {
public:
    void write(Bytes bytes) override { text.append(bytes.begin(), bytes.end()); }
    void finish() override { finished = true; }
    std::string text;
    bool finished = false;
};

Json data_of(const std::string& html, const std::string& name) {
    const std::string start = "id=\"data-" + name + "\">";
    const size_t at = html.find(start);
    if (at == std::string::npos) return nullptr;
    const size_t from = at + start.size();
    return Json::parse(html.substr(from, html.find("</script>", from) - from));
}

size_t count_of(const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
}

TEST(HtmlReport, TextsStayTexts) {
    EXPECT_EQ(escaped("<a b=\"c\" d='e'>&"), "&lt;a b=&quot;c&quot; d=&#39;e&#39;&gt;&amp;");
    const std::u16string bad = u"</title></script><!--<script>&\xD800";
    const std::string bad_utf8 = "</title></script><!--<script>&\xEF\xBF\xBD";
    const Buffer text = Body().text(bad).u16({0});
    const Buffer job =
        JobBuilder().start_page().end_page().finish({{23, text}, {40, Body().add(text).add(text).u16({0})}});
    Text plain, hostile;
    const Buffer without = JobBuilder().start_page().end_page().finish();
    EXPECT_EQ(write_report({"a", without, without, {}}, {}, plain), 0u);
    EXPECT_EQ(write_report({bad_utf8, job, job, {}}, {}, hostile), 0u);
    EXPECT_TRUE(hostile.finished);
    for (const char* markup : {"</title>", "</script>", "<script", "<!--"}) {
        EXPECT_EQ(count_of(hostile.text, markup), count_of(plain.text, markup)) << markup;
    }
    const Json told = data_of(hostile.text, "job");
    EXPECT_EQ(told["title"], bad_utf8);
    EXPECT_EQ(told["name"], bad_utf8);
    EXPECT_EQ(told["data"][0]["value"], bad_utf8);
}

TEST(HtmlReport, PagesThatAreShown) {
    JobBuilder job;
    for (int page = 0; page < 203; ++page) job.start_page().end_page();
    const Buffer bytes = job.finish();
    Text usual, chosen, none;
    ReportOptions options;
    options.dots_per_inch = 10;
    write_report({"a", bytes, bytes, {}}, options, usual);
    EXPECT_EQ(data_of(usual.text, "job")["shown"].size(), 200u);
    EXPECT_EQ(data_of(usual.text, "job")["pages"].size(), 203u);
    EXPECT_EQ(data_of(usual.text, "picture-200")["width"], 85);  // 850 pixels at 100 dots per inch
    EXPECT_TRUE(data_of(usual.text, "picture-201").is_null());
    options.pages = [](size_t) { return std::vector<size_t>{203, 2, 203, 204}; };
    write_report({"a", bytes, bytes, {}}, options, chosen);
    EXPECT_EQ(data_of(chosen.text, "job")["shown"], (Json{2, 203}));
    options.pages = [](size_t) { return std::vector<size_t>{204}; };
    EXPECT_THROW(write_report({"a", bytes, bytes, {}}, options, none), std::runtime_error);
    EXPECT_EQ(none.text, "");
}

// Damage is told and ends nothing but what it damages; a page of any size has a picture of some.
TEST(HtmlReport, DamagedAndLargePages) {
    JobBuilder job;
    job.page_width = job.page_height = 30000;  // 300 inches: 1296 million pixels at 120 dots per inch
    job.start_page();
    const uint32_t broken = job.position();
    job.record(14, {0xF0}).end_page();
    job.start_page().record(7, Body().u32({job.next_id(), 5, 0, 0, 0})).end_page();
    const Buffer bytes = job.finish();
    Text out;
    std::vector<uint64_t> told;
    ReportOptions options;
    options.report = [&](uint64_t at, const std::string&) { told.push_back(at); };
    const size_t left_out = write_report({"a", bytes, bytes, {}}, options, out);
    ASSERT_EQ(told.size(), 2u);  // the fill and the brush
    EXPECT_EQ(left_out, 2u);
    EXPECT_EQ(data_of(out.text, "left-out")[0]["offset"], told[0]);
    EXPECT_TRUE(data_of(out.text, "records-1")["records"][1].contains("fault"));
    EXPECT_EQ(data_of(out.text, "records-1")["records"][1]["offset"], broken);
    const Json picture = data_of(out.text, "picture-1");
    EXPECT_LE(picture["width"].get<double>() * picture["height"].get<double>(), 6.01e6);
    EXPECT_GT(picture["width"], 2000);
}

TEST(HtmlReport, LongListsAreCut) {
    JobBuilder job;
    job.start_page();
    for (size_t i = 0; i < kMostRecords + 5; ++i) job.record(10);
    const Buffer bytes = job.end_page().finish();
    Text out;
    write_report({"a", bytes, bytes, {}}, {}, out);
    const Json records = data_of(out.text, "records-1");
    EXPECT_EQ(records["records"].size(), kMostRecords);
    EXPECT_EQ(records["more"], 6);                                     // with the page start
    EXPECT_EQ(shortened(Json{"ab\xC3\xA9", 1}, 3), (Json{"ab…", 1}));  // not within the letter
}

// Whatever a byte becomes, a report is whole or refused before anything of it is written.
TEST(HtmlReport, SurvivesDamage) {
    constexpr size_t kBytes = 40;  // of each job
    ReportOptions options;
    options.dots_per_inch = 10;
    for (const Buffer& sound : sample_jobs()) {
        for (size_t i = 0; i < kBytes; ++i) {
            Buffer job = sound;
            const size_t at = (i < kBytes / 2 ? i * 7 : job.size() - 1 - (i - kBytes / 2) * 11) % job.size();
            job[at] ^= static_cast<uint8_t>(1 << i % 8 | 0x40);
            Text out;
            try {
                write_report({"a", job, job, {}}, options, out);
                EXPECT_TRUE(out.finished && data_of(out.text, "left-out").is_array()) << at;
            } catch (const Fault&) {
                EXPECT_EQ(out.text, "") << at;
            } catch (const std::runtime_error&) {
                EXPECT_EQ(out.text, "") << at;
            }
        }
    }
}

TEST(HtmlReport, Base64) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xFF\xFF\xFE", "///+"}};
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(base64({reinterpret_cast<const uint8_t*>(bytes), std::strlen(bytes)}), text);
    }
}

}  // namespace
}  // namespace kvjob::test

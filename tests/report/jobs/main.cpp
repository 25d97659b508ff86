// Writes the jobs whose reports scripts/test-report opens in a browser, into the folder that is named.

#include <cstdio>

#include "tests/common/job_builder.h"
#include "tests/common/samples.h"
#include "tests/common/workspace.h"

namespace kvjob::test {
namespace {

// 100 dots per inch; letters of 20 pixels, each with 13 of them, which suits all but narrow ones: where the gap behind
// a letter is larger than 3 pixels, it ends a word.
void choose_font(JobBuilder& job, uint32_t font) { job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1})); }

void put_text(JobBuilder& job, const std::u16string& text, int x, int y) {
    Body body;
    body.u8({0x40, static_cast<int>(text.size())}).text(text).u16({0, x, y});
    for (size_t i = 0; i < text.size(); ++i) body.u16({13});
    job.record(30, body);
}

Buffer attached(const std::u16string& name, const std::u16string& value) {
    return Body().text(name).u16({0}).text(value).u16({0, 0});
}

std::u16string numbered(const char16_t* text, int number) {
    const std::string digits = std::to_string(number);
    return text + std::u16string(digits.begin(), digits.end());
}

// Damaged: the type of the fill's record is none.
Buffer plain_job(bool damaged) {
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -20);
    choose_font(job, font);
    put_text(job, u"Good spoken poems", 100, 200);
    put_text(job, u"second page", 100, 230);
    job.record(39, fill_state(0x400000FF));
    job.record(damaged ? 99 : 14, Body().u8({0xF0}).add(rect16(300, 400, 500, 450)));
    const Buffer bitmap = packed_bitmap(2, 1, 24, {}, {3, 2, 1, 1, 1, 1, 0, 0});
    job.record(18, Body().u8({0xCC}).add(rect16(0, 0, 2, 1)).add(rect16(300, 500, 400, 550)).add(bitmap));
    job.end_page(0x08);
    job.start_page();
    choose_font(job, font);
    put_text(job, u"poems on cocoa", 50, 60);
    job.end_page();
    job.start_page().end_page();
    const Buffer title = Body().text(u"Plain job").u16({0}), application = Body().text(u"test").u16({0});
    return job.finish({{23, title}, {24, application}, {40, attached(u"Case", u"4711")}});
}

// Texts that would act if they became markup or script, in every place that has a text.
Buffer hostile_job() {
    const std::u16string mark = u"</script><img src=x onerror=hacked=1>";
    const std::u16string bad = mark + u"\"'&{{script}}\xD800";
    JobBuilder job;
    const uint32_t font = job.start_page(301).next_id();
    job.record(9, font_definition(font, -20, mark.substr(0, 31)));
    choose_font(job, font);
    put_text(job, bad, 10, 100);
    job.end_page(0x04);
    const Buffer text = Body().text(bad).u16({0});
    const Buffer tray = Body().u32({0}).u16({301}).add(text);
    return job.finish({{23, text}, {24, text}, {40, attached(bad, bad)}, {37, tray}});
}

// More pages than a report shows, and as much on each that the file takes a while to be read.
Buffer large_job() {
    JobBuilder job;
    uint32_t font = 0;
    for (int page = 1; page <= 203; ++page) {
        page == 1 ? void(font = start_page_with_font(job, -20)) : void(job.start_page());
        choose_font(job, font);
        put_text(job, numbered(u"Page ", page), 100, 100);
        for (int line = 0; line < 40; ++line) put_text(job, u"so many names each day", 100, 150 + 22 * line);
        if (page == 150 || page == 202) put_text(job, u"beacon", 400, 100);
        job.end_page();
    }
    return job.finish({{23, Body().text(u"Large job").u16({0})}});
}

}  // namespace
}  // namespace kvjob::test

int main(int argc, char** argv) {
    using namespace kvjob::test;
    if (argc != 2) return 2;
    const std::string folder = std::string(argv[1]) + "/";
    kv::test::write_file(folder + "plain.kv", plain_job(false));
    kv::test::write_file(folder + "damaged.kv", plain_job(true));
    kv::test::write_file(folder + "hostile.kv", hostile_job());
    kv::test::write_file(folder + "large.kv", large_job());
    return 0;
}

// PDF files of hand-built jobs: what stands in them.

#include <gtest/gtest.h>

#include "drawing/paper.h"
#include "drawing/render_job.h"
#include "tests/common/job_builder.h"
#include "tests/drawing/exercise.h"
#include "tests/drawing/job_parts.h"

namespace kvjob::test {
namespace {

std::string render_pdf(const Buffer& job, RenderOptions options = {}) {
    Kept kept;
    options.format = RenderOptions::Format::Pdf;
    options.output = "job.pdf";
    options.open = kept.open();
    Reports reports(stderr);
    render_job(job, options, reports);
    EXPECT_EQ(reports.count(), 0u);
    const Buffer& file = kept.files["job.pdf"];
    return {file.begin(), file.end()};
}

TEST(PdfTest, PdfPagesHoldLinesTextAndPixelsOnlyWhereTheyMust) {
    auto pdf = [](int rop) {
        JobBuilder job;
        const uint32_t font = start_page_with_font(job, -60);
        job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1})).record(30, letters(u"AB", 10, 90, 50));
        job.record(39, fill_state(solid(kRed))).record(14, fill16(rop, 0, 0, 50, 50));
        return render_pdf(job.end_page(0, {0, 0, 850, 1100}).finish());
    };
    const std::string plain = pdf(0xF0), mixed = pdf(0x5A);
    EXPECT_TRUE(plain.starts_with("%PDF"));
    EXPECT_NE(plain.find("/FontFile2"), std::string::npos);
    EXPECT_EQ(plain.find("/Subtype /Image"), std::string::npos);
    EXPECT_NE(mixed.find("/FontFile2"), std::string::npos);
    EXPECT_NE(mixed.find("/Subtype /Image"), std::string::npos);
}

size_t count_of(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

TEST(PdfTest, AFontStandsOnceInAPdfFileOfManyPages) {
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -60);
    for (int page = 0; page < 3; ++page) {
        if (page > 0) job.start_page();
        job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1})).record(30, letters(u"AB", 10, 90, 50)).end_page();
    }
    EXPECT_EQ(count_of(render_pdf(job.finish()), "/FontFile2"), 1u);
}

TEST(PdfTest, PdfFilesSayWhatTheJobDoes) {
    JobBuilder job;
    for (int page = 0; page < 3; ++page) job.start_page().end_page();
    const Buffer whole = job.finish({{23, Body().text(u"Min\u00FCten").u16({0})},
                                     {24, Body().text(u"host").u16({0})},
                                     {40, Body().text(u"Author").u16({0}).text(u"Ann").u16({0, 0})}});
    RenderOptions options;
    options.created = 1'000'000'000;
    options.pages = [](size_t) { return std::vector<size_t>{3, 1}; };
    const std::string told = render_pdf(whole, options);
    // a title beyond ASCII is UTF-16 in hexadecimal
    for (const char* part : {"FEFF004D0069006E00FC00740065006E", "/Creator (host)", "/Author (Ann)",
                             "/Keywords (Author=Ann)", "20010909014640", "612", "792", "/St 3", "/Count 2"}) {
        EXPECT_NE(told.find(part), std::string::npos) << part;
    }
    options.title = "Other";
    EXPECT_NE(render_pdf(whole, options).find("/Title (Other)"), std::string::npos);
}

TEST(PaperTest, NamedPapersKeepTheirSize) {
    struct Case {
        uint16_t code;
        int width, height, resolution;
        double points_wide, points_high;
    };
    const Case cases[] = {{9, 4960, 7016, 600, 595.276, 841.890},  // A4: 4960.6 x 7015.7 pixels
                          {9, 7016, 4961, 600, 841.890, 595.276},  // on its side
                          {1, 5100, 6600, 600, 612, 792},          // Letter
                          {9, 4970, 7016, 600, 596.4, 841.92},     // not what its code says
                          {256, 1000, 500, 300, 240, 120}};
    for (const Case& each : cases) {
        IndexedPage page = {};
        page.paper = each.code, page.width = each.width, page.height = each.height;
        const PaperSize size = paper_size(page, each.resolution);
        EXPECT_NEAR(size.width, each.points_wide, 0.001) << each.width;
        EXPECT_NEAR(size.height, each.points_high, 0.001) << each.width;
    }
}

}  // namespace
}  // namespace kvjob::test

// PDF files of hand-built jobs: what stands in them.

#include <gtest/gtest.h>
#include <zlib.h>

#include "drawing/page_rows.h"
#include "drawing/paper.h"
#include "drawing/render_job.h"
#include "tests/common/job_builder.h"
#include "tests/common/plain_jpeg.h"
#include "tests/drawing/exercise.h"
#include "tests/drawing/job_parts.h"

namespace kvjob::test {
namespace {

std::string render_pdf(const Buffer& job, RenderOptions options = {}, size_t faults = 0) {
    Kept kept;
    options.format = RenderOptions::Format::Pdf;
    options.output = "job.pdf";
    options.open = kept.open();
    Reports reports(stderr);
    render_job(job, options, reports);
    EXPECT_EQ(reports.count(), faults);
    const Buffer& file = kept.files["job.pdf"];
    return {file.begin(), file.end()};
}

TEST(PdfTest, OperationsAreBlendedWhereTheyCanBeSaid) {
    const Buffer stencil = packed_bitmap(2, 1, 1, {0, kWhite}, {0x40, 0, 0, 0});
    struct Case {
        int rop;
        uint32_t brush;
        bool image;
        const char *has, *lacks;
    };
    const Case cases[] = {
        {0xF0, kRed, false, "/FontFile2", "/Subtype /Image"},
        {0x5A, kRed, false, "/Difference", "/Subtype /Image"},
        {0xA0, kRed, false, "/Multiply", "/Subtype /Image"},
        {0xFA, kRed, false, "/Screen", "/Subtype /Image"},
        {0x5A, 0x808080, false, "/Subtype /Image", "/Difference"},  // some bits of a channel are inverted
        {0xB8, 0x808080, true, "/ImageMask true", "/Multiply"},     // the brush where the image is black
        {0x66, kRed, true, "/Difference", "/ImageMask"},
    };
    for (const Case& each : cases) {
        JobBuilder job;
        const uint32_t font = start_page_with_font(job, -60);
        job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1})).record(30, letters(u"AB", 10, 90, 50));
        job.record(39, fill_state(solid(each.brush)));
        const Buffer target = rect16(0, 0, 50, 50);
        each.image ? job.record(18, Body().u8({each.rop}).add(rect16(0, 0, 2, 1)).add(target).add(stencil))
                   : job.record(14, fill16(each.rop, 0, 0, 50, 50));
        const std::string pdf = render_pdf(job.end_page(0, {0, 0, 850, 1100}).finish());
        EXPECT_NE(pdf.find(each.has), std::string::npos) << each.rop << ' ' << each.has;
        EXPECT_EQ(pdf.find(each.lacks), std::string::npos) << each.rop << ' ' << each.lacks;
    }
}

// What a page's records make of an image surface, drawn as pixels or as a file's page that is as fine.
std::vector<uint32_t> pixels_of(const Buffer& job, bool as_file, uint64_t memory) {
    const JobMap map(job);
    const Summary summary = find_summary(job);
    Reports reports(stderr);
    JobPainter painter(map, summary.resolution, BrushTable::Drawing::Pixels, reports);
    const Placement place = place_page(summary.pages[0], 1);
    RasterCanvas raster(place);
    cairo_surface_t* surface = raster.surface();
    if (as_file) {
        Pictures pictures(memory);
        VectorCanvas canvas({surface, place, true, true, place, 1,
                             [&](Canvas& onto, const Moment& until) { painter.paint_until(0, onto, until); }, memory},
                            pictures);
        painter.paint(0, canvas);
        canvas.finish_page();
    } else {
        painter.paint(0, raster);
    }
    PixelAccess rows(surface);
    std::vector<uint32_t> pixels;
    for (int y = 0; y < place.height; ++y) pixels.insert(pixels.end(), rows.pixels(y), rows.pixels(y) + place.width);
    for (uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
    return pixels;
}

// Every operation with brushes that can be blended and not, between plain drawings; with memory for all pictures, and
// with so little that the page becomes pixels.
TEST(PdfTest, PagesShowWhatPixelsDo) {
    const Buffer image = packed_bitmap(4, 1, 24, {}, {0, 0, 0, 255, 255, 255, 0, 0, 255, 0x80, 0x80, 0x80, 0, 0, 0, 0});
    const Buffer bits = packed_bitmap(8, 1, 1, {0, kWhite}, {0x35, 0, 0, 0});
    for (int rop = 0; rop < 256; ++rop) {
        JobBuilder job;
        job.page_width = 60, job.page_height = 40;
        job.start_page().record(39, fill_state(solid(0xAAAAAA))).record(14, fill16(0xF0, 0, 0, 60, 10));
        job.record(39, fill_brush(solid(kRed))).record(14, fill16(0xF0, 0, 10, 60, 20));
        int x = 0;
        for (const uint32_t brush : {kBlack, kWhite, kRed, uint32_t{0x80F00F}}) {
            job.record(39, fill_brush(solid(brush)));
            job.record(18, Body().u8({rop}).add(rect16(0, 0, 4, 1)).add(rect16(x, 0, x + 4, 30)).add(image));
            job.record(18, Body().u8({rop}).add(rect16(0, 0, 8, 1)).add(rect16(x + 12, 30, x + 4, 5)).add(bits));
            if ((((rop >> 2) ^ rop) & 0x33) == 0) job.record(14, fill16(rop, x, 15, x + 14, 35));
            job.record(14, fill16(0xF0, x + 2, 12, x + 10, 14));
            x += 15;
        }
        const Buffer whole = job.end_page(0, {0, 0, 60, 40}).finish();
        const auto expected = pixels_of(whole, false, 0);
        EXPECT_TRUE(pixels_of(whole, true, 1 << 20) == expected) << rop;
        EXPECT_TRUE(pixels_of(whole, true, 100) == expected) << rop;
    }
}

// A record whose first part is plain and whose second one is not: the first is on the page of pixels, once.
TEST(PdfTest, ThePageBesideHasWhatWasDrawnBefore) {
    JobBuilder job;
    job.page_width = 60, job.page_height = 40;
    job.start_page();
    job.record(39, Body().u16({0xCC}).u32({solid(0x808080)}).u8({7}).u32({solid(kRed)}).u8({13}));
    job.record(36, path16({10, 10, 50, 10, 50, 30, 10, 30}));
    const Buffer whole = job.end_page(0, {0, 0, 60, 40}).finish();
    EXPECT_TRUE(pixels_of(whole, true, 1 << 20) == pixels_of(whole, false, 0));
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

TEST(PdfTest, PicturesStandOnceAndJpegStreamsAsTheyAre) {
    Body colours;
    for (int i = 0; i < 40 * 40; ++i) colours.u8({i % 251, i % 7, i % 13});
    const Buffer image = packed_bitmap(40, 40, 24, {}, colours.bytes);
    const Buffer stream = kv::test::plain_jpeg(colours.bytes, 40, 40, false, 95);
    ASSERT_GT(stream.size(), 512u);  // smaller ones may stand several times
    JobBuilder job;
    for (int page = 0; page < 2; ++page) {
        job.start_page();
        for (const int left : {0, 100}) {
            job.sized_record(
                18, Body().u8({0xCC}).add(rect16(0, 0, 40, 40)).add(rect16(left, 0, left + 40, 40)).add(image));
            job.sized_record(
                31, Body().u8({0xCC}).add(rect16(0, 0, 40, 40)).add(rect16(left, 50, left + 40, 90)).add(stream));
        }
        job.end_page();
    }
    const std::string pdf = render_pdf(job.finish());
    EXPECT_EQ(count_of(pdf, "/Subtype /Image"), 2u);
    EXPECT_EQ(count_of(pdf, "/DCTDecode"), 1u);
    EXPECT_EQ(count_of(pdf, {stream.begin(), stream.end()}), 1u);
}

// Letters of bitmap fonts: stencils in lines, at every place within a word of pixels, over each other, in two colours,
// with other drawing and a clip between them.
TEST(PdfTest, SmallStencilsOneAfterAnotherAreOnePicture) {
    const Buffer letter = packed_bitmap(8, 2, 1, {0, kWhite}, {0x35, 0, 0, 0, 0xCA, 0, 0, 0});
    JobBuilder job;
    job.page_width = 200, job.page_height = 60;
    job.start_page();
    auto draw_line = [&](int top, int apart) {
        for (int left = 0; left < 190; left += apart) {
            const Buffer target = rect16(left, top, left + 8, top + 2);
            job.record(18, Body().u8({0xB8}).add(rect16(0, 0, 8, 2)).add(target).add(letter));
        }
    };
    job.record(39, fill_state(solid(kRed)));
    draw_line(5, 9);
    draw_line(6, 7);
    job.record(39, fill_brush(solid(kBlue)));
    draw_line(7, 11);
    job.record(14, fill16(0xF0, 10, 0, 30, 30));
    draw_line(8, 13);
    job.record(12, rect16(0, 0, 100, 60));
    draw_line(20, 9);
    const Buffer whole = job.end_page(0, {0, 0, 200, 60}).finish();
    EXPECT_TRUE(pixels_of(whole, true, 1 << 20) == pixels_of(whole, false, 0));
    EXPECT_EQ(count_of(render_pdf(whole), "/Subtype /Image"), 4u);
}

// The page's drawing, as the file's first stream has it.
std::string drawing_of(const std::string& pdf) {
    const size_t start = pdf.find("stream\n") + 7;
    std::string text(1 << 16, ' ');
    uLongf size = text.size();
    const auto* packed = reinterpret_cast<const Bytef*>(pdf.data() + start);
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(text.data()), &size, packed, pdf.size() - start), Z_OK);
    text.resize(size);
    return text;
}

// Thirty letters lead elsewhere by what a file rounds of their widths, some pixels; the line below begins where it
// does.
TEST(PdfTest, ALineOfARecordBeginsAtItsPlace) {
    constexpr int kLetters = 30, kAdvance = 62, kLeft = 50;
    JobBuilder job;
    const uint32_t font = start_page_with_font(job, -100);
    job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    Body lines;
    lines.u8({0x48, kLetters + 1});
    for (int i = 0; i <= kLetters; ++i) lines.u16({'a'});
    lines.u16({0, kLeft, 200});
    for (int i = 0; i < kLetters; ++i) lines.u16({i + 1 < kLetters ? kAdvance : (1 - kLetters) * kAdvance});
    lines.u16({kAdvance});
    for (int i = 0; i < kLetters; ++i) lines.u16({0});
    lines.u16({-120});
    const std::string text = drawing_of(render_pdf(job.record(30, lines).end_page().finish()));
    double em = 0, left = 0, step = 0;
    const size_t matrix = text.find(" Tm"), move = text.find(" Td", matrix);
    ASSERT_TRUE(matrix != std::string::npos && move != std::string::npos);
    const size_t line = text.rfind('\n', matrix) + 1;
    ASSERT_EQ(std::sscanf(text.c_str() + line, "%lf %*f %*f %*f %lf", &em, &left), 2) << text.substr(line, 50);
    ASSERT_EQ(std::sscanf(text.c_str() + text.rfind('\n', move) + 1, "%lf", &step), 1);
    EXPECT_NEAR(step * em, 0, 0.001);  // points
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

TEST(PdfTest, PagesWithoutAreaAreLeftOutAndTold) {
    JobBuilder job;
    for (const int width : {850, 0, 850}) {
        job.page_width = width;
        job.start_page().end_page();
    }
    EXPECT_NE(render_pdf(job.finish(), {}, 1).find("/Count 2"), std::string::npos);
    JobBuilder none;
    none.page_height = 0;
    EXPECT_THROW(render_pdf(none.start_page().end_page().finish()), std::runtime_error);
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

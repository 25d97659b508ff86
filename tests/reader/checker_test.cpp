#include "reader/checker.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/common/job_builder.h"

namespace kvjob::test {
namespace {

constexpr uint32_t kBlack = 0x80000004;

std::string findings(const Buffer& job) {
    std::string text;
    for (const Finding& finding : check_job(job))
        text += std::to_string(finding.offset) + ": " + finding.message + "\n";
    return text;
}

// (10,10) (90,10) (90,90), closed
Buffer triangle16() { return Body().u8({0, 1, 0x0B, 3}).u16({10, 10, 90, 10, 90, 90}); }
JobBuilder drawn_page() {
    JobBuilder job;
    job.start_page().record(39, fill_state(kBlack)).record(35, triangle16());
    return job;
}

struct Fault {
    const char* name;
    Buffer job;
    const char* message;
};
void expect_faults(const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
        const std::string found = findings(fault.job);
        EXPECT_NE(found.find(fault.message), std::string::npos) << fault.name << " gave: " << found;
    }
}

// A drawn page with something more on it.
Buffer page_with(const std::function<void(JobBuilder&)>& fill) {
    JobBuilder job = drawn_page();
    fill(job);
    job.end_page(0, {0, 0, 200, 200});
    job.largest_entry = 3;
    return job.finish();
}
Buffer page_with(int type, const Buffer& body = {}) {
    return page_with([&](JobBuilder& job) { job.record(type, body); });
}
Buffer page_with_raw(const Buffer& bytes) {
    return page_with([&](JobBuilder& job) { job.raw(bytes); });
}

TEST(CheckerTest, FindsFaultsOfFraming) {
    const Buffer sound = drawn_page().end_page().finish();
    auto first = [&](size_t less) { return Buffer(sound.data(), sound.data() + sound.size() - less); };
    auto packed = [](const Buffer& data, int64_t size, int64_t length) {
        return page_with_raw(Body().u8({35, 0xFF, 2}).u32({size, length}).add(data));
    };
    const Buffer zeros = deflated(Buffer(300)), ones = deflated(Body().fill(300, 1));
    const auto size = static_cast<int64_t>(zeros.size()), cut = static_cast<int64_t>(ones.size()) - 2;
    expect_faults({
        {"empty file", {}, "0: not a job file"},
        {"cut off", first(3), "the file ends within a record"},
        {"cut at a record", first(6), "ends without its trailer"},
        {"bytes at the end", Body().add(sound).u8({0}), "bytes after the trailer position"},
        {"unknown type", page_with(13), "record of type 13"},
        {"unknown kind", page_with_raw({35, 0xFF, 1, 0, 0, 0, 0}), "length of unknown kind 1"},
        {"long form", page_with_raw({10, 0xFE, 0, 0}), "longer form than it needs"},
        {"compressed although short", page_with([](JobBuilder& job) { job.compressed_record(35, triangle16()); }),
         "too short to be compressed"},
        {"deflate data of another length", packed(zeros, size, 299), "inflates to 300 bytes, declared 299"},
        {"deflate data cut off", packed(Buffer(ones.data(), ones.data() + cut), cut, 300), "deflate data are damaged"},
        {"deflate data that cannot be so long", packed({3, 0}, 2, 0x7FFFFFFF), "cannot hold the declared length"},
    });
}

TEST(CheckerTest, FindsRecordsOutOfOrder) {
    JobBuilder page = drawn_page().end_page();
    const Buffer name = Body().text(u"a").u16({0}), tray = Body().u32({0}).u16({301}).text(u"T").u16({0});
    expect_faults({
        {"page in a page", page_with(5), "page start in the wrong"},
        {"drawing outside a page", JobBuilder(page).record(10).finish(), "clip reset in the wrong place"},
        {"document header twice", page_with(1, Buffer(8)), "document header in the wrong place"},
        {"application before the name", JobBuilder(page).finish({{24, name}, {23, name}}),
         "document name in the wrong place"},
        {"tray that no page names", JobBuilder(page).finish({{37, tray}}), "no page names a tray"},
    });
}

TEST(CheckerTest, FindsFaultsOfBodies) {
    auto record = [](int type, const Buffer& body) { return page_with(type, body); };
    expect_faults({
        {"no change", record(39, Body().u16({0})), "nothing changes"},
        {"unknown change bit", record(39, Body().u16({1})), "unknown change bits"},
        {"wide width that fits a byte", record(39, Body().u16({0x1000, 255})), "wide line width is 255"},
        {"width 0", record(39, Body().u16({0x20}).u8({0})), "narrow line width is 0"},
        {"operation 17", record(39, Body().u16({0x40}).u8({17})), "stroke operation is 17"},
        {"same brush again", record(39, fill_state(kBlack)), "fields 0xE repeat"},
        {"stock colour as solid", record(39, Body().u16({8}).u32({0x40FFFFFF})), "a stock colour as solid brush"},
        {"brush that nobody defined", record(39, Body().u16({8}).u32({0x20000005})), "brush 0x20000005 was not"},
        {"body too long", record(39, Body().u16({4}).u8({1, 0})), "1 bytes after the body"},
        {"stroke without a pen", record(34, triangle16()), "no stroke brush was set"},
        {"long count of few", record(35, Body().u8({0, 0xFE}).u16({1}).u8({0x0B, 0})), "count in the long form"},
        {"figure without begin", record(35, Body().u8({0, 1, 0x0A, 1}).u16({1, 1})), "does not begin with a figure"},
        {"more points than bytes", record(35, Body().u8({0, 1, 0x0B, 200}).u16({1, 1})), "body ends too early"},
        {"32 bits for small numbers", record(48, Body().u8({0, 1, 0x0B, 2}).u32({1, 1, 32766, 5})), "where 16 bits do"},
        {"clip turned over", record(12, rect16(80, 5, 5, 80)), "rectangle is not normalised"},
        {"clip of no rectangle", record(12, {}), "clip without rectangles"},
        {"reset without a clip", record(10, {}), "repeats the current clip"},
        {"outside the marks", record(14, Body().u8({0}).add(rect16(800, 0, 850, 1))), "outside the page's marks"},
        {"brush of kind 3", record(7, Body().u32({0x20000000, 3, 0, 0, 0})), "brush of kind 3"},
        {"identifier elsewhere", record(7, Body().u32({0x20000001, 2, 0, 0, 0})), "does not fit the position"},
    });
}

TEST(CheckerTest, FindsFaultsOfImages) {
    constexpr uint32_t kWhite = 0xFFFFFF;
    const Buffer target = rect16(10, 10, 50, 20), whole = rect16(0, 0, 8, 1);
    const Buffer two = packed_bitmap(8, 1, 1, {0, kWhite}, {0x55, 0, 0, 0});
    auto bitmap = [&](const Buffer& pixels, int rop = 0xCC) {
        return Body().u8({rop}).add(whole).add(target).add(pixels).bytes;
    };
    auto record = [](int type, const Buffer& body, int flags = 8, bool sized = false) {
        JobBuilder job = drawn_page();
        job.largest_entry = 3;
        sized ? job.sized_record(type, body) : job.record(type, body);
        return job.end_page(flags).finish();
    };
    auto sized = [&](int type, const Buffer& body) { return record(type, body, 8, true); };
    std::vector<uint32_t> table(256, kWhite);
    const Buffer narrow = packed_bitmap(8, 1, 8, table, {8, 1, 0, 0, 0, 1}, 1);
    auto masked = [&](const Buffer& mask) {
        Body body;
        body.u16({0}).add(whole).u16({0, 0, 8, 0, 8, 1, 0, 1});
        return body.u32({static_cast<int>(two.size()), static_cast<int>(mask.size())}).add(two).add(mask).bytes;
    };
    EXPECT_EQ(findings(record(18, bitmap(two))), "");
    EXPECT_EQ(findings(record(18, Body().u8({0xCC}).add(rect16(-1, 0, 9, 2)).add(target).add(two))), "");
    EXPECT_EQ(findings(record(61, masked(two), 0x28)), "");
    expect_faults({
        {"marks flag", record(18, bitmap(two), 0), "flags 0x0, found 0x8"},
        {"destination flag", record(18, bitmap(two, 0x66)), "flags 0x8, found 0x9"},
        {"source beyond", record(18, Body().u8({0xCC}).add(rect16(8, 0, 9, 1)).add(target).add(two)),
         "source lies outside the bitmap"},
        {"source turned", record(18, Body().u8({0xCC}).add(rect16(8, 0, 0, 1)).add(target).add(two)),
         "source rectangle is not normalised"},
        {"unused colour", record(18, bitmap(packed_bitmap(8, 1, 1, {1, kWhite}, {0xFF, 0, 0, 0}))),
         "unused colour 0 is not 0"},
        {"top down", record(18, bitmap(packed_bitmap(8, -1, 1, {0, kWhite}, {0x55, 0, 0, 0}))), "stand from the top"},
        {"sized but plain", sized(18, bitmap(two)), "a sized record that is not encoded"},
        {"narrow run length", sized(18, bitmap(narrow)), "run-length encoded although narrow"},
        {"JPEG not sized", record(31, bitmap(jpeg_stream(8, 1, false, 0, 0, 0))), "in a record that is not sized"},
        {"small JPEG", sized(31, bitmap(jpeg_stream(8, 1, false, 0, 0, 0))), "JPEG of too few pixels"},
        {"JPEG and more", sized(31, bitmap(Body().add(jpeg_stream(40, 40, true, 0, 0, 0)).u8({0}))),
         "bytes behind its"},
        {"32 bits for small numbers", record(52, Body().u8({0xCC}).u32({0, 0, 8, 1, 10, 10, 50, 20}).add(two)),
         "where 16 bits do"},
        {"blend of another kind", record(41, Body().u32({0x00FF0001}).add(whole).add(target).add(two)),
         "blend operation other"},
        {"transparency flag", record(41, Body().u32({0x00800000}).add(whole).add(target).add(two)),
         "flags 0x8, found 0x28"},
        {"mask of other colours", record(61, masked(packed_bitmap(8, 1, 1, {0, 0xFF}, {1, 0, 0, 0})), 0x28),
         "mask of other colours"},
        {"mask of another size", record(61, masked(packed_bitmap(7, 1, 1, {0, kWhite}, {0x55, 0, 0, 0})), 0x28),
         "mask of another size"},
        {"corners", record(61, Body().u16({0}).add(whole).u16({0, 0, 8, 1, 8, 1, 0, 1}).u32({0, 0}), 0x28),
         "corners are not those of a rectangle"},
        {"damaged pattern", page_with([](JobBuilder& job) {
             job.record(7, Body().u32({job.next_id(), 5, 0, 0, 0}).zeros(40));
         }),
         "bitmap: header of another size"},
    });
}

// The finished job with bytes of its summary, at an offset in the record's body, replaced.
Buffer with_summary(size_t offset, const Buffer& bytes) {
    Buffer job = page_with([](JobBuilder&) {});
    const size_t body = job.size() - 6 - (52 + 28);
    std::copy(bytes.begin(), bytes.end(), job.begin() + static_cast<ptrdiff_t>(body + offset));
    return job;
}

TEST(CheckerTest, FindsFaultsOfTheIndex) {
    auto flags = [](int value) { return drawn_page().end_page(value).finish(); };
    EXPECT_EQ(findings(with_summary(0, {5, 0})), "");
    EXPECT_EQ(findings(JobBuilder().start_page().end_page(0, kEmptyRect).finish()), "");
    Buffer elsewhere = drawn_page().end_page().finish();
    elsewhere[elsewhere.size() - 4] ^= 1;
    expect_faults({
        {"level", with_summary(0, {4}), "unknown format level"},
        {"document flags", with_summary(2, {0}), "document flags 0x0"},
        {"largest record", with_summary(6, {79}), "largest record 79, found 80"},
        {"brushes", with_summary(10, {1}), "number of brushes"},
        {"fonts", with_summary(14, {1}), "number of fonts"},
        {"font files", with_summary(18, {1}), "number of font files"},
        {"largest entry", with_summary(22, {2}), "largest path entry"},
        {"resolution", with_summary(30, {0, 0}), "resolution 0"},
        {"portrait bounds", with_summary(32, {1}), "bounds of the portrait pages"},
        {"landscape bounds", with_summary(40, {0}), "bounds of the landscape pages"},
        {"page count", with_summary(48, {2}), "page count does not match the length"},
        {"page position", with_summary(52, {9}), "page 1: position 0x9"},
        {"printable area", with_summary(64, {0xFF, 0x7F}), "printable area is not normalised"},
        {"marks beyond the page", with_summary(76, {0, 9}), "marks lie outside the page"},
        {"marks flag without marks", flags(0x08), "flags 0x8, found 0x0"},
        {"transparency without any", flags(0x20), "flags 0x20, found 0x0"},
        {"destination read without the flag", page_with(39, Body().u16({4}).u8({9})), "flags 0x0, found 0x1"},
        {"position of another record", elsewhere, "trailer position: is not that of the summary"},
    });
}

}  // namespace
}  // namespace kvjob::test

// The library through its header alone, and as it is installed.

#include <gtest/gtest.h>
#include <kvjob/kvjob.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/common/samples.h"
#include "tests/common/workspace.h"

namespace kvjob::test {
namespace {

Buffer page_of_everything() {
    JobBuilder job;
    job.start_page();
    job.record(39, fill_state(0x400000FF)).record(14, Body().u8({0xF0}).add(rect16(100, 100, 300, 200)));
    const Buffer image = packed_bitmap(2, 1, 1, {0x0000FF, 0xFF0000}, {0x80, 0, 0, 0});
    job.record(18, Body().u8({0xCC}).add(rect16(0, 0, 2, 1)).add(rect16(0, 0, 9, 9)).add(image)).end_page(8);
    const uint32_t font = start_page_with_font(job, -60);
    job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
    job.record(30, Body().u8({0x40, 2}).text(u"AB").u16({0, 10, 90, 50, 50})).end_page();
    return job.finish({{23, Body().text(u"Title").u16({0})}});
}

TEST(LibraryTest, WhatAJobHolds) {
    const Buffer bytes = page_of_everything();
    const karvo::Job job = karvo::Job::of(bytes);
    EXPECT_TRUE(job.check().empty());
    EXPECT_EQ(job.document().title, "Title");
    ASSERT_EQ(job.document().pages.size(), 2u);
    EXPECT_EQ(job.document().pages[0].offset, 0x10u);
    std::vector<int> all, first;
    for (const karvo::Record& record : job.records()) all.push_back(record.type);
    for (const karvo::Record& record : job.records(0)) first.push_back(record.type);
    EXPECT_EQ(first, (std::vector<int>{39, 14, 18}));
    EXPECT_EQ(all, (std::vector<int>{1, 2, 5, 39, 14, 18, 6, 5, 28, 9, 19, 30, 6, 3, 0, 21, 23, 38}));
    EXPECT_EQ(job.text(1), "AB\n");
    ASSERT_EQ(job.fonts().size(), 1u);
    EXPECT_EQ(job.font_file(job.fonts()[0].file.value()), sample_font());
    std::vector<uint32_t> pixels;
    job.for_each_image([&](const karvo::Image& image) {
        EXPECT_EQ(image.page, 1u);
        image.read([&](std::span<const uint32_t> row) { pixels.insert(pixels.end(), row.begin(), row.end()); });
    });
    EXPECT_EQ(pixels, (std::vector<uint32_t>{0xFFFF0000, 0xFF0000FF}));
}

TEST(LibraryTest, PagesAreDrawn) {
    const Buffer bytes = page_of_everything();
    const karvo::Job job = karvo::Job::of(bytes);
    std::vector<std::vector<uint32_t>> rows;
    job.draw(0, {.dots_per_inch = 50, .memory = 1 << 20},
             [&](std::span<const uint32_t> row) { rows.emplace_back(row.begin(), row.end()); });
    EXPECT_EQ(job.size(0, 50), std::pair(425, static_cast<int>(rows.size())));
    ASSERT_EQ(rows.size(), 550u);
    EXPECT_EQ(rows[50][50] & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(rows[49][50] & 0xFFFFFF, 0xFFFFFFu);
    std::string pdf;
    job.write_pdf({.pages = {1}}, [&](karvo::Bytes more) { pdf.append(more.begin(), more.end()); });
    EXPECT_TRUE(pdf.starts_with("%PDF"));
    EXPECT_NE(pdf.find("/Count 1"), std::string::npos);
}

TEST(LibraryTest, FaultsSayWhere) {
    Buffer bytes = page_of_everything();
    EXPECT_THROW(karvo::Job::of(Buffer(20, 1)), karvo::Error);
    EXPECT_THROW(karvo::Job::open("/none"), std::runtime_error);
    const karvo::Job whole = karvo::Job::of(bytes);
    EXPECT_THROW(whole.text(2), std::out_of_range);
    struct Own {};  // a caller's exception
    EXPECT_THROW(whole.draw(0, {}, [](std::span<const uint32_t>) { throw Own(); }), Own);
    EXPECT_THROW(whole.write_pdf({}, [](karvo::Bytes) { throw Own(); }), Own);
    bytes.resize(bytes.size() - 6);  // without the trailer position
    const karvo::Job cut = karvo::Job::of(bytes);
    try {
        cut.document();
        ADD_FAILURE();
    } catch (const karvo::Error& error) {
        EXPECT_EQ(error.offset, bytes.size() - 6);
    }
    EXPECT_EQ(cut.check().size(), 1u);
    EXPECT_EQ(cut.text(1), "AB\n");
    Buffer saved;
    const auto lost = cut.recover([&](karvo::Bytes more) { saved.insert(saved.end(), more.begin(), more.end()); });
    EXPECT_FALSE(lost.empty());
    EXPECT_TRUE(karvo::Job::of(saved).check().empty());
}

TEST(LibraryTest, RecordsInflateWithinTheLimits) {
    JobBuilder job;
    job.start_page();
    job.compressed_record(18, Body()
                                  .u8({0xCC})
                                  .add(rect16(0, 0, 30, 30))
                                  .add(rect16(0, 0, 30, 30))
                                  .add(packed_bitmap(30, 30, 32, {}, Body().fill(3600, 0x55))));
    const Buffer bytes = job.end_page(8).finish();
    for (const bool within : {false, true}) {
        const karvo::Job limited = karvo::Job::of(bytes, {.memory = within ? 4000u : 3000u});
        size_t reports = 0, images = 0, findings = limited.check().size();
        const karvo::Report report = [&](uint64_t offset, const std::string&) { reports += offset == 0x12; };
        limited.for_each_image([&](const karvo::Image&) { ++images; }, report);
        limited.draw(0, {.dots_per_inch = 20, .report = report}, [](std::span<const uint32_t>) {});
        EXPECT_EQ(findings == 0, within);
        EXPECT_EQ(images, within ? 1u : 0u);
        EXPECT_EQ(reports, within ? 0u : 2u);
        const auto lost = limited.recover([](karvo::Bytes) {});
        EXPECT_EQ(lost.empty(), within);
        const karvo::Record record = *limited.records(0).begin();
        if (within) {
            EXPECT_EQ(limited.body(record).size(), record.length);
        } else {
            EXPECT_THROW(limited.body(record), karvo::Error);
        }
    }
}

TEST(LibraryTest, ALargeFileMayBeCutShortWhileItIsOpen) {
    const kv::test::Workspace folder;
    const std::string path = folder.path("job.kv");
    constexpr size_t kLength = 65 << 20;
    folder.write("job.kv", Body().text("KARV").u8({99, 0xFF, 0}).u32({kLength}));
    constexpr off_t kHeader = 11;
    ASSERT_EQ(truncate(path.c_str(), kHeader + off_t{kLength}), 0);
    const karvo::Job job = karvo::Job::open(path);
    ASSERT_EQ(truncate(path.c_str(), kHeader), 0);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"job.kv"});
    size_t records = 0;
    for (const karvo::Record& record : job.records()) {
        ++records;
        ASSERT_EQ(record.payload.size(), kLength);
        EXPECT_EQ(record.payload.back(), 0);
    }
    EXPECT_EQ(records, 1u);
}

// The example of docs/, built by CMake and by pkg-config against an installed tree.
TEST(LibraryTest, ProgramsBuildAgainstTheInstalledLibrary) {
    const kv::test::Workspace folder;
    folder.write("job.kv", page_of_everything());
    auto shell = [&](const std::string& command) {
        const std::string line = "cd " + folder.path("") + " && (" + command + ") >said 2>&1";
        const int code = std::system(line.c_str());
        EXPECT_EQ(code, 0) << command << ": " << folder.read("said");
    };
    const std::string docs = KV_DOCS_DIR "/example";
    for (const std::string component : {"library", "development"}) {
        shell(KV_CMAKE " --install " KV_BUILD_DIR " --component " + component + " --prefix \"$PWD/tree\"");
    }
    shell(KV_CMAKE " -S " + docs +
          " -B built -DCMAKE_PREFIX_PATH=\"$PWD/tree\" -DCMAKE_CXX_COMPILER=" KV_CXX " -DCMAKE_CXX_FLAGS=\"" KV_FLAGS
          "\" && " KV_CMAKE " --build built");
    shell("./built/example job.kv page.ppm && test \"$(head -c 2 page.ppm)\" = P6");
    const std::string said =
        "title: Title\npages: 2\npage 1: 3 records\npage 2: 4 records\nAB\n"
        "font: 60 pixels, in the job\nimage: 2 x 1, ";
    EXPECT_EQ(folder.read("said").substr(0, said.size()), said);
    shell("export PKG_CONFIG_PATH=$(dirname $(find \"$PWD/tree\" -name kvjob.pc)); " KV_CXX " -std=c++20 " KV_FLAGS
          " " +
          docs +
          "/example.cpp $(pkg-config --cflags --libs kvjob) -o other && "
          "LD_LIBRARY_PATH=$PKG_CONFIG_PATH/.. ./other job.kv other.ppm && cmp page.ppm other.ppm");
    // nothing but the header's names comes out of the library
    shell("! nm -DC --defined-only $(find tree -name libkvjob.so) | grep -v 'karvo::\\|KVJOB_1'");
}

}  // namespace
}  // namespace kvjob::test

// Jobs made of pages of others, against jobs that are built by hand.

#include "reader/join.h"

#include <gtest/gtest.h>

#include <numeric>

#include "reader/checker.h"
#include "tests/common/samples.h"

namespace kvjob::test {
namespace {

struct Joined : Output {
    Joined(const std::vector<Buffer>& jobs, std::vector<size_t> numbers) {
        PageJoin join;
        for (const Buffer& each : jobs) join.add_job(each);
        if (numbers.empty()) numbers.resize(join.pages()), std::iota(numbers.begin(), numbers.end(), size_t{1});
        join.write(numbers, *this, [&](size_t, uint64_t, const std::string& what) { left_out.push_back(what); });
        for (const Finding& finding : check_job(job)) ADD_FAILURE() << finding.offset << ": " << finding.message;
    }
    void write(Bytes more) override { job.insert(job.end(), more.begin(), more.end()); }
    void finish() override {}
    Buffer job;
    std::vector<std::string> left_out;
};

// A page that fills a rectangle of its own width with the hatch; introduced here where `hatch` is 0.
uint32_t add_page(JobBuilder& job, uint32_t hatch, int width, int tray = 0) {
    tray ? job.start_page(tray) : job.start_page();
    if (hatch == 0) {
        hatch = job.next_id();
        job.record(7, Body().u32({hatch, 2, 0xFF, 3, 0xFFFFFF}));
    }
    job.record(39, fill_state(hatch)).record(14, Body().u8({0xF0}).add(rect16(0, 0, width, 10)));
    job.end_page(tray ? 4 : 0, {0, 0, width, 10});
    return hatch;
}

Buffer tray_name(int number, const std::u16string& name) {
    return Body().u32({0}).u16({static_cast<uint16_t>(number)}).text(name).u16({0});
}
Buffer name(const std::u16string& text) { return Body().text(text).u16({0}); }

TEST(JoinTest, AllPagesOfAJobAreThatJob) {
    for (const Buffer& sound : sample_jobs()) EXPECT_EQ(Joined({sound}, {}).job, sound);
}

TEST(JoinTest, DefinitionsComeWithTheFirstPageThatNeedsThem) {
    JobBuilder first, second, expected;
    const uint32_t a = add_page(first, 0, 11);
    add_page(first, a, 12, 301);
    add_page(first, a, 13, 302);
    const Buffer one =
        first.finish({{23, name(u"One")}, {37, tray_name(301, u"seven")}, {37, tray_name(302, u"eight")}});
    const uint32_t b = add_page(second, 0, 21);
    add_page(second, b, 22);
    const Buffer two = second.finish({{23, name(u"Two")}, {24, name(u"host")}});

    const uint32_t from_two = add_page(expected, 0, 22);
    const uint32_t from_one = add_page(expected, 0, 12, 301);
    add_page(expected, from_one, 11);
    add_page(expected, from_two, 21);
    add_page(expected, from_one, 12, 301);
    const Buffer whole = expected.finish({{23, name(u"One")}, {24, name(u"host")}, {37, tray_name(301, u"seven")}});
    const Joined joined({one, two}, {5, 2, 1, 4, 2, 99});
    EXPECT_EQ(joined.job, whole);
    EXPECT_EQ(joined.left_out, std::vector<std::string>());
}

TEST(JoinTest, WhatCannotBeOneJobIsRefused) {
    JobBuilder job;
    add_page(job, 0, 11);
    const Buffer sound = job.finish();
    Buffer finer = sound, cut = sound;
    const size_t summary = finer[finer.size() - 4] | finer[finer.size() - 3] << 8;
    finer[summary + 2 + 30] = 200;  // dots per inch
    cut.resize(cut.size() - 1);
    EXPECT_THROW(Joined({sound, finer}, {}), std::runtime_error);
    EXPECT_EQ(Joined({sound, finer}, {1}).job, sound);
    finer[summary + 2 + 30] = finer[summary + 2 + 31] = 0;
    EXPECT_THROW(Joined({finer}, {}), std::runtime_error);
    EXPECT_THROW(Joined({sound}, {2}), std::runtime_error);
    EXPECT_THROW(Joined({sound, cut}, {}), Fault);
}

}  // namespace
}  // namespace kvjob::test

// What is saved of damaged jobs: always a sound job, with every whole page before the damage as it stood.

#include "reader/recover.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "reader/checker.h"
#include "reader/job_map.h"
#include "tests/common/samples.h"

namespace kvjob::test {
namespace {

struct Saved : Output {
    explicit Saved(const Buffer& damaged) { recovery = recover_job(damaged, *this); }
    void write(Bytes more) override { job.insert(job.end(), more.begin(), more.end()); }
    void finish() override {}
    Buffer job;
    Recovery recovery;
};

// Where page starts and the records behind their ends stand.
std::vector<std::pair<size_t, size_t>> pages_of(const Buffer& job) {
    std::vector<std::pair<size_t, size_t>> pages;
    const JobMap map(job);
    for (size_t i = 0; i < map.pages().size(); ++i) {
        size_t end = map.pages()[i] + read_record(job, map.pages()[i]).end(job.data()) - map.pages()[i];
        map.for_each_record(i, [&](const Record& record) { end = record.end(job.data()); });
        pages.emplace_back(map.pages()[i], end + 2);
    }
    return pages;
}

// Sound, and true to the bytes of the pages that end before the damage.
void expect_saved(const Buffer& sound, const Buffer& damaged, size_t damage, const char* how) {
    const Saved saved(damaged);
    for (const Finding& finding : check_job(saved.job)) {
        ADD_FAILURE() << how << " at " << damage << ": " << finding.offset << ": " << finding.message;
    }
    size_t whole = 0, end = 0;
    for (const auto& [from, to] : pages_of(sound)) {
        if (to <= damage) ++whole, end = to;
    }
    EXPECT_TRUE(std::ranges::is_sorted(saved.recovery.losses, {}, &Loss::offset)) << how << " at " << damage;
    EXPECT_GE(saved.recovery.pages, whole) << how << " at " << damage;
    ASSERT_GE(saved.job.size(), end);
    const size_t first = std::min(end, pages_of(sound)[0].first);
    EXPECT_TRUE(
        Buffer(sound.begin() + static_cast<ptrdiff_t>(first), sound.begin() + static_cast<ptrdiff_t>(end)) ==
        Buffer(saved.job.begin() + static_cast<ptrdiff_t>(first), saved.job.begin() + static_cast<ptrdiff_t>(end)));
}

TEST(RecoverTest, SoundJobsStayTheSame) {
    for (const Buffer& sound : sample_jobs()) {
        const Saved saved(sound);
        EXPECT_TRUE(saved.recovery.whole());
        EXPECT_EQ(saved.job.size(), sound.size());
        for (const Finding& finding : check_job(saved.job)) ADD_FAILURE() << finding.message;
    }
}

TEST(RecoverTest, JobsCutAnywhereInTheirLastPage) {
    for (const Buffer& sound : sample_jobs()) {
        const size_t from = pages_of(sound).back().first;
        for (size_t size = from; size < sound.size(); size += 1 + sound.size() / 800) {
            Buffer cut = sound;
            cut.resize(size);
            expect_saved(sound, cut, size, "cut");
            EXPECT_FALSE(Saved(cut).recovery.whole());
        }
    }
}

TEST(RecoverTest, AByteInvertedAnywhere) {
    for (const size_t sample : {0u, 1u, 3u}) {
        const Buffer sound = sample_jobs()[sample];
        for (size_t at = 0; at < sound.size(); ++at) {
            Buffer damaged = sound;
            damaged[at] = static_cast<uint8_t>(~damaged[at]);
            expect_saved(sound, damaged, at, "inverted");
        }
    }
}

TEST(RecoverTest, PagesMissingFromTheMiddle) {
    JobBuilder job;
    for (int page = 0; page < 5; ++page) {
        job.start_page();
        const uint32_t hatch = job.next_id();
        job.record(7, Body().u32({hatch, 2, 0xFF, 3, 0xFFFFFF})).record(39, fill_state(hatch));
        job.record(14, Body().u8({0xF0}).add(rect16(0, 0, 10 + page, 10))).end_page(0, {0, 0, 10 + page, 10});
    }
    const Buffer sound = job.finish();
    const auto pages = pages_of(sound);
    for (const size_t inside : {0u, 9u}) {  // also from the middle of one page to that of another
        Buffer damaged = sound;
        damaged.erase(damaged.begin() + static_cast<ptrdiff_t>(pages[1].first + inside),
                      damaged.begin() + static_cast<ptrdiff_t>(pages[3].first + inside));
        expect_saved(sound, damaged, pages[1].first, "removed");
        const Saved saved(damaged);
        EXPECT_EQ(saved.recovery.pages, 3u);
        EXPECT_FALSE(saved.recovery.whole());
    }
}

TEST(RecoverTest, OtherFilesAreRefused) {
    for (const Buffer& other : {Buffer(200, 5), Buffer()}) EXPECT_THROW(Saved{other}, Fault);
}

}  // namespace
}  // namespace kvjob::test

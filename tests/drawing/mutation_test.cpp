// Damaged jobs: every command gives an answer, whatever the bytes.

#include <gtest/gtest.h>

#include <random>

#include "reader/checker.h"
#include "tests/common/samples.h"
#include "tests/drawing/exercise.h"

namespace kvjob::test {
namespace {

constexpr uint32_t kSeed = 20240501;

TEST(MutationTest, TheSamplesAreSound) {
    for (const Buffer& job : sample_jobs()) {
        for (const Finding& finding : check_job(job)) ADD_FAILURE() << finding.offset << ": " << finding.message;
    }
}

TEST(MutationTest, ChangedBytesAreSurvived) {
    std::mt19937 random(kSeed);
    for (const Buffer& sound : sample_jobs()) {
        exercise(sound);
        for (int round = 0; round < 300; ++round) {
            Buffer job = sound;
            for (auto changes = 1 + random() % 6; changes > 0; --changes) {
                const uint8_t extremes[] = {0, 1, 0x7F, 0x80, 0xFE, 0xFF, static_cast<uint8_t>(random())};
                job[random() % job.size()] = extremes[random() % std::size(extremes)];
            }
            exercise(job);
        }
    }
}

TEST(MutationTest, MissingAndRepeatedPiecesAreSurvived) {
    std::mt19937 random(kSeed);
    for (const Buffer& sound : sample_jobs()) {
        for (int round = 0; round < 100; ++round) {
            Buffer job = sound;
            const auto from = job.begin() + static_cast<ptrdiff_t>(random() % job.size());
            const auto to = from + static_cast<ptrdiff_t>(random() % static_cast<size_t>(job.end() - from));
            if (round % 2) {
                job.erase(from, to);
            } else {
                const Buffer piece(from, to);
                job.insert(to, piece.begin(), piece.end());
            }
            exercise(job);
        }
        for (size_t length = 0; length < sound.size(); length += 1 + sound.size() / 100) {
            exercise(Bytes(sound).first(length));
        }
    }
}

}  // namespace
}  // namespace kvjob::test

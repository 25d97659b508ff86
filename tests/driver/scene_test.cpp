// Made-up documents that call every hook: each leaves a sound job, the same every time.

#include "tests/scenes/scene.h"

#include "reader/checker.h"
#include "tests/common/print_test.h"

namespace kv::test {
namespace {

constexpr const char* kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

struct SceneTest : PrintTest, testing::WithParamInterface<WORD> {
    Bytes print(uint32_t seed) {
        DriverDevMode mode = scenes::device_mode(GetParam());
        host::printer(printer).output.clear();
        open_device(&mode);
        EXPECT_TRUE(scenes::print_document(*device, seed, GetParam(), font));
        close_device();
        return job();
    }
    void SetUp() override {
        PrintTest::SetUp();
        font = engine::FontFile::load(kFont);
    }
    std::shared_ptr<engine::FontFile> font;
};

TEST_P(SceneTest, LeavesASoundJobTheSameEveryTime) {
    for (uint32_t seed = 1; seed <= 25; ++seed) {
        const Bytes first = print(seed);
        ASSERT_FALSE(first.empty()) << "seed " << seed;
        for (const auto& finding : kvjob::check_job(first)) {
            ADD_FAILURE() << "seed " << seed << ", byte " << finding.offset << ": " << finding.message;
        }
        if (seed > 5) continue;
        EXPECT_EQ(first, print(seed)) << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Compression, SceneTest,
                         testing::Values(WORD{0x00}, WORD{0x08}, WORD{0x20}, WORD{0x31}, WORD{0xF9}));

}  // namespace
}  // namespace kv::test

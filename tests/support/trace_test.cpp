#include "support/trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/common/host_test.h"

namespace kv::test {
namespace {

class TraceTest : public HostTest {
protected:
    TraceTest() {
        host::set_trace_listener([this](const std::string& line) { lines_.push_back(line); });
    }
    ~TraceTest() override {
        host::set_trace_listener({});
        stop_trace();
    }
    // Without the time and the thread.
    static std::string text(const std::string& line) { return line.substr(line.find(' ', line.find(' ') + 1) + 1); }

    std::vector<std::string> lines_;
};

TEST_F(TraceTest, LevelsAreSetByWordsAndTheLaterWins) {
    using enum TraceLevel;
    struct {
        const char* words;
        TraceLevel record, fonts;
    } const cases[] = {
        {"", Off, Off},
        {"info", Info, Info},
        {"record:info,fonts:warning", Info, Warning},
        {"error,fonts:record", Error, Record},
        {"fonts:record,error", Error, Error},
        {"record:loud,pages:info,,fonts:error", Off, Error},
    };
    for (const auto& c : cases) {
        const std::string words = c.words;
        EXPECT_EQ(set_trace_levels(c.words), words.find("loud") == std::string::npos) << c.words;
        EXPECT_EQ(trace_levels[static_cast<size_t>(TraceComponent::Record)], c.record) << c.words;
        EXPECT_EQ(trace_levels[static_cast<size_t>(TraceComponent::Fonts)], c.fonts) << c.words;
    }
}

TEST_F(TraceTest, RegistrySwitchesItOnTheUserAfterTheMachine) {
    constexpr char16_t kKey[] = u"Software\\Velmora Software\\Karvo12";
    host::set_registry_string(HKEY_LOCAL_MACHINE, kKey, u"Trace", u"info");
    host::set_registry_string(HKEY_CURRENT_USER, kKey, u"Trace", u"fonts:off");
    start_trace();
    EXPECT_TRUE(tracing(TraceComponent::Record, TraceLevel::Info));
    EXPECT_FALSE(tracing(TraceComponent::Fonts, TraceLevel::Error));
}

TEST_F(TraceTest, LinesThatAreWantedAndNoOthersAreWritten) {
    set_trace_levels("record:warning");
    SetLastError(5);
    int evaluated = 0;
    KV_TRACE(Record, Warning, "%d of %s", ++evaluated, "two");
    KV_TRACE(Record, Info, "%d", ++evaluated);
    KV_TRACE(Fonts, Error, "%d", ++evaluated);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_EQ(evaluated, 1);
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(text(lines_[0]), "record warning TestBody: 1 of two");
    KV_TRACE(Record, Error, "%s", std::string(1000, 'x').c_str());
    EXPECT_EQ(std::string_view(TraceText(std::u16string(129, u'\u20AC').c_str()).c_str()).size(), 128 * 3);
    EXPECT_EQ(lines_[1].size(), 510u);  // 512 bytes hold the line feed and the formatter's 0
    EXPECT_FALSE(KV_FAIL(Record, "%d", 7) || KV_FAIL(Fonts, "%d", ++evaluated));
    EXPECT_EQ(text(lines_[2]), "record error TestBody: 7, last error 5");
    EXPECT_EQ(lines_.size(), 3u);
}

}  // namespace
}  // namespace kv::test

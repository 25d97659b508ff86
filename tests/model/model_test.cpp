// Documents of random calls: what their records draw, against a plain page of pixels on which the same calls were made.
// KV_MODEL_DOCUMENTS sets how many, KV_MODEL_FIRST the first one's seed.

#include <cstdlib>

#include "drawing/page_painter.h"
#include "drawing/raster_canvas.h"
#include "tests/common/text_test.h"
#include "tests/model/random_page.h"

namespace kv::test {
namespace {

// The page's left top corner at a pixel a device pixel.
class DrawnJob {
public:
    explicit DrawnJob(const Bytes& job)
        : map_(job), fonts_(map_), texts_(fonts_, kvjob::TextPainter::Fonts::Dropped), brushes_(map_, 100, kPixels) {}

    // The first pixel that differs, or nothing.
    std::string difference(size_t page, const ModelPage& model) {
        kvjob::Reports reports(stderr);
        kvjob::RasterCanvas canvas({1, 0, 0, ModelPage::kSize, ModelPage::kSize});
        kvjob::PagePainter(map_, brushes_, texts_, reports).paint(page, canvas);
        if (reports.count()) return "records that cannot be drawn";
        kvjob::PixelAccess rows(canvas.surface());
        for (LONG y = 0; y < ModelPage::kSize; ++y) {
            for (LONG x = 0; x < ModelPage::kSize; ++x) {
                const ModelPage::Pixel& pixel = model.at({x, y});
                const ULONG drawn = rows.pixels(y)[x] & 0xFFFFFF;
                if (are_near(drawn, pixel)) continue;
                char text[100];
                std::snprintf(text, sizeof text, "at %d,%d drawn %06X, expected %06X, give or take %d", x, y, drawn,
                              pixel.colour, pixel.slack);
                return text;
            }
        }
        return "";
    }

private:
    static constexpr auto kPixels = kvjob::BrushTable::Drawing::Pixels;
    static bool are_near(ULONG drawn, const ModelPage::Pixel& pixel) {
        for (int shift = 0; shift < 24; shift += 8) {
            const int apart = static_cast<int>(drawn >> shift & 0xFF) - static_cast<int>(pixel.colour >> shift & 0xFF);
            if (std::abs(apart) > pixel.slack) return false;
        }
        return true;
    }

    kvjob::JobMap map_;
    kvjob::FontStore fonts_;
    kvjob::TextPainter texts_;
    kvjob::BrushTable brushes_;
};

struct ModelTest : TextTest {
    static unsigned long number(const char* variable, unsigned long otherwise) {
        const char* value = std::getenv(variable);
        return value ? std::strtoul(value, nullptr, 10) : otherwise;
    }

    // Compression is off or lossless: run-length, deflate, fewer colours.
    void expect_alike(unsigned long seed) {
        static constexpr uint32_t kLossless[] = {0, 0x08, 0x10, 0x20, 0x28, 0x38};
        SCOPED_TRACE("KV_MODEL_FIRST=" + std::to_string(seed) + " KV_MODEL_DOCUMENTS=1");
        std::mt19937 dice(static_cast<uint32_t>(seed));
        set(u"Compression", kLossless[dice() % std::size(kLossless)]);
        close_device();
        open_device();
        host::printer(printer).output.clear();
        engine::Font font(sans, 0, 12);
        ASSERT_TRUE(device->start_document(u"Title", 7));
        std::vector<RandomPage> pages;
        for (size_t count = 1 + dice() % 2; pages.size() < count;) {
            RandomPage& page = pages.emplace_back(*device, font, dice);
            ASSERT_TRUE(device->start_page());
            for (auto calls = 1 + dice() % 15; calls > 0; --calls) ASSERT_TRUE(page.draw()) << page.calls();
            ASSERT_TRUE(device->send_page());
        }
        ASSERT_TRUE(device->end_document());
        const Bytes bytes = job();
        DrawnJob drawn(bytes);
        for (size_t i = 0; i < pages.size(); ++i) {
            EXPECT_EQ(drawn.difference(i, pages[i].model()), "") << "page " << i + 1 << ":\n" << pages[i].calls();
        }
    }
};

TEST_F(ModelTest, RecordsDrawWhatTheCallsSay) {
    constexpr unsigned long kEveryRun = 300;
    const unsigned long first = number("KV_MODEL_FIRST", 1), count = number("KV_MODEL_DOCUMENTS", kEveryRun);
    for (unsigned long seed = first; seed < first + count && !HasFailure(); ++seed) expect_alike(seed);
    close_device();
}

}  // namespace
}  // namespace kv::test

// How fast images become records, and what memory that takes: 100 megapixels through the hooks into a job file, whole
// or in bands, for the settings that make the driver work. "driver" is the most memory that the process held beyond
// what it held with the image in memory, in MiB.

#include <benchmark/benchmark.h>

#include <fstream>
#include <map>
#include <string>

#include "bench/open_document.h"

namespace kv {
namespace {

constexpr LONG kSide = 10000;

// Of this process, in kilobytes: "VmRSS" held now, "VmHWM" the most since the last reset.
int64_t memory(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        int64_t kilobytes = 0;
        if (word == field + ":" && status >> kilobytes) return kilobytes;
    }
    return 0;
}
void reset_peak() { std::ofstream("/proc/self/clear_refs") << 5; }

// Smooth colours with some noise, as photographs have; indexes of a few values.
void paint(engine::Bitmap& bitmap) {
    const int bits = engine::bits_per_pixel(bitmap.iBitmapFormat);
    const size_t stride = bitmap.stride(), step = static_cast<size_t>(bits) / 8;
    uint32_t noise = 1;
    for (LONG y = 0; y < bitmap.height(); ++y) {
        BYTE* row = bitmap.row(y);
        for (size_t i = 0; i < stride; ++i) {
            noise = noise * 1664525 + 1013904223;
            const size_t x = bits < 8 ? i : i / step;
            row[i] = bits < 8 ? static_cast<BYTE>(x / 16 % 2 ? 0xFF : 0x00)
                              : static_cast<BYTE>((x + static_cast<size_t>(y)) / 64 + (noise >> 29));
        }
    }
}

engine::Bitmap& image_of(ULONG format, engine::RowOrder order, LONG height) {
    static std::map<std::string, std::unique_ptr<engine::Bitmap>> images;
    const std::string key =
        std::to_string(format) + (order == engine::RowOrder::TopDown ? "t" : "b") + std::to_string(height);
    if (!images.contains(key)) {
        images.clear();  // one at a time in memory
        images[key] = std::make_unique<engine::Bitmap>(format, kSide, height, order);
        paint(*images[key]);
    }
    return *images[key];
}

void run(benchmark::State& state, engine::Bitmap& bitmap, uint32_t compression) {
    engine::Translation gray([] {
        std::vector<ULONG> table(256);
        for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<ULONG>(i * 0x010101);
        return table;
    }());
    engine::Translation* translation = bitmap.iBitmapFormat <= BMF_8BPP ? &gray : nullptr;
    OpenDocument document(compression);
    reset_peak();
    const int64_t before = memory("VmRSS");
    while (state.KeepRunning()) {
        for (LONG y = 0; y < kSide; y += bitmap.height()) {
            document.device().stretch_blt(bitmap, nullptr, nullptr, translation,
                                          {0, y / 2, kSide / 2, (y + bitmap.height()) / 2},
                                          {0, 0, kSide, bitmap.height()});
        }
        document.device().send_page();
        document.device().start_page();
        state.PauseTiming();
        document.renew();
        state.ResumeTiming();
    }
    state.counters["driver"] = static_cast<double>(memory("VmHWM") - before) / 1024;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide);
    state.SetBytesProcessed(static_cast<int64_t>(document.bytes()));
}

// range: the surface's format; its rows' order; Compression.
void WholeImage(benchmark::State& state) {
    const auto order = state.range(1) ? engine::RowOrder::BottomUp : engine::RowOrder::TopDown;
    run(state, image_of(static_cast<ULONG>(state.range(0)), order, kSide), static_cast<uint32_t>(state.range(2)));
}
constexpr int kTopDown = 0, kBottomUp = 1;
constexpr int kPlain = 0x00, kJpeg = 0x01, kRunLength = 0x08, kDeflate = 0x10, kReduce = 0x20, kDownsample = 0xC0;
BENCHMARK(WholeImage)
    ->ArgNames({"format", "bottom_up", "compression"})
    ->Args({BMF_32BPP, kBottomUp, kPlain})  // written from where it is
    ->Args({BMF_24BPP, kBottomUp, kPlain})
    ->Args({BMF_24BPP, kBottomUp, kJpeg})
    ->Args({BMF_24BPP, kBottomUp, kDownsample | kReduce | kJpeg})
    ->Args({BMF_24BPP, kTopDown, kPlain})
    ->Args({BMF_24BPP, kTopDown, kJpeg})
    ->Args({BMF_24BPP, kTopDown, kDownsample | kReduce | kJpeg})
    ->Args({BMF_24BPP, kTopDown, kDeflate | kReduce})
    ->Args({BMF_8BPP, kTopDown, kRunLength})
    ->Args({BMF_1BPP, kTopDown, kPlain})
    ->Unit(benchmark::kMillisecond);

// Bands of 50 rows, joined.
void Bands(benchmark::State& state) {
    run(state, image_of(BMF_24BPP, engine::RowOrder::BottomUp, 50), static_cast<uint32_t>(state.range(0)));
}
BENCHMARK(Bands)->ArgName("compression")->Arg(kPlain)->Arg(kDownsample | kJpeg)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kv

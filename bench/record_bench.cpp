// How fast drawing becomes records: paths, clips and the drawing state, through the hooks, into a job file. Counters
// give records (or points) and job bytes per second; pages are sent so that the job file does not grow without end.

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench/open_document.h"

namespace kv {
namespace {

POINTFIX on_circle(double radius, double angle) {
    return {engine::to_fix(2000 + radius * std::cos(angle)), engine::to_fix(2500 + radius * std::sin(angle))};
}

void add_polygon(engine::Path& path, int64_t points) {
    path.move_to(on_circle(1800, 0));
    for (int64_t i = 1; i < points; ++i) {
        // In and out, so that no point falls on its neighbour's pixel.
        path.line_to(on_circle(i % 2 ? 900 : 1800, 6.2831853 * static_cast<double>(i) / static_cast<double>(points)));
    }
    path.close();
}

// range: points of a path; Compression.
void FillPath(benchmark::State& state) {
    OpenDocument document(static_cast<uint32_t>(state.range(1)));
    engine::Path path;
    add_polygon(path, state.range(0));
    engine::Brush brush = engine::Brush::solid(0x123456);
    for ([[maybe_unused]] auto _ : state) {
        if (!document.device().fill(path, nullptr, brush, FP_WINDINGMODE)) state.SkipWithError("not recorded");
        document.renew();
    }
    report(state, document, static_cast<uint64_t>(state.range(0)));
    state.SetLabel("items are points");
}
BENCHMARK(FillPath)->ArgsProduct({{4, 100, 10'000, 1'000'000}, {0x00, 0x10}});

// Small strokes whose colour changes every time: a state record and a path record each.
void StrokeWithChangingState(benchmark::State& state) {
    OpenDocument document(0);
    engine::Path path;
    path.move_to({16 * 100, 16 * 100});
    path.line_to({16 * 400, 16 * 250});
    LINEATTRS line = {};
    line.elWidth.l = 1;
    engine::Brush brushes[] = {engine::Brush::solid(0x0000FF), engine::Brush::solid(0x00FF00)};
    size_t turn = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (!document.device().stroke(path, nullptr, nullptr, brushes[turn++ % 2], line)) {
            state.SkipWithError("not recorded");
        }
        document.renew();
    }
    report(state, document, 2);
    state.SetLabel("items are records");
}
BENCHMARK(StrokeWithChangingState);

std::vector<RECTL> staircase(int64_t steps) {
    std::vector<RECTL> rects;
    rects.reserve(static_cast<size_t>(steps));
    for (LONG i = 0; i < steps; ++i) rects.push_back({i, i * 2, i + 300, i * 2 + 2});
    return rects;
}

// Two complex clips in turn. range: rectangles of each; the larger one is replayed from the cache.
void ComplexClips(benchmark::State& state) {
    OpenDocument document(0);
    engine::Clip clips[] = {engine::Clip::region(staircase(state.range(0))), engine::Clip::rectangle({0, 0, 90, 90})};
    engine::Path path;
    path.add_rect({10, 10, 2000, 2000});
    engine::Brush brush = engine::Brush::solid(0x123456);
    size_t turn = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (!document.device().fill(path, &clips[turn++ % 2], brush, FP_WINDINGMODE)) {
            state.SkipWithError("not recorded");
        }
        document.renew();
    }
    report(state, document, 2);
    state.SetLabel("items are records");
}
BENCHMARK(ComplexClips)->Arg(8)->Arg(1000);

// The record primitives alone. range: bytes of a record; Compression.
void Records(benchmark::State& state) {
    OpenDocument document(static_cast<uint32_t>(state.range(1)));
    auto& device = *reinterpret_cast<PDEVICE*>(document.device().handle());
    std::vector<BYTE> body(static_cast<size_t>(state.range(0)));
    for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<BYTE>(i * i >> 4);
    constexpr BYTE kAnyType = 35;
    for ([[maybe_unused]] auto _ : state) {
        if (!device.WriteRecord(kAnyType, static_cast<DWORD>(body.size()), body.data())) {
            state.SkipWithError("not written");
        }
        document.renew();
    }
    report(state, document, 1);
    state.SetLabel("items are records");
}
BENCHMARK(Records)->ArgsProduct({{16, 1000, 100'000}, {0x00, 0x10}});

// A job of so many definitions: hatches that all differ. range: hatches.
void DistinctHatches(benchmark::State& state) {
    OpenDocument document(0);
    auto& device = *reinterpret_cast<PDEVICE*>(document.device().handle());
    constexpr DWORD kCross = 4;
    DWORD colour = 0;
    for ([[maybe_unused]] auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            RealizedBrush hatch = {kNoBrush, BrushKind::Hatched, colour++, kCross, 0xFFFFFF};
            if (ResolveRealizedBrush(device, hatch) == kNullBrush) state.SkipWithError("not defined");
        }
    }
    report(state, document, static_cast<uint64_t>(state.range(0)));
    state.SetLabel("items are definitions");
}
BENCHMARK(DistinctHatches)->Arg(320'000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Fills with one large pattern, which is compared each time. range: pixels along an edge, 4 bytes each.
void LargePattern(benchmark::State& state) {
    OpenDocument document(0);
    const auto edge = static_cast<LONG>(state.range(0));
    engine::Bitmap pattern(BMF_32BPP, edge, edge);
    for (LONG y = 0; y < edge; ++y) {
        for (LONG x = 0; x < edge * 4; ++x) pattern.row(y)[x] = static_cast<BYTE>(x * y >> 3);
    }
    engine::Brush brush = engine::Brush::patterned(&pattern, nullptr);
    brush.bind(&document.device());
    for ([[maybe_unused]] auto _ : state) {
        if (ResolveBrush(*reinterpret_cast<PDEVICE*>(document.device().handle()), &brush) == kNullBrush) {
            state.SkipWithError("not resolved");
        }
    }
    report(state, document, 1);
    state.SetLabel("items are fills");
}
BENCHMARK(LargePattern)->Arg(1773)->Unit(benchmark::kMillisecond);

// Empty pages, each with its index entry.
void Pages(benchmark::State& state) {
    OpenDocument document(0);
    for ([[maybe_unused]] auto _ : state) {
        document.device().send_page();
        if (!document.device().start_page()) state.SkipWithError("no page");
    }
    report(state, document, 1);
    state.SetLabel("items are pages");
}
BENCHMARK(Pages);

}  // namespace
}  // namespace kv

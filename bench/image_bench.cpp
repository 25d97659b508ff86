// What happens to images: downsampling against a plain copy of the source and against pixman's box filter, colour
// reduction, run-length encoding, and JPEG against the bare library. Items are source pixels.

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "image/encoding.h"
#include "image/prepare.h"
#include "tests/common/plain_jpeg.h"

namespace kv {
namespace {

constexpr LONG kWidth = 4000, kHeight = 3000;

// Soft shapes with some grain, as in a photograph.
DWORD photo_pixel(LONG x, LONG y, DWORD grain) {
    const auto level = [&](double a, double b, int shift) {
        const double value = 128 + 55 * std::sin(a * x + b * y) + 55 * std::cos(b * x - a * y);
        return static_cast<DWORD>(value) + (grain >> shift & 7);
    };
    return level(0.005, 0.003, 0) | level(0.002, 0.004, 3) << 8 | level(0.003, 0.001, 6) << 16;
}

void put(PackedDib& dib, BYTE* row, LONG x, DWORD value) {
    const WORD bits = dib.header().biBitCount;
    if (bits >= 8) {
        std::memcpy(row + x * bits / 8, &value, bits / 8);
    } else {
        row[x * bits / 8] = static_cast<BYTE>(row[x * bits / 8] << bits | (value & ((1 << bits) - 1)));
    }
}

// pixel(x, y, random number)
template <class Pixel>
std::unique_ptr<PackedDib> make_dib(WORD bits, LONG width, LONG height, Pixel pixel) {
    auto dib = std::make_unique<PackedDib>();
    dib->create(dib_header(width, height, bits));
    std::minstd_rand random(1);
    for (LONG y = 0; y < height; ++y) {
        BYTE* row = dib->bits() + static_cast<size_t>(y) * dib_stride(dib->header());
        for (LONG x = 0; x < width; ++x) put(*dib, row, x, pixel(x, y, static_cast<DWORD>(random() >> 8)));
    }
    return dib;
}

enum Content : int { kPhoto, kGray, kPalette, kSixteenColors, kMono, kPhoto16, kPhoto32 };

std::unique_ptr<PackedDib> make_content(int content) {
    static constexpr WORD kBits[] = {24, 8, 8, 4, 1, 16, 32};
    auto dib = make_dib(kBits[content], kWidth, kHeight, photo_pixel);
    for (DWORD i = 0; dib->header().biBitCount <= 8 && i < 1u << dib->header().biBitCount; ++i) {
        dib->table()[i] = i * (content == kGray ? 0x010101 : 0x0F8731) & 0xFFFFFF;
    }
    return dib;
}

void count_pixels(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * kWidth * kHeight); }

void Downsample(benchmark::State& state) {
    const auto dib = make_content(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        PackedDib result;
        if (!DownsampleDib(dib->view(), static_cast<LONG>(state.range(1)), 150, result))
            return state.SkipWithError("no");
        benchmark::DoNotOptimize(result.bits());
    }
    count_pixels(state);
}
BENCHMARK(Downsample)
    ->Unit(benchmark::kMillisecond)
    ->ArgNames({"content", "dpi"})
    ->ArgsProduct({{kPhoto, kGray, kMono, kPhoto32}, {200, 300, 600, 2400}})
    ->ArgsProduct({{kPalette, kPhoto16}, {300, 600}})
    ->Args({kSixteenColors, 600});

// The same bytes read, and as many written.
void PlainCopy(benchmark::State& state) {
    const auto dib = make_content(static_cast<int>(state.range(0)));
    std::vector<BYTE> copy(dib->size());
    for (auto _ : state) {
        std::memcpy(copy.data(), dib->data(), copy.size());
        benchmark::ClobberMemory();
    }
    count_pixels(state);
}
BENCHMARK(PlainCopy)->Unit(benchmark::kMillisecond)->ArgName("content")->DenseRange(kPhoto, kPhoto32);

void PixmanBox(benchmark::State& state) {
    const bool packed = state.range(0) == kPhoto;
    const auto dib = make_content(static_cast<int>(state.range(0)));
    const double ratio = static_cast<double>(state.range(1)) / 150;
    const int width = static_cast<int>(kWidth / ratio), height = static_cast<int>(kHeight / ratio);
    const pixman_format_code_t format = packed ? PIXMAN_r8g8b8 : PIXMAN_x8r8g8b8;
    const auto stride = static_cast<int>(dib_stride(dib->header()));
    auto* bits = reinterpret_cast<uint32_t*>(dib->bits());
    pixman_transform_t scale;
    pixman_transform_init_scale(&scale, pixman_double_to_fixed(ratio), pixman_double_to_fixed(ratio));
    int values = 0;
    pixman_fixed_t* filter = pixman_filter_create_separable_convolution(
        &values, pixman_double_to_fixed(ratio), pixman_double_to_fixed(ratio), PIXMAN_KERNEL_IMPULSE,
        PIXMAN_KERNEL_IMPULSE, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, 4, 4);
    for (auto _ : state) {
        pixman_image_t* source = pixman_image_create_bits(format, kWidth, kHeight, bits, stride);
        pixman_image_t* target = pixman_image_create_bits(format, width, height, nullptr, 0);
        pixman_image_set_transform(source, &scale);
        pixman_image_set_filter(source, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, filter, values);
        pixman_image_composite32(PIXMAN_OP_SRC, source, nullptr, target, 0, 0, 0, 0, 0, 0, width, height);
        pixman_image_unref(target);
        pixman_image_unref(source);
    }
    std::free(filter);
    count_pixels(state);
}
BENCHMARK(PixmanBox)
    ->Unit(benchmark::kMillisecond)
    ->ArgNames({"content", "dpi"})
    ->ArgsProduct({{kPhoto, kPhoto32}, {200, 300, 600, 2400}});

// Few: 200 colours, each next to another. Flat: two colours in areas. Photo: no reduction but in 16 and 32 bits.
void ReduceColors(benchmark::State& state) {
    const auto bits = static_cast<WORD>(state.range(0));
    const auto colors = static_cast<DWORD>(state.range(1));
    const auto dib = make_dib(bits, kWidth, kHeight, [&](LONG x, LONG y, DWORD random) {
        if (colors == 0) return photo_pixel(x, y, random);
        const DWORD index = colors == 2 ? DWORD{(x / 60 + y / 40) % 3 == 0} : random % colors;
        return bits <= 8 ? index : index * 0x010203;
    });
    for (DWORD i = 0; bits <= 8 && i < 1u << bits; ++i) dib->table()[i] = i * 0x0F8731 & 0xFFFFFF;
    for (auto _ : state) {
        PackedDib result;
        benchmark::DoNotOptimize(ReduceColorDepth(dib->view(), result));
    }
    count_pixels(state);
}
BENCHMARK(ReduceColors)
    ->Unit(benchmark::kMillisecond)
    ->ArgNames({"bits", "colors"})
    ->Args({24, 0})
    ->Args({24, 2})
    ->Args({24, 200})
    ->Args({32, 0})
    ->Args({32, 200})
    ->Args({16, 0})
    ->Args({8, 200})
    ->Args({8, 12});

BOOL discard(const void* data, DWORD, void*) {
    benchmark::DoNotOptimize(data);
    return TRUE;
}

// Longest runs of 1 (noise), 20 and 400 pixels.
void RunLengths(benchmark::State& state) {
    const auto bits = static_cast<WORD>(state.range(0));
    DWORD value = 0, left = 0;
    const auto dib = make_dib(bits, kWidth, kHeight, [&](LONG, LONG, DWORD random) {
        if (left-- == 0) {
            value = random;
            left = random / 256 % static_cast<DWORD>(state.range(1));
        }
        return value;
    });
    const auto size = static_cast<DWORD>(dib_bits_size(dib->header()));
    const auto stride = static_cast<DWORD>(dib_stride(dib->header()));
    DWORD encoded = 0;
    for (auto _ : state) {
        (bits == 8 ? EncodeRle8 : EncodeRle4)(dib->bits(), size, kWidth, stride, discard, nullptr, &encoded);
    }
    count_pixels(state);
    state.SetBytesProcessed(state.iterations() * int64_t{size});
    state.counters["ratio"] = static_cast<double>(encoded) / size;
}
BENCHMARK(RunLengths)->Unit(benchmark::kMillisecond)->ArgNames({"bits", "run"})->ArgsProduct({{8, 4}, {1, 20, 400}});

void Jpeg(benchmark::State& state) {
    const auto dib = make_content(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        CGlobalObj stream;
        CompressDibToJpeg(dib->view(), 75, stream);
        benchmark::DoNotOptimize(stream.data());
    }
    count_pixels(state);
}
BENCHMARK(Jpeg)->Unit(benchmark::kMillisecond)->Arg(kPhoto)->Arg(kGray);

// The library alone, with the same samples in its own order.
std::vector<BYTE> samples_of(const PackedDib& dib, size_t bytes_per_pixel) {
    std::vector<BYTE> samples;
    const auto stride = static_cast<size_t>(dib_stride(dib.header()));
    for (LONG y = kHeight - 1; y >= 0; --y) {
        const BYTE* row = dib.bits() + static_cast<size_t>(y) * stride;
        for (size_t x = 0; x < kWidth; ++x) {
            for (size_t c = bytes_per_pixel; c-- > 0;) samples.push_back(row[x * bytes_per_pixel + c]);
        }
    }
    return samples;
}

void BareJpeg(benchmark::State& state) {
    const bool gray = state.range(0) == kGray;
    const std::vector<BYTE> samples = samples_of(*make_content(static_cast<int>(state.range(0))), gray ? 1 : 3);
    for (auto _ : state) benchmark::DoNotOptimize(test::plain_jpeg(samples, kWidth, kHeight, gray, 75));
    count_pixels(state);
}
BENCHMARK(BareJpeg)->Unit(benchmark::kMillisecond)->Arg(kPhoto)->Arg(kGray);

}  // namespace
}  // namespace kv

#pragma once
// PNG files written row by row.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "reader/output.h"

namespace kvjob {

enum class PngFormat {
    Grey,     // a byte a pixel, of `depth` bits
    Indexed,  // a byte a pixel, of `depth` bits
    Rgb,      // 0x??RRGGBB
    Rgba,     // 0xAARRGGBB, not premultiplied
};

struct PngImage {
    int32_t width, height;
    PngFormat format;
    int depth = 8;                           // 1, 4 or 8 where a byte is a pixel
    std::span<const uint32_t> palette = {};  // 0x00RRGGBB
    double dots_per_inch = 0;                // 0: not said
};

class PngWriter {
public:
    // Throws std::runtime_error, as everything here does, or what the output throws.
    PngWriter(Output& out, const PngImage& image);
    ~PngWriter();
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    void write_row(const uint8_t* row);
    void write_row(const uint32_t* row) { write_row(reinterpret_cast<const uint8_t*>(row)); }
    void finish();  // of the output, too

private:
    struct State;
    [[noreturn]] void fail() const;
    std::unique_ptr<State> state_;
};

}  // namespace kvjob

#pragma once
// What the graphics engine hands to a driver, made of a fuzzer's bytes.

#include <memory>

#include "engine/objects.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {

// Small, or one of the ends of the range.
LONG take_coordinate(FuzzInput& in);
RECTL take_rect(FuzzInput& in);
// Of a known format its bits lie in a block of exactly their size; the rest of the surface may be anything.
std::unique_ptr<engine::Bitmap> take_bitmap(FuzzInput& in);
// Null: none.
std::unique_ptr<engine::Translation> take_translation(FuzzInput& in);
std::unique_ptr<engine::Clip> take_clip(FuzzInput& in);

// A brush with the bitmap and the translation that it refers to.
struct BrushWithPattern {
    explicit BrushWithPattern(FuzzInput& in);
    std::unique_ptr<engine::Bitmap> bitmap;
    std::unique_ptr<engine::Translation> translation;
    engine::Brush brush;
};
// With a style of exactly its length.
struct Pen {
    explicit Pen(FuzzInput& in);
    LINEATTRS line = {};
    std::unique_ptr<FLOAT_LONG[]> style;
};

}  // namespace kv

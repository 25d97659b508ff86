#pragma once
// Random drawing calls, made on a device and on the model of its page alike.

#include <random>
#include <string>

#include "engine/device.h"
#include "tests/model/model_page.h"

namespace kv::test {

class RandomPage {
public:
    RandomPage(engine::Device& device, engine::Font& font, std::mt19937& dice)
        : device_(device), font_(font), dice_(dice) {}

    // A call or a group of calls that belong together. False when the device refuses one.
    bool draw();
    const ModelPage& model() const { return model_; }
    // What was called, a line each.
    const std::string& calls() const { return calls_; }

private:
    struct Ink {
        Picture tile;
        Pattern pattern;
        std::unique_ptr<engine::Brush> brush;
    };

    LONG roll(LONG low, LONG high) { return low + static_cast<LONG>(dice_() % static_cast<ULONG>(high - low + 1)); }
    bool one_in(LONG n) { return roll(1, n) == 1; }
    ULONG format() { return static_cast<ULONG>(roll(BMF_1BPP, BMF_32BPP)); }
    ULONG colour();
    BYTE operation();
    RECTL rect();
    Picture picture(ULONG format, LONG width, LONG height, bool alpha = false);
    Picture picture() { return picture(format(), roll(1, 30), roll(1, 30)); }
    Picture black_and_white(LONG width, LONG height);
    std::unique_ptr<Ink> ink();
    std::unique_ptr<engine::Clip> clip();
    RECTL part_of(const Picture& picture);
    RECTL target_of(const RECTL& from, LONG scale);
    void note(const char* call, ULONG number, const RECTL& to, const engine::Clip* clip,
              const Placed* source = nullptr);

    bool fill();
    bool fill_path();
    bool image();
    bool masked();
    bool transparent();
    bool blend();
    bool bands();
    bool icon();
    bool text();
    bool stack(const Picture& picture, const RECTL& to, engine::Clip* clip, LONG count, BYTE rop);

    engine::Device& device_;
    engine::Font& font_;
    std::mt19937& dice_;
    ModelPage model_;
    std::string calls_;
};

}  // namespace kv::test

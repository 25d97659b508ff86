// Transfers under failure, and with arguments that no sound engine hands out.

#include <random>

#include "reader/checker.h"
#include "tests/common/fault_test.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::Brush;
using engine::RowOrder;
using engine::Translation;

struct BlitFaults : FaultTest {
    // Every record of bitmaps, held back and not, with everything that the settings can ask for.
    static void draw_page(engine::Device& device, Answers& note) {
        const RECTL place = {0, 0, 40, 40};
        Bitmap photo(BMF_24BPP, 120, 120), band(BMF_24BPP, 40, 20, RowOrder::BottomUp), icon(BMF_8BPP, 40, 40),
            alpha(BMF_32BPP, 40, 40), mask(BMF_1BPP, 40, 40, RowOrder::BottomUp),
            shape(BMF_24BPP, 40, 40, RowOrder::BottomUp), lines(BMF_4BPP, 40, 40);
        for (LONG i = 0; i < 120 * 120; ++i) photo.set_pixel(i % 120, i / 120, static_cast<ULONG>(i * 977));
        for (LONG i = 0; i < 40 * 40; ++i) {
            icon.set_pixel(i % 40, i / 40, static_cast<ULONG>(i % 7 * 31));
            lines.set_pixel(i % 40, i / 40, static_cast<ULONG>(i % 13));
            alpha.set_pixel(i % 40, i / 40, static_cast<ULONG>(i) * 0x1010101);
        }
        std::vector<ULONG> colors(256);
        for (size_t i = 0; i < colors.size(); ++i) colors[i] = static_cast<ULONG>(i * 0x20103);
        Translation table(colors), black_and_white({0, 0xFFFFFF});
        Brush pattern = Brush::patterned(&icon, &table);
        const POINTL at = {0, 0};
        note(device.bit_blt(nullptr, nullptr, nullptr, nullptr, place, nullptr, &pattern, 0xF0F0));
        note(device.stretch_blt(photo, nullptr, nullptr, nullptr, place, {0, 0, 120, 120}));
        note(device.copy_bits(photo, nullptr, nullptr, {0, 0, 60, 60}, {20, 30}));
        note(device.copy_bits(icon, nullptr, &table, place, at));
        note(device.copy_bits(lines, nullptr, &table, place, at));
        for (LONG y = 0; y < 3; ++y) note(device.copy_bits(band, nullptr, nullptr, {0, 20 * y, 40, 20 * y + 20}, at));
        note(device.alpha_blend(alpha, nullptr, nullptr, place, place, {0, 0, 255, AC_SRC_ALPHA}));
        note(device.transparent_blt(icon, nullptr, &table, place, place, 31));
        note(device.bit_blt(&photo, &mask, nullptr, nullptr, place, &at, nullptr, 0xAACC));
        for (BYTE rop : {BYTE{0x66}, BYTE{0x88}, BYTE{0x66}}) {
            Bitmap& image = rop == 0x88 ? mask : shape;
            note(device.stretch_blt_rop(image, nullptr, nullptr, &black_and_white, place,
                                        {0, 0, image.width(), image.height()}, nullptr, rop));
        }
    }

    static Script print() {
        return [](engine::Device& device, Answers& note) {
            note(device.start_document(u"Faults", 3));
            note(device.start_page());
            draw_page(device, note);
            note(device.send_page());
            note(device.end_document());
        };
    }
};

TEST_F(BlitFaults, EveryCallWithEverythingOn) {
    set(u"Compression", 0xF9);
    set(u"ResDownSamp", 75);
    set(u"ResDownSampMono", 75);
    fail_each_call(print());
    EXPECT_GT(failed_calls, 100u);
}

TEST_F(BlitFaults, EveryCallOfPlainBitmaps) {
    fail_each_call_of(host::CallKind::Allocation, print(), {});
    fail_each_call_of(host::CallKind::File, print(), {});
}

TEST_F(BlitFaults, EveryWrite) {
    set(u"Compression", 0xF9);
    fail_each_write(print());
    set(u"Compression", 0);
    fail_each_write(print());
}

// Numbers as they come from broken callers: mostly small, some at the ends of their range.
struct Numbers {
    std::mt19937 random;
    uint32_t any() { return static_cast<uint32_t>(random()); }
    uint32_t below(uint32_t limit) { return any() % limit; }
    LONG coordinate() {
        static constexpr LONG kEnds[] = {-0x7FFFFFFF - 1, -0x7FFFFFFF, -32769, 32767, 32768, 0x7FFFFFFE, 0x7FFFFFFF};
        return below(8) == 0 ? kEnds[below(7)] : static_cast<LONG>(below(80)) - 20;
    }
    RECTL rect() { return {coordinate(), coordinate(), coordinate(), coordinate()}; }
};

struct HostileBlits : FaultTest {
    // A bitmap whose bits end where they say, so that the sanitizer sees each byte read beyond them.
    static std::unique_ptr<Bitmap> make_bitmap(Numbers& numbers) {
        const ULONG format = 1 + numbers.below(8);
        const LONG width = 1 + static_cast<LONG>(numbers.below(50)), height = 1 + static_cast<LONG>(numbers.below(40));
        if (format > BMF_32BPP) return std::make_unique<Bitmap>(format, width, height, std::vector<BYTE>{0, 1});
        const RowOrder order = numbers.below(2) ? RowOrder::TopDown : RowOrder::BottomUp;
        auto bitmap = std::make_unique<Bitmap>(format, width, height, order);
        auto* bits = static_cast<BYTE*>(bitmap->pvBits);
        const uint32_t values = 1 + numbers.below(4);
        for (ULONG i = 0; i < bitmap->cjBits; ++i) bits[i] = static_cast<BYTE>(numbers.below(values) * 0x55);
        return bitmap;
    }
    static std::unique_ptr<Translation> make_translation(Numbers& numbers) {
        switch (numbers.below(5)) {
            case 0:
                return nullptr;
            case 1:
                return std::make_unique<Translation>(numbers.any(), numbers.any(), numbers.any());
            case 2:
                return std::make_unique<Translation>(std::vector<ULONG>(numbers.below(300), 0xABCDEF));
            case 3:
                return std::make_unique<Translation>([](ULONG bit) { return bit * 3; });
            default: {
                std::vector<ULONG> colors(256);
                for (ULONG& color : colors) color = numbers.any();
                return std::make_unique<Translation>(std::move(colors));
            }
        }
    }
    void draw(Numbers& numbers) {
        auto source = make_bitmap(numbers);
        auto mask = numbers.below(4) ? nullptr : make_bitmap(numbers);
        auto translation = make_translation(numbers);
        Brush brush = Brush::patterned(source.get(), translation.get());
        const RECTL to = numbers.rect(), from = numbers.rect();
        const POINTL at = {numbers.coordinate(), numbers.coordinate()};
        const BYTE alpha = static_cast<BYTE>(numbers.below(2));
        switch (numbers.below(6)) {
            case 0:
                device->bit_blt(source.get(), mask.get(), nullptr, translation.get(), to, &at, &brush, numbers.any());
                break;
            case 1:
                device->stretch_blt(*source, mask.get(), nullptr, translation.get(), to, from);
                break;
            case 2:
                device->stretch_blt_rop(*source, mask.get(), nullptr, translation.get(), to, from, &brush,
                                        numbers.any());
                break;
            case 3:
                device->copy_bits(*source, nullptr, translation.get(), to, at);
                break;
            case 4:
                device->alpha_blend(*source, nullptr, translation.get(), to, from, {0, 0, 200, alpha});
                break;
            default:
                device->transparent_blt(*source, nullptr, translation.get(), to, from, numbers.any());
        }
        pdevice().cause = {};
        pdevice().failed = 0;  // what was refused is seen; go on with the same document
    }
};

// Nothing is read outside a bitmap and no record is torn, whatever the rectangles are.
TEST_F(HostileBlits, NeverReadBeyondABitmap) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        Numbers numbers{std::mt19937(seed)};
        set(u"Compression", numbers.below(256));
        set(u"ResDownSamp", 1 + numbers.below(100));
        set(u"ResDownSampMono", 1 + numbers.below(100));
        close_device();
        host::printer(printer).output.clear();
        start_page();
        for (int i = 0; i < 60; ++i) draw(numbers);
        end_page_and_document();
        // The checker reports rectangles that no engine sends, and does not count their records; all else must hold.
        constexpr size_t kAll = 1000;
        for (const kvjob::Finding& fault : kvjob::check_job(job(), kAll)) {
            const bool expected = fault.message.find("outside the bitmap") != std::string::npos ||
                                  fault.message.find("largest record") != std::string::npos;
            EXPECT_TRUE(expected) << fault.message;
        }
    }
}

}  // namespace
}  // namespace kv::test

// Any sequence of the hooks with any of the structures that they take: documents and pages out of order, drawing,
// text, changes of the device mode, and calls that fail.

#include "engine/font.h"
#include "engine/text.h"
#include "tests/common/font_builder.h"
#include "tests/fuzz/common/hostile_path.h"
#include "tests/fuzz/common/objects.h"
#include "tests/fuzz/common/print_run.h"

namespace kv {
namespace {

// The application's device mode, with any resolution, paper and compression.
DriverDevMode take_mode(FuzzInput& in) {
    DriverDevMode mode;
    InitDefaultDevMode(TEXT("P"), mode);
    mode.dmFields |= DM_PAPERSIZE | DM_ORIENTATION | DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmPaperSize = static_cast<SHORT>(in.u8());
    mode.dmPaperWidth = static_cast<SHORT>(in.u16());
    mode.dmPaperLength = static_cast<SHORT>(in.u16());
    mode.dmOrientation = static_cast<SHORT>(in.u8() % 3);
    mode.kv.Resolution = static_cast<WORD>(in.u8() < 0xF0 ? 100 : in.u16());
    mode.kv.Compression = static_cast<WORD>(in.u8());
    mode.kv.ResDownSamp = static_cast<WORD>(in.u8());
    mode.kv.ResDownSampMono = static_cast<WORD>(in.u8());
    mode.kv.AutoEm = static_cast<WORD>(in.u8() % 3);
    return mode;
}

class Script {
public:
    Script(FuzzInput& in, PrintRun& print) : in_(in), print_(print) {}
    void run() {
        for (int left = 40; left > 0 && !in_.empty(); --left) step();
    }

private:
    SURFOBJ* surface() { return print_.device().surface(); }

    void step() {
        switch (in_.u8() % 16) {
            case 0:
                return print_.start_document(in_.text(), in_.u8());
            case 1:
                print_.device().start_page();
                return;
            case 2:
                print_.device().send_page();
                return;
            case 3:
                return print_.end_document(in_.u8() % 3);
            case 4:
                print_.device().reset(take_mode(in_));
                return;
            case 5:
                if (in_.u8() % 16 == 0) print_.fail_call(in_);
                return;
            case 6:
            case 7:
                return draw_path();
            case 8:
            case 9:
            case 10:
                return draw_text();
            default:
                return draw_image();
        }
    }

    MIX take_mix() {
        const MIX foreground = R2_BLACK + in_.u8() % 16;
        return foreground | (R2_BLACK + in_.u8() % 16) << 8;
    }

    void draw_path() {
        AnyPath path(in_);
        if (path.is_hostile()) print_.expect_damage();
        const auto clip = take_clip(in_);
        BrushWithPattern stroke(in_), fill(in_);
        stroke.brush.bind(&print_.device());
        fill.brush.bind(&print_.device());
        Pen pen(in_);
        engine::Transform transform({1, 0, 0, static_cast<float>(in_.u8()), 0, 0});
        POINTL origin = {take_coordinate(in_), take_coordinate(in_)};
        const MIX mix = take_mix();
        const FLONG options = FP_ALTERNATEMODE + in_.u8() % 2;
        switch (in_.u8() % 3) {
            case 0:
                DrvStrokePath(surface(), path.get(), clip.get(), mix % 2 ? &transform : nullptr, &stroke.brush, &origin,
                              &pen.line, mix);
                break;
            case 1:
                DrvFillPath(surface(), path.get(), clip.get(), &fill.brush, &origin, mix, options);
                break;
            default:
                DrvStrokeAndFillPath(surface(), path.get(), clip.get(), mix % 2 ? &transform : nullptr, &stroke.brush,
                                     &pen.line, &fill.brush, &origin, mix, options);
        }
    }

    void draw_image() {
        const auto source = take_bitmap(in_), mask = in_.u8() % 4 ? nullptr : take_bitmap(in_);
        const auto translation = take_translation(in_);
        const auto clip = take_clip(in_);
        BrushWithPattern pattern(in_);
        pattern.brush.bind(&print_.device());
        RECTL to = take_rect(in_), from = take_rect(in_);
        POINTL at = {from.left, from.top}, origin = {};
        const DWORD kind = in_.u8();
        const ROP4 rop = in_.u16();
        switch (kind % 8) {
            case 0:
            case 1:
                DrvBitBlt(surface(), kind & 16 ? nullptr : source.get(), mask.get(), clip.get(), translation.get(), &to,
                          kind & 16 ? nullptr : &at, nullptr, kind & 32 ? nullptr : &pattern.brush, &origin, rop);
                break;
            case 2:
                DrvStretchBlt(surface(), source.get(), mask.get(), clip.get(), translation.get(), nullptr, &origin, &to,
                              &from, nullptr, rop);
                break;
            case 3:
                DrvStretchBltROP(surface(), source.get(), mask.get(), clip.get(), translation.get(), nullptr, &origin,
                                 &to, &from, nullptr, 3, kind & 32 ? nullptr : &pattern.brush, rop);
                break;
            case 4:
                DrvCopyBits(surface(), source.get(), clip.get(), translation.get(), &to, &at);
                break;
            case 5:
                DrvCopyBits(source.get(), surface(), clip.get(), translation.get(), &to, &at);
                break;
            case 6: {
                BLENDOBJ blend = {{static_cast<BYTE>(rop % 2), 0, static_cast<BYTE>(in_.u8()), BYTE(in_.u8() % 3)}};
                DrvAlphaBlend(surface(), source.get(), clip.get(), translation.get(), &to, &from, &blend);
                break;
            }
            default:
                DrvTransparentBlt(surface(), source.get(), clip.get(), translation.get(), &to, &from, in_.u32(), 0);
        }
    }

    // The texts of a font's description stay where they are; its numbers may be anything.
    void spoil(engine::Font& font) {
        IFIMETRICS& metrics = font.metrics();
        BYTE* const numbers = reinterpret_cast<BYTE*>(&metrics.lEmbedId);
        const size_t size = sizeof(IFIMETRICS) - offsetof(IFIMETRICS, lEmbedId);
        for (DWORD left = in_.u8() % 4; left > 0; --left) numbers[in_.u8() % size] = static_cast<BYTE>(in_.u8());
        metrics.dpCharSets = 0;
        if (in_.u8() % 4 == 0) font.give_bytes(in_.bytes(in_.u16() % 4000));
        if (in_.u8() % 8 == 0) font.flFontType = in_.u16();
        if (in_.u8() % 4 == 0) font.rename(in_.text(), in_.text());
    }

    engine::Placement take_placement(size_t count) {
        engine::Placement placement;
        POINTL at = {take_coordinate(in_), take_coordinate(in_)};
        for (size_t i = 0; i < count; ++i) {
            placement.origins.push_back(at);
            at = in_.u8() % 16 ? POINTL{at.x / 2 + static_cast<LONG>(in_.u8()), at.y}
                               : POINTL{take_coordinate(in_), take_coordinate(in_)};
        }
        placement.end = at;
        return placement;
    }

    void draw_text() {
        static const auto file = std::make_shared<engine::FontFile>(test::build_font({}));
        if (fonts_.empty() || in_.u8() % 4 == 0) {
            fonts_.push_back(std::make_unique<engine::Font>(file, 0, 1 + in_.u8(), in_.u8() % 4 * 45.0));
            spoil(*fonts_.back());
            fonts_.back()->bind(&PrintRun::driver());
        }
        engine::Font& font = *fonts_[in_.u8() % fonts_.size()];
        const DWORD kind = in_.u8();
        const std::basic_string<WCHAR> units = in_.text();
        engine::Placement placement = take_placement(units.size());
        std::optional<engine::String> text;
        if (kind % 4 == 0) {
            text.emplace(font, std::vector<USHORT>(units.begin(), units.end()), std::move(placement));
        } else {
            text.emplace(font, units, std::move(placement));
        }
        if (kind & 8) text->flAccel = in_.u16();
        if (kind & 16) text->ulCharInc = in_.u8();
        if (kind & 32) text->rclBkGround = take_rect(in_);
        if (kind & 64) text->set_batch(1 + in_.u8() % 8);
        if ((kind & 0xC0) == 0xC0) text->set_empty_batches(true);
        if (kind == 0xFF) text->lose_glyphs();
        text->set_code_page(kind & 4 ? 932 : 0);
        const auto clip = take_clip(in_);
        BrushWithPattern ink(in_), paper(in_);
        ink.brush.bind(&print_.device());
        paper.brush.bind(&print_.device());
        RECTL opaque = take_rect(in_);
        POINTL origin = {};
        DrvTextOut(surface(), &*text, &font, clip.get(), nullptr, kind & 2 ? &opaque : nullptr, &ink.brush,
                   kind & 2 ? &paper.brush : nullptr, &origin, take_mix());
    }

    FuzzInput& in_;
    PrintRun& print_;
    std::vector<std::unique_ptr<engine::Font>> fonts_;
};

void run(FuzzInput& in) {
    PrintRun::driver();
    const DriverDevMode mode = take_mode(in);
    PrintRun print(&mode);
    if (!print.is_open()) return;
    print.start_document(TEXT("Title"), 1);
    print.device().start_page();
    Script(in, print).run();
    print.end_document(0);
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}

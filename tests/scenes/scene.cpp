#include "tests/scenes/scene.h"

#include <cstring>
#include <random>

namespace kv::scenes {
namespace {

using namespace engine;

// The standard's distributions differ from library to library; its generator does not.
class Dice {
public:
    explicit Dice(uint32_t seed) : engine_(seed) {}
    // From low to high, both included.
    LONG roll(LONG low, LONG high) {
        return low + static_cast<LONG>(engine_() % static_cast<uint32_t>(high - low + 1));
    }
    bool one_in(LONG n) { return roll(1, n) == 1; }
    ULONG colour() {
        static constexpr ULONG kPlain[] = {0, 0xFFFFFF, 0x808080, 0xC0C0C0, 0xFF0000};
        return one_in(3) ? kPlain[roll(0, 4)] : static_cast<ULONG>(roll(0, 0xFFFFFF));
    }
    RECTL rect() {
        const LONG beyond = one_in(80) ? 40000 : 0;  // more than 16 bits hold
        const LONG left = roll(-100, 2400) + beyond, top = roll(-100, 3100);
        return {left, top, left + roll(1, 500), top + roll(1, 500)};
    }
    POINTFIX point(const RECTL& area) {
        return {roll(area.left, area.right) * 16 + roll(0, 15), roll(area.top, area.bottom) * 16 + roll(0, 15)};
    }

private:
    std::mt19937 engine_;
};

void add_figure(Dice& dice, const RECTL& area, Path& path) {
    path.move_to(dice.point(area));
    for (LONG i = dice.roll(2, 40); i > 0; --i) {
        if (dice.one_in(4)) {
            path.curve_to(dice.point(area), dice.point(area), dice.point(area));
        } else {
            path.line_to(dice.point(area));
        }
    }
    if (dice.one_in(2)) path.close();
}

void fill_path(Dice& dice, Path& path) {
    const RECTL area = dice.rect();
    if (dice.one_in(3)) {
        path.add_rect(area);
    } else {
        for (LONG i = dice.roll(1, 4); i > 0; --i) add_figure(dice, area, path);
    }
    path.set_block_size(static_cast<ULONG>(dice.roll(4, 300)));
}

Brush make_brush(Dice& dice) {
    if (dice.one_in(4)) return Brush::hatched(static_cast<ULONG>(dice.roll(0, 5)), dice.colour(), dice.colour());
    return Brush::solid(dice.colour());
}

std::unique_ptr<Clip> make_clip(Dice& dice) {
    switch (dice.roll(0, 4)) {
        case 0:
            return nullptr;
        case 1:
            return std::make_unique<Clip>(Clip::everything());
        case 2:
        case 3:
            return std::make_unique<Clip>(Clip::rectangle(dice.rect()));
        default: {
            std::vector<RECTL> rects;
            LONG top = dice.roll(0, 500);
            for (LONG i = dice.roll(2, 120); i > 0; --i) {
                const LONG left = dice.roll(0, 1000), height = dice.roll(1, 20);
                rects.push_back({left, top, left + dice.roll(10, 1400), top + height});
                top += height;
            }
            return std::make_unique<Clip>(Clip::region(std::move(rects)));
        }
    }
}

struct Pen {
    LINEATTRS line = {};
    FLOAT_LONG style[6] = {};
};

void make_pen(Dice& dice, Pen& pen) {
    const bool geometric = dice.one_in(2);
    if (geometric) {
        pen.line.fl = LA_GEOMETRIC;
        pen.line.elWidth.e = static_cast<float>(dice.roll(1, 800)) / 16;
        pen.line.iJoin = static_cast<ULONG>(dice.roll(0, 2));
        pen.line.iEndCap = static_cast<ULONG>(dice.roll(0, 2));
        pen.line.eMiterLimit = static_cast<float>(dice.roll(1, 12));
    } else {
        pen.line.elWidth.l = dice.roll(0, 1);
    }
    if (dice.one_in(2)) return;
    pen.line.cstyle = static_cast<ULONG>(dice.roll(1, 6));
    pen.line.pstyle = pen.style;
    for (FLOAT_LONG& length : pen.style) {
        if (geometric) {
            length.e = static_cast<float>(dice.roll(1, 50));
        } else {
            length.l = dice.roll(1, 3);
        }
    }
}

constexpr MIX kMixes[] = {R2_COPYPEN, R2_COPYPEN, R2_COPYPEN, R2_BLACK, R2_XORPEN, R2_NOT, R2_MASKPEN, R2_WHITE};

bool draw_path(Dice& dice, Device& device) {
    Path path;
    fill_path(dice, path);
    const auto clip = make_clip(dice);
    Brush stroke = make_brush(dice), fill = make_brush(dice);
    Pen pen;
    make_pen(dice, pen);
    Transform transform({dice.one_in(2) ? 1.0f : 2.5f, 0, 0, 1, 0, 0});
    const FLONG options = dice.one_in(2) ? FP_ALTERNATEMODE : FP_WINDINGMODE;
    const MIX mix = kMixes[dice.roll(0, 7)];
    switch (dice.roll(0, 2)) {
        case 0:
            return device.stroke(path, clip.get(), &transform, stroke, pen.line, mix);
        case 1:
            return device.fill(path, clip.get(), fill, options, mix);
        default:
            return device.stroke_and_fill(path, clip.get(), &transform, stroke, pen.line, fill, options, mix);
    }
}

struct Image {
    std::unique_ptr<Bitmap> bitmap;
    std::unique_ptr<Translation> translation;
};

std::unique_ptr<Translation> make_translation(Dice& dice, ULONG format) {
    if (format <= BMF_8BPP) {
        std::vector<ULONG> table(size_t{1} << bits_per_pixel(format));
        const bool gray = format == BMF_8BPP && dice.one_in(2);
        for (size_t i = 0; i < table.size(); ++i) {
            table[i] = gray ? static_cast<ULONG>(i) * 0x010101 : static_cast<ULONG>(dice.roll(0, 0xFFFFFF));
        }
        return std::make_unique<Translation>(std::move(table));
    }
    if (dice.one_in(2)) return nullptr;
    if (format == BMF_16BPP) return std::make_unique<Translation>(0xF800, 0x07E0, 0x001F);
    return std::make_unique<Translation>(0xFFu, 0xFF00u, 0xFF0000u);
}

// Flat areas, a ramp or noise, so that every encoder finds something.
void paint(Dice& dice, Bitmap& bitmap) {
    const LONG kind = dice.roll(0, 2);
    const auto few = static_cast<ULONG>(dice.roll(1, 0xFFFF));
    for (LONG y = 0; y < bitmap.height(); ++y) {
        for (LONG x = 0; x < bitmap.width(); ++x) {
            const ULONG flat = (x / 9 + y / 7) % 2 ? few : 0;
            const ULONG ramp = static_cast<ULONG>(x * 3 + y) * 0x010101;
            bitmap.set_pixel(x, y, kind == 0 ? flat : kind == 1 ? ramp : static_cast<ULONG>(dice.roll(0, 0xFFFFFF)));
        }
    }
}

Image make_image(Dice& dice, ULONG format) {
    Image image;
    image.bitmap = std::make_unique<Bitmap>(format, dice.roll(1, 90), dice.roll(1, 60),
                                            dice.one_in(2) ? RowOrder::TopDown : RowOrder::BottomUp);
    paint(dice, *image.bitmap);
    image.translation = make_translation(dice, format);
    return image;
}
Image make_image(Dice& dice) { return make_image(dice, static_cast<ULONG>(dice.roll(BMF_1BPP, BMF_32BPP))); }

RECTL part_of(Dice& dice, const Bitmap& bitmap) {
    if (dice.one_in(2)) return {0, 0, bitmap.width(), bitmap.height()};
    const LONG left = dice.roll(0, bitmap.width() - 1), top = dice.roll(0, bitmap.height() - 1);
    return {left, top, dice.roll(left + 1, bitmap.width()), dice.roll(top + 1, bitmap.height())};
}

RECTL mirrored(Dice& dice, RECTL rect) {
    if (dice.one_in(8)) std::swap(rect.left, rect.right);
    if (dice.one_in(8)) std::swap(rect.top, rect.bottom);
    return rect;
}

constexpr ROP4 kRops[] = {0xCCCC, 0xCCCC, 0x8888, 0x6666, 0xEEEE, 0xC0C0, 0x3333, 0xB8B8};

bool draw_image(Dice& dice, Device& device) {
    Image image = make_image(dice);
    Bitmap& bitmap = *image.bitmap;
    const auto clip = make_clip(dice);
    Brush brush = make_brush(dice);
    const RECTL source = part_of(dice, bitmap), target = dice.rect();
    const POINTL from = {source.left, source.top};
    const RECTL same_size = {target.left, target.top, target.left + source.right - source.left,
                             target.top + source.bottom - source.top};
    const ROP4 rop = kRops[dice.roll(0, 7)];
    Bitmap bits(BMF_1BPP, bitmap.width(), bitmap.height(), RowOrder::TopDown);
    Bitmap* mask = dice.one_in(4) ? &bits : nullptr;
    if (mask) paint(dice, *mask);
    switch (dice.roll(0, 4)) {
        case 0:
            return device.bit_blt(&bitmap, mask, clip.get(), image.translation.get(), same_size, &from, &brush, rop);
        case 1:
            return device.stretch_blt(bitmap, mask, clip.get(), image.translation.get(), mirrored(dice, target),
                                      source);
        case 2:
            return device.stretch_blt_rop(bitmap, mask, clip.get(), image.translation.get(), target, source, &brush,
                                          rop);
        case 3:
            return device.copy_bits(bitmap, clip.get(), image.translation.get(), same_size, from);
        default:
            return device.transparent_blt(bitmap, clip.get(), image.translation.get(), target, source,
                                          static_cast<ULONG>(dice.roll(0, 1)));
    }
}

bool draw_blend(Dice& dice, Device& device) {
    Image image = make_image(dice, dice.one_in(3) ? BMF_24BPP : BMF_32BPP);
    const auto clip = make_clip(dice);
    const BLENDFUNCTION blend = {AC_SRC_OVER, 0, static_cast<BYTE>(dice.one_in(2) ? 255 : dice.roll(1, 254)),
                                 dice.one_in(2) ? BYTE{AC_SRC_ALPHA} : BYTE{0}};
    return device.alpha_blend(*image.bitmap, clip.get(), image.translation.get(), dice.rect(),
                              {0, 0, image.bitmap->width(), image.bitmap->height()}, blend);
}

// Horizontal bands that follow each other, as applications send large images.
bool draw_bands(Dice& dice, Device& device) {
    const ULONG format = dice.one_in(2) ? BMF_8BPP : BMF_24BPP;
    const auto translation = make_translation(dice, BMF_8BPP);
    const LONG width = dice.roll(12, 80), height = dice.roll(1, 9);
    LONG left = dice.roll(0, 2000), top = dice.roll(0, 2000);
    for (LONG band = dice.roll(2, 12); band > 0; --band, top += height) {
        Bitmap bitmap(format, width, height, RowOrder::BottomUp);
        paint(dice, bitmap);
        if (!device.stretch_blt(bitmap, nullptr, nullptr, format == BMF_8BPP ? translation.get() : nullptr,
                                {left, top, left + width, top + height}, {0, 0, width, height})) {
            return false;
        }
    }
    return true;
}

// Exclusive or, and, exclusive or at one place: an image with holes.
bool draw_holed_image(Dice& dice, Device& device) {
    const LONG width = dice.roll(8, 60), height = dice.roll(4, 40);
    const RECTL whole = {0, 0, width, height};
    const LONG left = dice.roll(0, 2000), top = dice.roll(0, 2000);
    const RECTL target = {left, top, left + 3 * width, top + 3 * height};
    Bitmap image(BMF_24BPP, width, height, RowOrder::BottomUp), mask(BMF_1BPP, width, height, RowOrder::BottomUp);
    paint(dice, image);
    paint(dice, mask);
    Translation black_and_white({0x000000, 0xFFFFFF});
    return device.stretch_blt_rop(image, nullptr, nullptr, nullptr, target, whole, nullptr, 0x6666) &&
           device.stretch_blt_rop(mask, nullptr, nullptr, &black_and_white, target, whole, nullptr, 0x8888) &&
           device.stretch_blt_rop(image, nullptr, nullptr, nullptr, target, whole, nullptr, 0x6666);
}

bool draw_rects(Dice& dice, Device& device) {
    Image pattern = make_image(dice);
    Brush patterned = Brush::patterned(pattern.bitmap.get(), pattern.translation.get());
    Brush plain = make_brush(dice);
    const auto clip = make_clip(dice);
    static constexpr ROP4 kFills[] = {0xF0F0, 0xF0F0, 0x0000, 0xFFFF, 0x0F0F, 0x5A5A, 0x5555, 0xA0A0};
    RECTL rect = dice.rect();
    for (LONG i = dice.roll(1, 5); i > 0; --i) {
        const ROP4 rop = kFills[dice.roll(0, 7)];
        if (!device.bit_blt(nullptr, nullptr, clip.get(), nullptr, rect, nullptr, dice.one_in(4) ? &patterned : &plain,
                            rop)) {
            return false;
        }
        if (dice.one_in(2)) {
            const LONG height = rect.bottom - rect.top;
            rect.top += height;
            rect.bottom += height;
        } else {
            rect = dice.rect();
        }
    }
    return true;
}

bool draw_text(Dice& dice, Device& device, Font& font) {
    WideString characters;
    for (LONG i = dice.roll(1, dice.one_in(10) ? 600 : 30); i > 0; --i) {
        characters += static_cast<WCHAR>(dice.one_in(6) ? ' ' : dice.roll('!', '~'));
    }
    Brush ink = Brush::solid(dice.colour()), paper = Brush::solid(dice.colour());
    const POINTL origin = {dice.roll(0, 1500), dice.roll(50, 3000)};
    String text(font, characters, origin);
    text.set_batch(static_cast<ULONG>(dice.roll(1, 300)));
    const RECTL opaque = dice.rect();
    const auto clip = make_clip(dice);
    const bool on_paper = dice.one_in(3);
    return device.text_out(text, font, clip.get(), ink, on_paper ? &opaque : nullptr, on_paper ? &paper : nullptr);
}

// Little-endian fields of 16 and 32 bits.
struct Fields {
    std::vector<BYTE> bytes;
    Fields& u16(LONG value) { return put(value, 2); }
    Fields& u32(LONG value) { return put(value, 4); }
    Fields& put(LONG value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<BYTE>(value >> 8 * i));
        return *this;
    }
};

bool attach_name(Dice& dice, Device& device) {
    Fields data;
    data.u16(2).u16('n').u16(0).u16(dice.roll('a', 'z')).u16(0).u16(0);
    return device.escape(PASSTHROUGH, data.bytes) != 0;
}

// A path between the escapes that begin and end one: it is saved, clips or is drawn.
bool draw_captured_path(Dice& dice, Device& device) {
    device.escape(BEGIN_PATH, {});
    if (!draw_path(dice, device)) return false;
    if (dice.one_in(2)) device.escape(CLIP_TO_PATH, Fields().u32(dice.roll(0, 2)).bytes);
    Fields info;  // render mode, fill mode; pen: style, width, colour; brush: style, colour, hatch
    info.u16(dice.roll(0, 2)).u16(dice.roll(1, 2)).u32(dice.one_in(3) ? PS_NULL : PS_SOLID).u32(dice.roll(0, 30));
    info.u32(0).u32(dice.roll(0, 0xFFFFFF)).u32(dice.roll(BS_SOLID, BS_HATCHED)).u32(dice.roll(0, 0xFFFFFF));
    info.u32(dice.roll(0, 5));
    device.escape(END_PATH, info.bytes);
    return true;
}

class Document {
public:
    Document(Device& device, uint32_t seed, const std::shared_ptr<FontFile>& font) : dice_(seed), device_(device) {
        if (!font) return;
        for (double degrees : {0.0, 0.0, 90.0, 31.0}) {
            fonts_.push_back(std::make_unique<Font>(font, 0, dice_.roll(10, 120), degrees));
        }
    }

    bool print_page() {
        if (!device_.start_page()) return false;
        for (LONG i = dice_.roll(5, 60); i > 0; --i) {
            if (!draw()) return false;
        }
        return device_.send_page();
    }
    LONG page_count() { return dice_.roll(1, 4); }
    bool changes_mode() { return dice_.one_in(2); }

private:
    bool draw() {
        switch (dice_.roll(0, 10)) {
            case 0:
            case 1:
            case 2:
                return draw_path(dice_, device_);
            case 3:
            case 4:
                return draw_image(dice_, device_);
            case 5:
                return draw_blend(dice_, device_);
            case 6:
                return dice_.one_in(2) ? draw_bands(dice_, device_) : draw_holed_image(dice_, device_);
            case 7:
                return dice_.one_in(4) ? attach_name(dice_, device_) : draw_captured_path(dice_, device_);
            case 8:
                return draw_rects(dice_, device_);
            default:
                return fonts_.empty() || draw_text(dice_, device_, *fonts_[static_cast<size_t>(dice_.roll(0, 3))]);
        }
    }

    Dice dice_;
    Device& device_;
    std::vector<std::unique_ptr<Font>> fonts_;
};

}  // namespace

WideString title_of(uint32_t seed) {
    WideString title = TEXT("Scene ");
    for (char digit : std::to_string(seed)) title += static_cast<WCHAR>(digit);
    return title;
}

DriverDevMode device_mode(WORD compression) {
    DriverDevMode mode = {};
    mode.dmSize = sizeof(DEVMODEW);
    mode.dmDriverExtra = sizeof(PrivateDevMode);
    mode.dmSpecVersion = 0x0401;
    mode.dmDriverVersion = 0x0C04;
    mode.dmFields = DM_PAPERSIZE | DM_ORIENTATION;
    mode.dmPaperSize = DMPAPER_LETTER;
    mode.dmOrientation = DMORIENT_PORTRAIT;
    std::memcpy(mode.kv.signature, "KV", 2);
    mode.kv.version = 8;
    mode.kv.mask = kPrivateResolution | kPrivateCompression;
    mode.kv.Resolution = 300;
    mode.kv.Compression = compression;
    return mode;
}

bool print_document(Device& device, uint32_t seed, WORD compression, const std::shared_ptr<FontFile>& font) {
    if (!device.start_document(title_of(seed), 1)) return false;
    Document document(device, seed, font);
    bool printed = true;
    for (LONG pages = document.page_count(); printed && pages > 0; --pages) {
        printed = document.print_page();
        if (printed && pages > 1 && document.changes_mode()) {
            DriverDevMode mode = device_mode(compression);
            mode.dmOrientation = DMORIENT_LANDSCAPE;
            printed = device.reset(mode);
        }
    }
    return device.end_document(printed ? FLONG{0} : FLONG{ED_ABORTDOC}) && printed;
}

}  // namespace kv::scenes

#include "tests/model/random_page.h"

#include "engine/text.h"

namespace kv::test {

using namespace engine;

namespace {

std::string text_of(const RECTL& r) {
    return std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) + "," +
           std::to_string(r.bottom);
}

std::string text_of(const Picture& picture) {
    const Bitmap& bitmap = *picture.bitmap;
    return std::to_string(bitmap.width()) + "x" + std::to_string(bitmap.height()) + "x" +
           std::to_string(bits_per_pixel(bitmap.iBitmapFormat)) + (bitmap.fjBitmap & BMF_TOPDOWN ? " top-down" : "");
}

std::string hex(ULONG value) {
    char digits[12];
    std::snprintf(digits, sizeof digits, "%02X", value);
    return digits;
}

RECTL moved(const RECTL& rect, LONG x, LONG y) {
    return {rect.left + x, rect.top + y, rect.right + x, rect.bottom + y};
}

}  // namespace

ULONG RandomPage::colour() {
    static constexpr ULONG kPlain[] = {0, 0xFFFFFF, 0x808080, 0xC0C0C0, 0xFF0000};
    return one_in(3) ? kPlain[roll(0, 4)] : static_cast<ULONG>(roll(0, 0xFFFFFF));
}

BYTE RandomPage::operation() {
    static constexpr BYTE kUsual[] = {0xCC, 0xCC, 0x66, 0x88, 0xEE, 0x33, 0xF0, 0xB8};
    return one_in(3) ? static_cast<BYTE>(roll(0, 255)) : kUsual[roll(0, 7)];
}

RECTL RandomPage::rect() {
    const LONG left = roll(-20, ModelPage::kSize), top = roll(-20, ModelPage::kSize);
    return {left, top, left + roll(1, 50), top + roll(1, 50)};
}

Picture RandomPage::picture(ULONG format, LONG width, LONG height, bool alpha) {
    Picture made;
    made.bitmap = std::make_unique<Bitmap>(format, width, height, one_in(2) ? RowOrder::TopDown : RowOrder::BottomUp);
    const bool other_order = format >= BMF_16BPP && one_in(2);
    // Entries differ: where two are alike a transparent transfer's index stands for both, for records hold its colour.
    std::vector<ULONG> table(format <= BMF_8BPP ? size_t{1} << bits_per_pixel(format) : 0);
    const auto turn = static_cast<ULONG>(roll(0, 255));
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = (colour() & 0xFFFF00) | ((static_cast<ULONG>(i) * 85 + turn) & 0xFF);
    if (!table.empty()) {
        made.translation = std::make_unique<Translation>(table);
    } else if (other_order && format == BMF_16BPP) {
        made.translation = std::make_unique<Translation>(0xF800, 0x07E0, 0x001F);
    } else if (other_order) {
        made.translation = std::make_unique<Translation>(0xFFu, 0xFF00u, 0xFF0000u);
    }
    const ULONG few[] = {colour(), colour(), colour()};
    const LONG run = one_in(2) ? 1 : roll(2, 9);
    ULONG next = 0;
    for (LONG i = 0; i < width * height; ++i) {
        if (i % run == 0) next = one_in(2) ? few[roll(0, 2)] : colour();
        ULONG bits = next, shown = next;
        if (!table.empty()) {
            bits = next % static_cast<ULONG>(table.size());
            shown = table[bits];
        } else if (format == BMF_16BPP) {
            // Levels that every way of widening them takes to the same level of eight bits.
            static constexpr ULONG kFive[] = {0, 1, 2, 8, 16, 31}, kSix[] = {0, 1, 2, 16, 32, 63};
            const ULONG r = kFive[next % 6], g = next / 6 % 6, b = kFive[next / 36 % 6];
            auto wide = [](ULONG level, int bit_count) {
                return level << (8 - bit_count) | level >> (2 * bit_count - 8);
            };
            bits = other_order ? r << 11 | kSix[g] << 5 | b : r << 10 | kFive[g] << 5 | b;
            shown = wide(r, 5) << 16 | (other_order ? wide(kSix[g], 6) : wide(kFive[g], 5)) << 8 | wide(b, 5);
        } else {
            if (alpha) {
                const ULONG a = one_in(3) ? 255 * static_cast<ULONG>(roll(0, 1)) : static_cast<ULONG>(roll(0, 255));
                shown = a << 24;
                for (int shift = 0; shift < 24; shift += 8) shown |= (next >> shift & 0xFF) * a / 255 << shift;
            }
            bits = other_order ? (shown & 0xFF00FF00) | (shown & 0xFF) << 16 | (shown >> 16 & 0xFF) : shown;
        }
        made.bitmap->set_pixel(i % width, i / width, bits);
        made.colours.push_back(shown);
    }
    return made;
}

Picture RandomPage::black_and_white(LONG width, LONG height) {
    static constexpr ULONG kFormats[] = {BMF_1BPP, BMF_1BPP, BMF_8BPP, BMF_24BPP};
    const ULONG format = kFormats[roll(0, 3)];
    Picture made;
    made.bitmap = std::make_unique<Bitmap>(format, width, height, one_in(4) ? RowOrder::TopDown : RowOrder::BottomUp);
    const bool white_first = one_in(2);
    if (format != BMF_24BPP) {
        std::vector<ULONG> table(size_t{1} << bits_per_pixel(format));
        table[white_first ? 0 : 1] = 0xFFFFFF;
        made.translation = std::make_unique<Translation>(table);
    }
    for (LONG i = 0; i < width * height; ++i) {
        const ULONG white = static_cast<ULONG>(roll(0, 1)), index = white_first ? 1 - white : white;
        made.colours.push_back(white * 0xFFFFFF);
        made.bitmap->set_pixel(i % width, i / width, format == BMF_24BPP ? made.colours.back() : index);
    }
    return made;
}

std::unique_ptr<Clip> RandomPage::clip() {
    switch (roll(0, 5)) {
        case 0:
        case 1:
            return nullptr;
        case 2:
            return std::make_unique<Clip>(Clip::everything());
        case 3:
        case 4:
            return std::make_unique<Clip>(Clip::rectangle(rect()));
        default:
            break;
    }
    std::vector<RECTL> rects;
    for (LONG top = roll(-5, 40), i = roll(2, 6); i > 0; --i) {
        const LONG left = roll(-5, 40), right = left + roll(1, 50), height = roll(1, 15);
        rects.push_back({left, top, right, top + height});
        if (one_in(3)) rects.push_back({right + roll(1, 9), top, right + roll(10, 30), top + height});
        top += height + (one_in(3) ? roll(1, 5) : 0);
    }
    return std::make_unique<Clip>(Clip::region(std::move(rects)));
}

// Parts that overhang their bitmap do not come from GDI.
RECTL RandomPage::part_of(const Picture& picture) {
    if (one_in(2)) return picture.whole();
    const LONG width = picture.bitmap->width(), height = picture.bitmap->height();
    const LONG left = roll(0, width - 1), top = roll(0, height - 1);
    return {left, top, roll(left + 1, width), roll(top + 1, height)};
}

// Left out: reduced images, of which GDI drops pixels and the reader takes means, and fractions of a pixel.
RECTL RandomPage::target_of(const RECTL& from, LONG scale) {
    const LONG left = roll(-15, ModelPage::kSize - 10), top = roll(-15, ModelPage::kSize - 10);
    return {left, top, left + scale * (from.right - from.left), top + scale * (from.bottom - from.top)};
}

RECTL RandomPage::turned(RECTL to) {
    if (one_in(5)) std::swap(to.left, to.right);
    if (one_in(5)) std::swap(to.top, to.bottom);
    return to;
}

void RandomPage::note(const char* call, const RECTL& to, const Clip* clip, const std::string& more) {
    calls_ += std::string(call) + " to " + text_of(to) + " " + more;
    if (clip && clip->rects().empty()) calls_ += " clip everything";
    if (clip) {
        for (const RECTL& rect : clip->rects()) calls_ += " clip " + text_of(rect);
    }
    calls_ += "\n";
}

// Left out: hatches, which are drawn at the reader's pitch.
std::unique_ptr<RandomPage::Ink> RandomPage::ink() {
    auto made = std::make_unique<Ink>();
    if (one_in(3)) {
        made->tile = picture(format(), roll(1, 12), roll(1, 12));
        made->pattern.tile = &made->tile;
        made->brush = std::make_unique<Brush>(Brush::patterned(made->tile.bitmap.get(), made->tile.translation.get()));
    } else {
        made->pattern.colour = colour();
        made->brush = std::make_unique<Brush>(Brush::solid(made->pattern.colour));
    }
    return made;
}

void RandomPage::operate(const RECTL& to, const Clip* clip, BYTE rop, const Pattern& pattern, const Placed& source) {
    model_.change(to, clip, [&](LONG x, LONG y, ModelPage::Pixel& pixel) {
        ModelPage::operate(pixel, rop, pattern.at(x, y), source.picture ? source.at(x, y) : 0);
    });
}

// Rectangles with one brush, many of them side by side.
bool RandomPage::fill() {
    const auto with = ink();
    const auto within = clip();
    static constexpr BYTE kPlain[] = {0xF0, 0xF0, 0x00, 0xFF, 0x0F, 0x5A, 0x55, 0xA0};
    BYTE rop = kPlain[roll(0, 7)];
    if (one_in(4)) rop = static_cast<BYTE>(roll(0, 15) * 16), rop = static_cast<BYTE>((rop & 0xC0) | (rop & 0xC0) >> 2);
    if (one_in(4)) rop = static_cast<BYTE>((rop & 0x33) | (rop & 0x33) << 2);
    RECTL to = rect();
    for (LONG i = roll(1, 4); i > 0; --i) {
        note("fill", to, within.get(), "rop " + hex(rop) + (with->pattern.tile ? " pattern" : " solid"));
        if (!device_.bit_blt(nullptr, nullptr, within.get(), nullptr, to, nullptr, with->brush.get(), rop * 0x101u)) {
            return false;
        }
        operate(to, within.get(), rop, with->pattern, {});
        const LONG width = to.right - to.left, height = to.bottom - to.top;
        to = one_in(3) ? rect() : one_in(2) ? moved(to, width, 0) : moved(to, one_in(4) ? 1 : 0, height);
    }
    return true;
}

// Left out: edges within a pixel, which the reader smooths.
bool RandomPage::fill_path() {
    static constexpr BYTE kTernary[] = {0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                        0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};
    const auto with = ink();
    const auto within = clip();
    const auto mix = static_cast<MIX>(one_in(2) ? LONG{R2_COPYPEN} : roll(R2_BLACK, R2_WHITE));
    const bool alternate = one_in(2);
    std::vector<RECTL> rects(static_cast<size_t>(roll(1, 3)));
    Path path;
    for (RECTL& part : rects) path.add_rect(part = rect());
    for (const RECTL& part : rects) {
        note("path", part, within.get(), "mix " + hex(mix) + (alternate ? " alternate" : " winding"));
    }
    if (!device_.fill(path, within.get(), *with->brush, alternate ? FP_ALTERNATEMODE : FP_WINDINGMODE, mix))
        return false;
    model_.change({-1, -1, 999, 999}, within.get(), [&](LONG x, LONG y, ModelPage::Pixel& pixel) {
        const auto depth = std::count_if(rects.begin(), rects.end(), [&](const RECTL& r) {
            return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
        });
        if (alternate ? depth % 2 != 0 : depth > 0) {
            ModelPage::operate(pixel, kTernary[mix - 1], with->pattern.at(x, y), 0);
        }
    });
    return true;
}

bool RandomPage::blit() {
    const Picture image = picture();
    const auto with = ink();
    const auto within = clip();
    const RECTL from = part_of(image), to = target_of(from, 1);
    const POINTL start = {from.left, from.top};
    const bool copies = one_in(3);
    const BYTE rop = copies ? 0xCC : operation();
    note(copies ? "copy" : "blit", to, within.get(), "rop " + hex(rop) + " of " + text_of(image) + " " + text_of(from));
    operate(to, within.get(), rop, with->pattern, {&image, from, to});
    if (copies) return device_.copy_bits(*image.bitmap, within.get(), image.translation.get(), to, start);
    return device_.bit_blt(image.bitmap.get(), nullptr, within.get(), image.translation.get(), to, &start,
                           with->brush.get(), rop * 0x101u);
}

bool RandomPage::stretch() {
    const Picture image = picture();
    const auto with = ink();
    const auto within = clip();
    const RECTL from = part_of(image), to = turned(target_of(from, roll(1, 3)));
    const BYTE rop = one_in(3) ? 0xCC : operation();
    note("stretch", to, within.get(), "rop " + hex(rop) + " of " + text_of(image) + " " + text_of(from));
    operate(to, within.get(), rop, with->pattern, {&image, from, to});
    if (rop == 0xCC)
        return device_.stretch_blt(*image.bitmap, nullptr, within.get(), image.translation.get(), to, from);
    return device_.stretch_blt_rop(*image.bitmap, nullptr, within.get(), image.translation.get(), to, from,
                                   with->brush.get(), rop * 0x101u);
}

// Left out: masks that are not exactly as large as the part drawn, and another operation for the mask's zeros.
bool RandomPage::masked() {
    constexpr ROP4 kCopyWhereSet = 0xAACC;
    const Picture image = picture();
    Bitmap mask(BMF_1BPP, image.bitmap->width(), image.bitmap->height(),
                one_in(2) ? RowOrder::TopDown : RowOrder::BottomUp);
    for (LONG i = 0; i < mask.width() * mask.height(); ++i) {
        mask.set_pixel(i % mask.width(), i / mask.width(), static_cast<ULONG>(roll(0, 1)));
    }
    const auto within = clip();
    const bool stretches = one_in(2);
    const RECTL from = image.whole(), to = stretches ? turned(target_of(from, roll(1, 2))) : target_of(from, 1);
    note(stretches ? "masked stretch" : "masked blit", to, within.get(), "of " + text_of(image));
    const Placed placed = {&image, from, to};
    model_.change(to, within.get(), [&](LONG x, LONG y, ModelPage::Pixel& pixel) {
        const POINTL at = placed.source_of(x, y);
        if (mask.pixel(at.x, at.y)) ModelPage::operate(pixel, 0xCC, 0, placed.at(x, y));
    });
    const POINTL start = {};
    if (stretches) return device_.stretch_blt(*image.bitmap, &mask, within.get(), image.translation.get(), to, from);
    return device_.bit_blt(image.bitmap.get(), &mask, within.get(), image.translation.get(), to, &start, nullptr,
                           kCopyWhereSet);
}

// Left out: images of 16 bits, and of 32 bits with red in the low byte, whose key is taken as it is given.
bool RandomPage::transparent() {
    static constexpr ULONG kFormats[] = {BMF_1BPP, BMF_4BPP, BMF_8BPP, BMF_24BPP, BMF_32BPP};
    Picture image = picture(kFormats[roll(0, 4)], roll(1, 30), roll(1, 30));
    while (image.bitmap->iBitmapFormat >= BMF_24BPP && image.translation) {
        image = picture(image.bitmap->iBitmapFormat, roll(1, 30), roll(1, 30));
    }
    const auto within = clip();
    const RECTL from = part_of(image), to = target_of(from, roll(1, 2));
    const ULONG key = image.bitmap->pixel(roll(from.left, from.right - 1), roll(from.top, from.bottom - 1));
    note("transparent", to, within.get(), "key " + hex(key) + " of " + text_of(image) + " " + text_of(from));
    const Placed placed = {&image, from, to};
    model_.change(to, within.get(), [&](LONG x, LONG y, ModelPage::Pixel& pixel) {
        const POINTL at = placed.source_of(x, y);
        if (image.bitmap->pixel(at.x, at.y) != key) ModelPage::operate(pixel, 0xCC, 0, placed.at(x, y));
    });
    return device_.transparent_blt(*image.bitmap, within.get(), image.translation.get(), to, from, key);
}

bool RandomPage::alpha() {
    const bool own = one_in(2);
    const Picture image = picture(own ? ULONG{BMF_32BPP} : format(), roll(1, 30), roll(1, 30), own);
    const auto within = clip();
    const RECTL from = part_of(image), to = target_of(from, roll(1, 2));
    const auto constant = static_cast<BYTE>(one_in(2) ? 255 : roll(0, 255));
    note("blend", to, within.get(),
         "alpha " + hex(constant) + (own ? " own" : "") + " of " + text_of(image) + " " + text_of(from));
    const Placed placed = {&image, from, to};
    model_.change(to, within.get(), [&](LONG x, LONG y, ModelPage::Pixel& pixel) {
        ModelPage::blend(pixel, placed.at(x, y), constant, own);
    });
    return device_.alpha_blend(*image.bitmap, within.get(), image.translation.get(), to, from,
                               {AC_SRC_OVER, 0, constant, own ? BYTE{AC_SRC_ALPHA} : BYTE{0}});
}

// A picture in so many bands, the last of what is left.
bool RandomPage::stacked(const Picture& picture, const RECTL& to, Clip* clip, LONG count, BYTE rop) {
    const LONG height = picture.bitmap->height(), scale = (to.bottom - to.top) / height;
    const LONG step = std::max<LONG>(height / count, 1);
    for (LONG top = 0; top < height; top += step) {
        const LONG rows = std::min(step, height - top), width = picture.bitmap->width();
        const RECTL band = {to.left, to.top + scale * top, to.right, to.top + scale * (top + rows)};
        const bool top_down = picture.bitmap->fjBitmap & BMF_TOPDOWN;
        Bitmap bits(picture.bitmap->iBitmapFormat, width, rows, top_down ? RowOrder::TopDown : RowOrder::BottomUp);
        for (LONG i = 0; i < width * rows; ++i) {
            bits.set_pixel(i % width, i / width, picture.bitmap->pixel(i % width, top + i / width));
        }
        note("band", band, clip, "rop " + hex(rop) + " of " + text_of(picture));
        operate(band, clip, rop, {}, {&picture, {0, top, width, top + rows}, band});
        if (!device_.stretch_blt_rop(bits, nullptr, clip, picture.translation.get(), band, {0, 0, width, rows}, nullptr,
                                     rop * 0x101u)) {
            return false;
        }
    }
    return true;
}

bool RandomPage::bands() {
    const Picture image = picture();
    const auto within = clip();
    static constexpr BYTE kRops[] = {0xCC, 0xCC, 0x66, 0x88, 0xEE};
    return stacked(image, target_of(image.whole(), roll(1, 2)), within.get(), roll(2, 6), kRops[roll(0, 4)]);
}

// Left out: exclusive-or and a mask with and at one place, whose third step does not follow at once.
bool RandomPage::icon() {
    constexpr BYTE kXor = 0x66, kAnd = 0x88;
    const Picture image = picture(), mask = black_and_white(image.bitmap->width(), image.bitmap->height());
    const auto within = clip();
    const RECTL to = target_of(image.whole(), roll(1, 2));
    const LONG kind = roll(0, 3), count = one_in(3) ? roll(2, 3) : 1;
    if (kind != 0 && !stacked(image, to, within.get(), count, kXor)) return false;
    if (!stacked(mask, to, within.get(), count, kAnd)) return false;
    if (kind != 1) return stacked(image, to, within.get(), count, kXor);
    const Picture other = picture(image.bitmap->iBitmapFormat, image.bitmap->width(), image.bitmap->height());
    return stacked(other, to, within.get(), count, kXor);
}

// Letters are blank: what counts is the box, or that there is none. Left out: near-black letters on black, whose box
// becomes white, and a box that is just the string's background, which the reader makes of the font's measures.
bool RandomPage::text() {
    const ULONG paper = colour();
    Brush ink = Brush::solid(0x808080), background = Brush::solid(paper);
    const WideString blanks(static_cast<size_t>(roll(1, 8)), TEXT(' '));
    String string(font_, blanks, {roll(-5, 90), roll(5, 95)});
    const auto within = clip();
    RECTL box = rect();
    if (box.right == string.rclBkGround.right) ++box.right;
    const bool opaque = !one_in(3);
    note(opaque ? "text" : "text without a box", opaque ? box : string.rclBkGround, within.get(), hex(paper));
    if (opaque) operate(box, within.get(), 0xF0, {paper}, {});
    return device_.text_out(string, font_, within.get(), ink, opaque ? &box : nullptr, opaque ? &background : nullptr);
}

bool RandomPage::draw() {
    using Call = bool (RandomPage::*)();
    static constexpr Call kCalls[] = {&RandomPage::fill,  &RandomPage::fill,    &RandomPage::fill_path,
                                      &RandomPage::blit,  &RandomPage::stretch, &RandomPage::bands,
                                      &RandomPage::icon,  &RandomPage::masked,  &RandomPage::transparent,
                                      &RandomPage::alpha, &RandomPage::text};
    return (this->*kCalls[roll(0, std::size(kCalls) - 1)])();
}

}  // namespace kv::test

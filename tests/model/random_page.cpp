#include "tests/model/random_page.h"

#include <sstream>

#include "engine/text.h"

namespace kv::test {

using namespace engine;
using Pixel = ModelPage::Pixel;

namespace {

constexpr BYTE kCopy = 0xCC, kXor = 0x66, kAnd = 0x88, kPatternCopy = 0xF0;

RECTL whole(const Picture& picture) { return {0, 0, picture.width(), picture.height()}; }

std::ostream& operator<<(std::ostream& out, const RECTL& r) {
    return out << ' ' << std::dec << r.left << ',' << r.top << ',' << r.right << ',' << r.bottom;
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

// Left out: entries of a table that are alike, of which a transparent transfer leaves out both, for a record holds its
// key as a colour.
Picture RandomPage::picture(ULONG format, LONG width, LONG height, bool alpha) {
    Picture made = {
        std::make_unique<Bitmap>(format, width, height, one_in(2) ? RowOrder::TopDown : RowOrder::BottomUp)};
    const bool other_order = format >= BMF_16BPP && one_in(2);
    std::vector<ULONG> table(format <= BMF_8BPP ? size_t{1} << bits_per_pixel(format) : 0);
    for (ULONG i = 0; i < table.size(); ++i) table[i] = (colour() & 0xFFFF00) | (i * 85 & 0xFF);
    if (!table.empty()) {
        made.translation = std::make_unique<Translation>(table);
    } else if (other_order) {
        made.translation = format == BMF_16BPP ? std::make_unique<Translation>(0xF800, 0x07E0, 0x001F)
                                               : std::make_unique<Translation>(0xFFu, 0xFF00u, 0xFF0000u);
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
            // Levels that every way of widening five and six bits takes to the same eight.
            static constexpr ULONG kFive[] = {0, 1, 8, 31}, kSix[] = {0, 2, 16, 63}, kEight[] = {0, 8, 66, 255},
                                   kEightOfSix[] = {0, 8, 65, 255};
            const ULONG r = next >> 16 & 3, g = next >> 8 & 3, b = next & 3;
            bits = other_order ? kFive[r] << 11 | kSix[g] << 5 | kFive[b] : kFive[r] << 10 | kFive[g] << 5 | kFive[b];
            shown = kEight[r] << 16 | (other_order ? kEightOfSix : kEight)[g] << 8 | kEight[b];
        } else {
            if (alpha) {
                const ULONG a = static_cast<ULONG>(one_in(3) ? 255 * roll(0, 1) : roll(0, 255));
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
    const bool indexed = format != BMF_24BPP;
    Picture made = {
        std::make_unique<Bitmap>(format, width, height, one_in(4) ? RowOrder::TopDown : RowOrder::BottomUp)};
    const auto white_index = static_cast<ULONG>(roll(0, 1));
    std::vector<ULONG> table(indexed ? size_t{1} << bits_per_pixel(format) : 0);
    if (indexed) table[white_index] = 0xFFFFFF;
    if (indexed) made.translation = std::make_unique<Translation>(table);
    for (LONG i = 0; i < width * height; ++i) {
        const ULONG bit = static_cast<ULONG>(roll(0, 1)), shown = bit == white_index ? 0xFFFFFF : 0;
        made.colours.push_back(shown);
        made.bitmap->set_pixel(i % width, i / width, indexed ? bit : shown);
    }
    return made;
}

// Left out: hatches, which are drawn at the reader's pitch.
std::unique_ptr<RandomPage::Ink> RandomPage::ink() {
    auto made = std::make_unique<Ink>();
    if (one_in(3)) {
        made->tile = one_in(2) ? picture(BMF_24BPP, 4, 4) : picture(format(), roll(1, 12), roll(1, 12));
        made->pattern.tile = &made->tile;
        made->brush = std::make_unique<Brush>(Brush::patterned(made->tile.bitmap.get(), made->tile.translation.get()));
    } else {
        made->pattern.colour = colour();
        made->brush = std::make_unique<Brush>(Brush::solid(made->pattern.colour));
    }
    return made;
}

std::unique_ptr<Clip> RandomPage::clip() {
    const LONG kind = roll(0, 5);
    if (kind < 2) return nullptr;
    if (kind == 2) return std::make_unique<Clip>(Clip::everything());
    if (kind < 5) return std::make_unique<Clip>(Clip::rectangle(rect()));
    std::vector<RECTL> rects;
    for (LONG top = roll(-5, 40), i = roll(2, 6); i > 0; --i) {
        const LONG left = roll(-5, 40), right = left + roll(1, 50), bottom = top + roll(1, 15);
        rects.push_back({left, top, right, bottom});
        if (one_in(3)) rects.push_back({right + roll(1, 9), top, right + roll(10, 30), bottom});
        top = bottom + (one_in(3) ? roll(1, 5) : 0);
    }
    return std::make_unique<Clip>(Clip::region(std::move(rects)));
}

// Left out: parts that overhang their bitmap, which GDI does not hand out.
RECTL RandomPage::part_of(const Picture& picture) {
    if (one_in(2)) return whole(picture);
    const LONG left = roll(0, picture.width() - 1), top = roll(0, picture.height() - 1);
    return {left, top, roll(left + 1, picture.width()), roll(top + 1, picture.height())};
}

// Left out: reduced images, of which GDI drops pixels and the reader takes means, and fractions of a pixel.
RECTL RandomPage::target_of(const RECTL& from, LONG scale) {
    const LONG left = roll(-15, ModelPage::kSize - 10), top = roll(-15, ModelPage::kSize - 10);
    return {left, top, left + scale * (from.right - from.left), top + scale * (from.bottom - from.top)};
}

void RandomPage::note(const char* call, ULONG number, const RECTL& to, const Clip* clip, const Placed* source) {
    std::ostringstream line;
    line << call << ' ' << std::hex << number << " to" << to;
    if (source) {
        const Bitmap& bitmap = *source->picture.bitmap;
        line << " of" << source->from << " in " << bitmap.sizlBitmap.cx << 'x' << bitmap.sizlBitmap.cy << 'x'
             << bits_per_pixel(bitmap.iBitmapFormat) << (bitmap.fjBitmap & BMF_TOPDOWN ? " top-down" : "");
    }
    if (clip) line << " clip";
    if (clip)
        for (const RECTL& rect : clip->rects()) line << rect;
    calls_ += line.str() + "\n";
}

// Rectangles with one brush, many of them side by side. Left out: a mask, which the driver looks at with images alone.
bool RandomPage::fill() {
    static constexpr BYTE kRops[] = {0xF0, 0xF0, 0x00, 0xFF, 0x0F, 0x5A, 0x55, 0xA0, 0x05, 0xAF};
    const auto with = ink();
    const auto within = clip();
    BYTE rop = kRops[roll(0, 9)];
    RECTL to = rect();
    for (LONG i = roll(1, 5); i > 0; --i) {
        note("fill", rop, to, within.get());
        model_.change(to, within.get(),
                      [&](POINTL p, Pixel& pixel) { ModelPage::operate(pixel, rop, with->pattern.at(p), 0); });
        if (!device_.bit_blt(nullptr, nullptr, within.get(), nullptr, to, nullptr, with->brush.get(), rop * 0x101u)) {
            return false;
        }
        const LONG across = one_in(2) ? to.right - to.left : 0, down = across ? 0 : to.bottom - to.top;
        to = one_in(3) ? rect() : RECTL{to.left + across, to.top + down, to.right + across, to.bottom + down};
        if (one_in(4)) to.right += 3;
        if (one_in(4)) rop = kRops[roll(0, 9)];
    }
    return true;
}

// Left out: edges within a pixel, which the reader smooths, and lines.
bool RandomPage::fill_path() {
    static constexpr BYTE kTernary[] = {0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                        0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};
    const auto with = ink();
    const auto within = clip();
    const auto mix = static_cast<MIX>(one_in(2) ? LONG{R2_COPYPEN} : roll(R2_BLACK, R2_WHITE));
    const bool alternate = one_in(2);
    const RECTL parts[] = {rect(), rect()};
    Path path;
    for (const RECTL& part : parts) {
        path.add_rect(part);
        note(alternate ? "alternate path" : "winding path", mix, part, within.get());
    }
    model_.change({0, 0, ModelPage::kSize, ModelPage::kSize}, within.get(), [&](POINTL p, Pixel& pixel) {
        const int depth = ModelPage::holds(parts[0], p) + ModelPage::holds(parts[1], p);
        if (alternate ? depth == 1 : depth > 0) ModelPage::operate(pixel, kTernary[mix - 1], with->pattern.at(p), 0);
    });
    return device_.fill(path, within.get(), *with->brush, alternate ? FP_ALTERNATEMODE : FP_WINDINGMODE, mix);
}

bool RandomPage::image() {
    const Picture drawn = picture();
    const auto with = ink();
    const auto within = clip();
    const bool stretches = one_in(2), copies = one_in(3);
    const RECTL from = part_of(drawn);
    RECTL to = target_of(from, stretches ? roll(1, 3) : 1);
    if (stretches && one_in(5)) std::swap(to.left, to.right);
    if (stretches && one_in(5)) std::swap(to.top, to.bottom);
    const BYTE rop = copies ? kCopy : operation();
    const Placed placed = {drawn, from, to};
    note(stretches ? "stretch" : "blit", rop, to, within.get(), &placed);
    model_.change(to, within.get(),
                  [&](POINTL p, Pixel& pixel) { ModelPage::operate(pixel, rop, with->pattern.at(p), placed.at(p)); });
    const POINTL start = {from.left, from.top};
    Bitmap& bitmap = *drawn.bitmap;
    Translation* translation = drawn.translation.get();
    Brush* brush = with->brush.get();
    if (stretches && copies) return device_.stretch_blt(bitmap, nullptr, within.get(), translation, to, from);
    if (copies) return device_.copy_bits(bitmap, within.get(), translation, to, start);
    if (!stretches)
        return device_.bit_blt(&bitmap, nullptr, within.get(), translation, to, &start, brush, rop * 0x101u);
    return device_.stretch_blt_rop(bitmap, nullptr, within.get(), translation, to, from, brush, rop * 0x101u);
}

// Left out: masks that are not exactly as large as the part drawn, and operations other than a copy where the mask is
// set and nothing elsewhere, for a record of a masked image has none.
bool RandomPage::masked() {
    constexpr ROP4 kCopyWhereSet = 0xAACC;
    const Picture drawn = picture();
    Bitmap mask(BMF_1BPP, drawn.width(), drawn.height(), one_in(2) ? RowOrder::TopDown : RowOrder::BottomUp);
    for (LONG i = 0; i < mask.width() * mask.height(); ++i) {
        mask.set_pixel(i % mask.width(), i / mask.width(), static_cast<ULONG>(roll(0, 1)));
    }
    const auto within = clip();
    const LONG scale = roll(1, 2);
    const RECTL from = whole(drawn), to = target_of(from, scale);
    const Placed placed = {drawn, from, to};
    note("masked", kCopyWhereSet, to, within.get(), &placed);
    model_.change(to, within.get(), [&](POINTL p, Pixel& pixel) {
        const POINTL at = placed.source_of(p);
        if (mask.pixel(at.x, at.y)) ModelPage::operate(pixel, kCopy, 0, drawn.at(at));
    });
    const POINTL start = {};
    Translation* translation = drawn.translation.get();
    if (scale > 1) return device_.stretch_blt(*drawn.bitmap, &mask, within.get(), translation, to, from);
    return device_.bit_blt(drawn.bitmap.get(), &mask, within.get(), translation, to, &start, nullptr, kCopyWhereSet);
}

// Left out: images of 16 bits, and of 32 bits with red in the low byte, whose key is taken as it is given.
bool RandomPage::transparent() {
    static constexpr ULONG kFormats[] = {BMF_1BPP, BMF_4BPP, BMF_8BPP, BMF_24BPP, BMF_32BPP};
    Picture drawn = picture(kFormats[roll(0, 4)], roll(1, 30), roll(1, 30));
    while (drawn.translation && drawn.bitmap->iBitmapFormat >= BMF_24BPP) drawn = picture(BMF_24BPP, 20, 20);
    const auto within = clip();
    const RECTL from = part_of(drawn), to = target_of(from, roll(1, 2));
    const ULONG key = drawn.bitmap->pixel(roll(from.left, from.right - 1), roll(from.top, from.bottom - 1));
    const Placed placed = {drawn, from, to};
    note("transparent", key, to, within.get(), &placed);
    model_.change(to, within.get(), [&](POINTL p, Pixel& pixel) {
        const POINTL at = placed.source_of(p);
        if (drawn.bitmap->pixel(at.x, at.y) != key) ModelPage::operate(pixel, kCopy, 0, drawn.at(at));
    });
    return device_.transparent_blt(*drawn.bitmap, within.get(), drawn.translation.get(), to, from, key);
}

bool RandomPage::blend() {
    const bool own = one_in(2);
    const Picture drawn = picture(own ? ULONG{BMF_32BPP} : format(), roll(1, 30), roll(1, 30), own);
    const auto within = clip();
    const RECTL from = part_of(drawn), to = target_of(from, roll(1, 2));
    const auto constant = static_cast<BYTE>(one_in(2) ? 255 : roll(0, 255));
    const Placed placed = {drawn, from, to};
    note(own ? "own alpha" : "alpha", constant, to, within.get(), &placed);
    model_.change(to, within.get(),
                  [&](POINTL p, Pixel& pixel) { ModelPage::blend(pixel, placed.at(p), constant, own); });
    return device_.alpha_blend(*drawn.bitmap, within.get(), drawn.translation.get(), to, from,
                               {AC_SRC_OVER, 0, constant, own ? BYTE{AC_SRC_ALPHA} : BYTE{0}});
}

// A picture in bands, the last of what is left.
bool RandomPage::stack(const Picture& picture, const RECTL& to, Clip* clip, LONG count, BYTE rop) {
    const LONG width = picture.width(), height = picture.height(), scale = (to.bottom - to.top) / height;
    const LONG step = std::max<LONG>(height / count, 1);
    const RowOrder order = picture.bitmap->fjBitmap & BMF_TOPDOWN ? RowOrder::TopDown : RowOrder::BottomUp;
    bool drawn = true;
    for (LONG top = 0; drawn && top < height; top += step) {
        const LONG rows = std::min(step, height - top);
        Bitmap bits(picture.bitmap->iBitmapFormat, width, rows, order);
        for (LONG i = 0; i < width * rows; ++i) {
            bits.set_pixel(i % width, i / width, picture.bitmap->pixel(i % width, top + i / width));
        }
        const RECTL band = {to.left, to.top + scale * top, to.right, to.top + scale * (top + rows)};
        const Placed placed = {picture, {0, top, width, top + rows}, band};
        note("band", rop, band, clip, &placed);
        model_.change(band, clip, [&](POINTL p, Pixel& pixel) { ModelPage::operate(pixel, rop, 0, placed.at(p)); });
        drawn = device_.stretch_blt_rop(bits, nullptr, clip, picture.translation.get(), band, {0, 0, width, rows},
                                        nullptr, rop * 0x101u);
    }
    return drawn;
}

bool RandomPage::bands() {
    static constexpr BYTE kRops[] = {kCopy, kCopy, kXor, kAnd, 0xEE};
    const Picture drawn = picture();
    return stack(drawn, target_of(whole(drawn), roll(1, 2)), clip().get(), roll(2, 6), kRops[roll(0, 4)]);
}

// A mask with and, before it perhaps the image with exclusive-or, after it the image or another one. Left out: two
// steps whose third does not follow at once.
bool RandomPage::icon() {
    const Picture drawn = picture(), mask = black_and_white(drawn.width(), drawn.height());
    const Picture other = picture(drawn.bitmap->iBitmapFormat, drawn.width(), drawn.height());
    const auto within = clip();
    const RECTL to = target_of(whole(drawn), roll(1, 2));
    const LONG kind = roll(0, 3), count = one_in(3) ? roll(2, 3) : 1;
    return (kind == 0 || stack(drawn, to, within.get(), count, kXor)) && stack(mask, to, within.get(), count, kAnd) &&
           stack(kind == 1 ? other : drawn, to, within.get(), count, kXor);
}

// Letters are blank: what counts is the box, or that there is none. Left out: black letters on black, whose box becomes
// white, and a box that is the string's background, which the reader makes of the font's measures.
bool RandomPage::text() {
    const ULONG paper = colour();
    Brush ink = Brush::solid(0x808080), background = Brush::solid(paper);
    const RECTL box = rect();
    String string(font_, WideString(static_cast<size_t>(roll(1, 8)), TEXT(' ')), {box.left, box.top + 12});
    const auto within = clip();
    const bool opaque = !one_in(3) && box.right != string.rclBkGround.right;
    note(opaque ? "text in a box" : "text", paper, opaque ? box : string.rclBkGround, within.get());
    if (!opaque) return device_.text_out(string, font_, within.get(), ink);
    model_.change(box, within.get(), [&](POINTL, Pixel& pixel) { ModelPage::operate(pixel, kPatternCopy, paper, 0); });
    return device_.text_out(string, font_, within.get(), ink, &box, &background);
}

bool RandomPage::draw() {
    using Call = bool (RandomPage::*)();
    static constexpr Call kCalls[] = {
        &RandomPage::fill,   &RandomPage::fill_path,   &RandomPage::image, &RandomPage::image, &RandomPage::bands,
        &RandomPage::masked, &RandomPage::transparent, &RandomPage::blend, &RandomPage::icon,  &RandomPage::text};
    return (this->*kCalls[roll(0, std::size(kCalls) - 1)])();
}

}  // namespace kv::test

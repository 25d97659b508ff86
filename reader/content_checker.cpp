#include "reader/content_checker.h"

#include <algorithm>
#include <cstdio>

#include "reader/dib.h"
#include "reader/image_checker.h"

namespace kvjob {
namespace {

constexpr uint32_t kPositionIdentifier = 0x20000000;

std::string hex(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", value);
    return text;
}

// Near black or near white, and not quite.
bool is_nearly(uint32_t colour) {
    constexpr uint32_t kBlack = 0, kWhite = 0xFFFFFF;
    bool dark = true, light = true;
    for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t channel = colour >> shift & 0xFF;
        dark = dark && channel < 10;
        light = light && channel > 245;
    }
    return (dark && colour != kBlack) || (light && colour != kWhite);
}

void expect_wide_needed(bool wide, bool fits) {
    if (wide && fits) throw BodyFault("32-bit coordinates where 16 bits do");
}

}  // namespace

void ContentChecker::start_page(uint64_t offset) {
    found_.pages.push_back({offset});
    clip_ = {};
    state_ = {};
    text_ = {};
}

void ContentChecker::check(const Record& record, Bytes body) {
    const TypeInfo& info = type_info(record.type);
    if (info.marks) require_flag(kHasMarks);
    switch (info.body) {
        case Body::Brush:
            return check_brush(record, body);
        case Body::Font:
            return check_font(record, body);
        case Body::FontFile:
            return check_font_file(record, body);
        case Body::TextState:
            return check_text_state(read_text_state(body));
        case Body::Text:
            return check_text(read_text(body, info.wide), info.wide);
        case Body::DrawState:
            return check_state(read_draw_state(body));
        case Body::Path:
            return check_path(record.type, body, info.wide);
        case Body::RectFill:
            return check_rect_fill(read_rect_fill(body, info.wide), info.wide);
        case Body::PageStartData:
            read_page_start_data(body);
            found_.names_tray = true;
            return require_flag(kNamesTray);
        case Body::Bitmap:
        case Body::AlphaBlend:
        case Body::Transparent:
        case Body::Masked:
            return check_image(record, body, info);
        case Body::ClipRects:
        case Body::ClipPath:
        case Body::ClipReset:
            return check_clip(record, body);
        default:
            break;
    }
}

std::optional<std::string> ContentChecker::refuses(const Record& record, Bytes body) {
    Found before = {{},
                    found_.brushes,
                    found_.fonts,
                    found_.font_files,
                    found_.largest_entry,
                    found_.largest_clip,
                    found_.largest_image,
                    found_.uncounted_images,
                    found_.names_tray};
    const DrawState state = state_;
    const TextState text = text_;
    const SeenPage page = found_.pages.empty() ? SeenPage() : found_.pages.back();
    try {
        check(record, body);
        return std::nullopt;
    } catch (const BodyFault& fault) {
        before.pages = std::move(found_.pages);
        if (!before.pages.empty()) before.pages.back() = page;
        found_ = std::move(before);
        state_ = state;
        text_ = text;
        return fault.what();
    }
}

bool ContentChecker::repeats_clip(uint8_t type, Bytes body) const {
    return type == clip_.type && std::equal(body.begin(), body.end(), clip_.body.begin(), clip_.body.end());
}

void ContentChecker::check_clip(const Record& record, Bytes body) {
    const TypeInfo& info = type_info(record.type);
    if (info.body == Body::ClipReset) Reader(body).expect_end();
    if (info.body == Body::ClipRects) {
        const auto count = static_cast<uint32_t>(read_clip_rects(body, info.wide).size());
        found_.largest_clip = std::max(found_.largest_clip, count);
    } else if (info.body == Body::ClipPath) {
        const PathSummary path = read_path(body, info.wide);
        found_.largest_entry = std::max(found_.largest_entry, path.largest_entry);
        expect_wide_needed(info.wide, fits_16_bits(path.widened_box()));
    }
    if (repeats_clip(record.type, body)) {
        throw BodyFault("repeats the current clip");
    }
    clip_.type = record.type;
    clip_.body.assign(body.begin(), body.end());
}

// Below 512 MiB an identifier is its record's position; from there on they are counted.
void ContentChecker::check_identifier(const Record& record, uint32_t id, std::unordered_set<uint32_t>& known) {
    const bool by_position = record.offset < kPositionIdentifier;
    if (by_position ? id != (record.offset | kPositionIdentifier) : id == 0 || id >= kPositionIdentifier) {
        throw BodyFault("identifier " + hex(id) + " does not fit the position");
    }
    if (!known.insert(id).second) throw BodyFault("identifier " + hex(id) + " was introduced before");
}

void ContentChecker::check_brush(const Record& record, Bytes body) {
    ++found_.brushes;
    const Brush brush = read_brush(body);
    if (brush.kind == 5) check_pattern(brush.bitmap);
    check_identifier(record, brush.id, brush_ids_);
}

void ContentChecker::check_font(const Record& record, Bytes body) {
    ++found_.fonts;
    const FontDefinition font = read_font(body);
    if (font.char_set == 0) throw BodyFault("character set 0");
    if (font.out_precision != 0 && font.out_precision != 7) throw BodyFault("output precision");
    if (font.clip_precision != 0 && font.clip_precision != 0x20 && !font.embedded()) throw BodyFault("clip precision");
    if (font.quality != 2) throw BodyFault("quality");
    if (font.file && !font_file_ids_.contains(font.file->file)) {
        throw BodyFault("font file " + hex(font.file->file) + " was not introduced");
    }
    check_identifier(record, font.id, font_ids_);
}

void ContentChecker::check_font_file(const Record& record, Bytes body) {
    ++found_.font_files;
    check_identifier(record, read_font_file(body).id, font_file_ids_);
}

void ContentChecker::check_text_state(const TextState& next) {
    const uint8_t repeated = repeated_fields(text_, next);
    apply(text_, next);
    if ((next.changed & kFont) && !font_ids_.contains(next.font)) {
        throw BodyFault("font " + hex(next.font) + " was not introduced");
    }
    if ((next.changed & kTextColour) && is_nearly(next.colour)) throw BodyFault("text colour is not snapped");
    if ((next.changed & kTextColour) && (next.changed & kBackColour) && next.colour == 0 && next.background == 0) {
        throw BodyFault("black text on black");
    }
    if (repeated) throw BodyFault("fields " + hex(repeated) + " repeat what they were");
}

void ContentChecker::check_text(const TextRun& run, bool wide) const {
    constexpr uint8_t kOpaqueMode = 2;
    if (!(text_.changed & kFont)) throw BodyFault("no font was set on the page");
    if (run.opaque && text_.mode != kOpaqueMode) throw BodyFault("opaque rectangle of transparent text");
    const bool fits = fits_16_bits(run.x) && fits_16_bits(run.y) && (!run.opaque || fits_16_bits(*run.opaque));
    expect_wide_needed(wide, fits);
}

void ContentChecker::check_brush_reference(uint32_t id) const {
    constexpr uint32_t kStock = 0x80000000, kLastStock = 0x80000005, kSolid = 0x40000000;
    if (id >= kStock && id <= kLastStock) return;
    if ((id & 0xFF000000) == kSolid) {
        for (uint32_t stock : {0xFFFFFFu, 0xC0C0C0u, 0x808080u, 0x404040u, 0u}) {
            if ((id & 0xFFFFFF) == stock) throw BodyFault("a stock colour as solid brush " + hex(id));
        }
        return;
    }
    if (!brush_ids_.contains(id)) throw BodyFault("brush " + hex(id) + " was not introduced");
}

void ContentChecker::check_state(const DrawState& next) {
    const bool stroke_reads = (next.changed & kStrokeRop) && reads_destination(ternary_of(next.stroke_rop));
    const bool fill_reads = (next.changed & kFillRop) && reads_destination(ternary_of(next.fill_rop));
    if (stroke_reads || fill_reads) require_flag(kReadsDestination);
    const uint16_t repeated = repeated_fields(state_, next);
    apply(state_, next);
    if (next.changed & kStrokeBrush) check_brush_reference(next.stroke_brush);
    if (next.changed & kFillBrush) check_brush_reference(next.fill_brush);
    if (repeated) throw BodyFault("fields " + hex(repeated) + " repeat what they were");
}

// Drawing of the page number that is open lies within the marks that the index announces for it.
void ContentChecker::check_drawn(const Rect& rect) {
    if (found_.pages.empty()) return;
    found_.pages.back().drawn = united(found_.pages.back().drawn, rect);
    if (found_.pages.size() > announced_.size()) return;
    const IndexedPage& page = announced_[found_.pages.size() - 1];
    const Rect drawn = intersection(rect, page.surface());
    if (!drawn.empty() && !contains(page.marks, drawn)) throw BodyFault("drawn outside the page's marks");
}

void ContentChecker::check_path(uint8_t type, Bytes body, bool wide) {
    const PathSummary path = read_path(body, wide);
    found_.largest_entry = std::max(found_.largest_entry, path.largest_entry);
    const int kind = (type - 34) % 13;  // stroke, fill, both
    if (kind != 1 && !(state_.changed & kStrokeBrush)) throw BodyFault("no stroke brush was set on the page");
    if (kind != 0 && !(state_.changed & kFillBrush)) throw BodyFault("no fill brush was set on the page");
    expect_wide_needed(wide, fits_16_bits(path.widened_box()));
    check_drawn(path.on_curve);
}

void ContentChecker::expect_fill_brush(uint8_t rop3) const {
    const bool uses_brush = (rop3 >> 4) != (rop3 & 0x0F);
    if (uses_brush && !(state_.changed & kFillBrush)) throw BodyFault("no fill brush was set on the page");
}

void ContentChecker::check_rect_fill(const RectFill& fill, bool wide) {
    if (reads_destination(fill.rop)) allow_flag(kReadsDestination);
    expect_fill_brush(fill.rop);
    expect_wide_needed(wide, fits_16_bits(fill.rect));
    check_drawn(fill.rect);
}

void ContentChecker::check_image(const Record& record, Bytes body, const TypeInfo& info) {
    const Image image = read_image(record.type, body);
    if (info.body == Body::Bitmap) {
        if (reads_destination(image.rop)) require_flag(kReadsDestination);
        expect_fill_brush(image.rop);
    }
    if (info.body == Body::AlphaBlend) check_blend(image);
    if (info.body == Body::Masked) require_flag(kTransparency);
    const std::optional<uint32_t> counted = check_pixels(record, image);
    if (counted) {
        found_.largest_image = std::max(found_.largest_image, *counted);
    } else {
        found_.uncounted_images = true;
    }
    expect_wide_needed(info.wide, fits_16_bits(image.source) && fits_16_bits(image.target));
    check_drawn(ordered(image.target));
}

// Alpha of a pixel's own stands only in bitmaps of 32 bits.
void ContentChecker::check_blend(const Image& image) {
    constexpr uint32_t kPerPixel = 1;
    const uint32_t alpha = image.blend >> 16 & 0xFF;
    const bool asks_per_pixel = (image.blend >> 24 & kPerPixel) != 0;
    if (asks_per_pixel) allow_flag(kTransparency);
    const bool per_pixel = asks_per_pixel && read_dib(image.pixels).depth == 32;
    if (per_pixel || (alpha != 0 && alpha != 1 && alpha != 255)) require_flag(kTransparency);
}

void ContentChecker::require_flag(uint8_t flag) {
    if (found_.pages.empty()) return;
    SeenPage& page = found_.pages.back();
    page.flags = static_cast<uint8_t>(page.flags | flag);
}

void ContentChecker::allow_flag(uint8_t flag) {
    if (found_.pages.empty()) return;
    SeenPage& page = found_.pages.back();
    page.possible_flags = static_cast<uint8_t>(page.possible_flags | flag);
}

}  // namespace kvjob

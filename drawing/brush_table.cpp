#include "drawing/brush_table.h"

#include <algorithm>

#include "reader/picture.h"

namespace kvjob {
namespace {

enum HatchStyle : uint32_t { kHorizontal, kVertical, kForward, kBackward, kCross, kDiagonalCross };

void set_colour(cairo_t* context, uint32_t bgr) {
    cairo_set_source_rgb(context, (bgr & 0xFF) / 255.0, (bgr >> 8 & 0xFF) / 255.0, (bgr >> 16 & 0xFF) / 255.0);
}

// A line through the tile and, where it is slanted, its neighbours' corners. Upright lines fill whole pixels.
void add_lines(cairo_t* context, uint32_t style, double size, double width) {
    auto line = [&](double x1, double y1, double x2, double y2) {
        cairo_move_to(context, x1, y1);
        cairo_line_to(context, x2, y2);
    };
    const double middle = size / 2 + width / 2;
    if (style == kHorizontal || style == kCross) line(0, middle, size, middle);
    if (style == kVertical || style == kCross) line(middle, 0, middle, size);
    for (int shift = -1; shift <= 1; ++shift) {
        const double x = shift * size;
        if (style == kForward || style == kDiagonalCross) line(x - size, -size, x + 2 * size, 2 * size);
        if (style == kBackward || style == kDiagonalCross) line(x - size, 2 * size, x + 2 * size, -size);
    }
}

// A file holds a brush once, on however many pages it is used.
void share(cairo_surface_t* tile, uint32_t brush) {
    auto* name = new std::string("brush " + std::to_string(brush));
    const auto release = [](void* held) { delete static_cast<std::string*>(held); };
    const auto status = cairo_surface_set_mime_data(
        tile, CAIRO_MIME_TYPE_UNIQUE_ID, reinterpret_cast<unsigned char*>(name->data()), name->size(), release, name);
    if (status != CAIRO_STATUS_SUCCESS) release(name);
}

}  // namespace

Surface BrushTable::make_hatch(const Brush& brush) const {
    constexpr int kScreen = 96, kCells = 8;
    constexpr int kLargestPixel = 256;
    const int pixel = std::clamp((resolution_ + kScreen / 2) / kScreen, 1, kLargestPixel), size = pixel * kCells;
    const cairo_rectangle_t extents = {0, 0, static_cast<double>(size), static_cast<double>(size)};
    Surface tile(drawing_ == Drawing::Pixels ? make_image(CAIRO_FORMAT_RGB24, size, size)
                                             : Surface(cairo_recording_surface_create(CAIRO_CONTENT_COLOR, &extents)));
    const Context context(cairo_create(tile.get()));
    set_colour(context.get(), brush.background);
    cairo_paint(context.get());
    set_colour(context.get(), brush.colour);
    cairo_set_line_width(context.get(), pixel);
    add_lines(context.get(), brush.hatch, size, pixel);
    cairo_stroke(context.get());
    return tile;
}

void BrushTable::end_page() {
    tiles_.clear();
    held_ = 0;
}

Surface BrushTable::make_tile(const Brush& brush) {
    constexpr uint32_t kHatched = 2;
    constexpr int32_t kLargest = 8192;  // pixels
    if (brush.kind == kHatched) return make_hatch(brush);
    const Picture picture = Picture::of_bitmap(brush.bitmap);
    if (picture.width() > kLargest || picture.height() > kLargest) throw BodyFault("a pattern too large to draw with");
    const uint64_t bytes =
        uint64_t{4} * static_cast<uint64_t>(picture.width()) * static_cast<uint64_t>(picture.height());
    if (bytes > map_.memory() - held_) throw BodyFault("more patterns on a page than the memory allowed holds");
    held_ += bytes;
    Surface tile = make_image(CAIRO_FORMAT_RGB24, picture.width(), picture.height());
    PixelAccess pixels(tile.get());
    picture.read([&](int32_t y, Picture::Row row) { std::copy(row.begin(), row.end(), pixels.pixels(y)); });
    return tile;
}

Tint BrushTable::tint(uint32_t id) {
    constexpr uint32_t kSolid = 0x40000000, kStock = 0x80000000, kStockNull = 0x80000005;
    constexpr uint32_t kStockColours[] = {0xFFFFFF, 0xC0C0C0, 0x808080, 0x404040, 0x000000};
    if (id == 0 || id == kStockNull) return {};
    if (id >= kStock && id < kStockNull) return Tint::of(kStockColours[id - kStock]);
    if ((id & 0xFF000000) == kSolid) return Tint::of_bgr(id & 0xFFFFFF);
    auto known = tiles_.find(id);
    if (known == tiles_.end()) {
        const Record* record = map_.brush(id);
        if (!record) throw BodyFault("a brush that was not introduced");
        std::vector<uint8_t> buffer;
        Surface tile = make_tile(read_brush(map_.body(*record, buffer)));
        share(tile.get(), id);
        known = tiles_.emplace(id, std::move(tile)).first;
    }
    return {Tint::Kind::Tile, 0, known->second.get()};
}

}  // namespace kvjob

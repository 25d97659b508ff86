#include "reader/record_fields.h"

#include <algorithm>

#include "reader/bodies.h"
#include "reader/dump_text.h"
#include "reader/index.h"
#include "reader/picture.h"
#include "reader/records.h"

namespace kvjob {
namespace {

void show_state(const DrawState& state, Fields& out) {
    if (state.changed & kEndCap) out.number("end_cap", state.end_cap);
    if (state.changed & kJoin) out.number("join", state.join);
    if (state.changed & kMiter) out.real("miter_limit", state.miter);
    if (state.changed & (kWideWidth | kNarrowWidth)) out.number("width", state.width);
    if (state.changed & kStrokeBrush) out.hex("stroke_brush", state.stroke_brush);
    if (state.changed & kStrokeRop) out.number("stroke_rop", state.stroke_rop);
    if (state.changed & kStyleMask) out.hex("style_mask", state.style_mask);
    if (state.changed & kFillBrush) out.hex("fill_brush", state.fill_brush);
    if (state.changed & kFillRop) out.number("fill_rop", state.fill_rop);
    if (state.changed & kFillMode) out.string("fill_mode", state.fill_mode == 1 ? "alternate" : "winding");
    if (state.changed & kGeometric) out.number("geometric", state.geometric);
    if (state.changed & kDashes) {
        out.numbers("dashes", state.dashes);
    }
}

Json points_of(const PathEntry& entry, size_t most) {
    Json points = Json::array();
    for (size_t i = 0; i < std::min(entry.points.size(), most); ++i) points.push_back(entry.points[i]);
    return points;
}

// Entries that are not all listed are counted, with the box of their points.
void show_path(Bytes body, bool wide, Fields& out) {
    Json entries = Json::array();
    const PathSummary path = read_path(body, wide, [&](const PathEntry& entry) {
        if (entries.size() < out.longest_list()) entries.push_back({entry.flags, points_of(entry, out.longest_list())});
    });
    out.number("path_flags", path.flags);
    if (entries.size() < path.entries || path.points > out.longest_list()) {
        out.number("entry_count", path.entries);
        out.number("point_count", static_cast<int64_t>(path.points));
        out.rect("box", path.box);
    }
    out.value("entries", std::move(entries));
}

void show_picture(const Picture& picture, const std::string& prefix, Fields& out) {
    out.string((prefix + "encoding").c_str(), picture.encoding());
    out.number((prefix + "width").c_str(), picture.width());
    out.number((prefix + "height").c_str(), picture.height());
    out.number((prefix + "bits").c_str(), picture.depth());
    if (!picture.is_jpeg() && picture.dib().compression == DibCompression::Masks) {
        const auto& [red, green, blue] = picture.dib().masks;
        out.hex((prefix + "red").c_str(), red);
        out.hex((prefix + "green").c_str(), green);
        out.hex((prefix + "blue").c_str(), blue);
    }
}

void show_image(const Record& record, Bytes body, const TypeInfo& info, Fields& out) {
    const Image image = read_image(record.type, body);
    if (info.body == Body::Bitmap) out.hex("rop", image.rop);
    if (info.body == Body::AlphaBlend) {
        out.number("alpha", image.blend >> 16 & 0xFF);
        out.number("alpha_format", image.blend >> 24);
    }
    if (info.body == Body::Transparent) {
        const auto& [red, green, blue, flags] = image.colour;
        out.hex("transparent_colour", static_cast<uint32_t>(red | green << 8 | blue << 16));
    }
    out.rect("source", image.source);
    out.rect("target", image.target);
    out.number("pixel_bytes", static_cast<int64_t>(image.pixels.size()));
    show_picture(Picture::of(record, image), "", out);
    if (info.body == Body::Masked) show_picture(Picture::mask_of(image), "mask_", out);
}

Json page_fields(const IndexedPage& page) {
    Fields fields(Fields::Form::Object);
    fields.number("position", page.position);
    fields.number("paper", page.paper);
    fields.number("orientation", page.orientation);
    fields.hex("flags", page.flags);
    fields.number("width", page.width);
    fields.number("height", page.height);
    fields.rect("printable", page.printable);
    fields.rect("marks", page.marks);
    return fields.take();
}

void show_summary(const Summary& summary, Fields& out) {
    out.hex("flags", summary.flags);
    out.number("largest_record", summary.largest_record);
    out.number("brushes", summary.brushes);
    out.number("fonts", summary.fonts);
    out.number("font_files", summary.font_files);
    out.number("largest_path_entry", summary.largest_entry);
    out.number("largest_rect_clip", summary.largest_clip);
    out.number("resolution", summary.resolution);
    out.rect("portrait_bounds", summary.portrait);
    out.rect("landscape_bounds", summary.landscape);
    Json pages = Json::array();
    for (size_t i = 0; i < std::min(summary.pages.size(), out.longest_list()); ++i) {
        pages.push_back(page_fields(summary.pages[i]));
    }
    if (pages.size() < summary.pages.size()) out.number("page_count", static_cast<int64_t>(summary.pages.size()));
    out.value("pages", std::move(pages));
}

void show_brush(const Brush& brush, Fields& out) {
    out.hex("id", brush.id);
    out.string("kind", brush.kind == 2 ? "hatched" : "pattern");
    if (brush.kind == 2) {
        out.hex("colour", brush.colour);
        out.number("hatch", brush.hatch);
        out.hex("background", brush.background);
    } else {
        out.number("bitmap_bytes", static_cast<int64_t>(brush.bitmap.size()));
        show_picture(Picture::of_bitmap(brush.bitmap), "", out);
    }
}

void show_clip(Bytes body, bool wide, Fields& out) { out.rects("rects", read_clip_rects(body, wide)); }

void show_trailer_record(const Record& record, Bytes body, Fields& out) {
    switch (type_info(record.type).body) {
        case Body::Summary:
            if (!announces_index(body)) show_summary(read_summary(body, false), out);
            break;
        case Body::Index:
            show_summary(read_summary(body, true), out);
            break;
        case Body::String:
            out.string("text", read_string(body));
            break;
        case Body::Tray: {
            const Tray tray = read_tray(body);
            out.number("number", tray.number);
            out.string("text", tray.name);
            break;
        }
        case Body::Attached: {
            Json pairs = Json::array();
            for (const auto& pair : read_attached(body)) pairs.push_back({pair.first, pair.second});
            out.value("pairs", std::move(pairs));
            break;
        }
        case Body::TrailerPosition:
            out.number("position", Reader(body).u32());
            break;
        default:
            break;
    }
}

}  // namespace

void show_body(const Record& record, Bytes body, Fields& out) {
    const TypeInfo& info = type_info(record.type);
    switch (info.body) {
        case Body::Brush:
            show_brush(read_brush(body), out);
            break;
        case Body::Font:
            show_font(read_font(body), out);
            break;
        case Body::FontFile: {
            const FontFile font = read_font_file(body);
            out.hex("id", font.id);
            out.number("font_bytes", static_cast<int64_t>(font.bytes.size()));
            break;
        }
        case Body::TextState:
            show_text_state(read_text_state(body), out);
            break;
        case Body::Text:
            show_text(read_text(body, info.wide), out);
            break;
        case Body::ClipRects:
            show_clip(body, info.wide, out);
            break;
        case Body::RectFill: {
            const RectFill fill = read_rect_fill(body, info.wide);
            out.hex("rop", fill.rop);
            out.rect("rect", fill.rect);
            break;
        }
        case Body::Path:
        case Body::ClipPath:
            show_path(body, info.wide, out);
            break;
        case Body::DrawState:
            show_state(read_draw_state(body), out);
            break;
        case Body::PageStartData:
            out.number("tray", *read_page_start_data(body).tray);
            break;
        case Body::Bitmap:
        case Body::AlphaBlend:
        case Body::Transparent:
        case Body::Masked:
            show_image(record, body, info, out);
            break;
        default:
            show_trailer_record(record, body, out);
    }
}

Json record_json(const Record& record, BodyReader& bodies, size_t longest_list) {
    const TypeInfo& info = type_info(record.type);
    Fields out(Fields::Form::Object, longest_list);
    out.number("offset", static_cast<int64_t>(record.offset));
    out.number("type", record.type);
    out.string("name", info.name);
    show_record(record, bodies, out);
    return out.take();
}

void show_record(const Record& record, BodyReader& bodies, Fields& out) {
    out.number("length", record.inflated_length);
    if (record.compressed()) out.number("compressed_length", static_cast<int64_t>(record.payload.size()));
    try {
        show_body(record, bodies(record), out);
    } catch (const BodyFault& fault) {
        out.string("fault", fault.what());
    }
}

}  // namespace kvjob

#include "drawing/images.h"

#include <algorithm>
#include <memory>

#include "drawing/png_writer.h"
#include "reader/picture.h"

namespace kvjob {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;

uint32_t unmultiplied(uint32_t pixel) {
    const uint32_t alpha = pixel >> 24;
    if (alpha == 0 || alpha == 255) return alpha == 0 ? 0 : pixel;
    auto channel = [&](int shift) {
        return std::min((pixel >> shift & 0xFF) * 255 + alpha / 2, alpha * 255) / alpha << shift;
    };
    return alpha << 24 | channel(16) | channel(8) | channel(0);
}

void write_indexed(const Picture& picture, Output& out, PngFormat format) {
    const Dib& dib = picture.dib();
    PngWriter png(
        out, {picture.width(), picture.height(), format, dib.depth,
              format == PngFormat::Indexed ? std::span<const uint32_t>(dib.palette) : std::span<const uint32_t>()});
    picture.read_indices([&](int32_t, Bytes row) { png.write_row(row.data()); });
    png.finish();
}

void write_grey(const Picture& picture, Output& out) {
    PngWriter png(out, {picture.width(), picture.height(), PngFormat::Grey});
    std::vector<uint8_t> grey;
    picture.read([&](int32_t, Picture::Row row) {
        grey.resize(row.size());
        std::transform(row.begin(), row.end(), grey.begin(), [](uint32_t c) { return static_cast<uint8_t>(c); });
        png.write_row(grey.data());
    });
    png.finish();
}

template <class Change>
void write_colours(const Picture& picture, Output& out, PngFormat format, Change change) {
    PngWriter png(out, {picture.width(), picture.height(), format});
    std::vector<uint32_t> changed;
    picture.read([&](int32_t, Picture::Row row) {
        changed.resize(row.size());
        std::transform(row.begin(), row.end(), changed.begin(), change);
        png.write_row(changed.data());
    });
    png.finish();
}

void write_picture(const Picture& picture, Output& out) {
    if (picture.indexed()) {
        write_indexed(picture, out, PngFormat::Indexed);
    } else if (picture.grey()) {
        write_grey(picture, out);
    } else {
        write_colours(picture, out, PngFormat::Rgb, [](uint32_t c) { return c; });
    }
}

// Alpha of a pixel's own is premultiplied.
void write_blended(const Picture& picture, const Image& image, Output& target) {
    constexpr uint32_t kPerPixel = 0x01000000;
    if (picture.indexed() || picture.dib().depth != 32 || !(image.blend & kPerPixel)) {
        return write_picture(picture, target);
    }
    write_colours(picture, target, PngFormat::Rgba, unmultiplied);
}

void write_transparent(const Picture& picture, const Image& image, Output& target) {
    const auto& [red, green, blue, flags] = image.colour;
    const auto key = static_cast<uint32_t>(red << 16 | green << 8 | blue);
    write_colours(picture, target, PngFormat::Rgba,
                  [&](uint32_t c) { return picture.is_key(c, key) ? c & ~kOpaque : c | kOpaque; });
}

void write_found(const FoundImage& found, Output& target) {
    const Picture& picture = found.picture;
    const Body body = type_info(found.record.type).body;
    if (found.kind == ImageKind::Mask && picture.indexed() && picture.dib().depth == 1) {
        return write_indexed(picture, target, PngFormat::Grey);
    }
    if (body == Body::AlphaBlend) return write_blended(picture, *found.image, target);
    if (body == Body::Transparent) return write_transparent(picture, *found.image, target);
    write_picture(picture, target);
}

std::string file_name(const FoundImage& found, const char* extension) {
    char name[64];
    std::snprintf(name, sizeof name, "page%04u-%08llX-%s.%s", found.page,
                  static_cast<unsigned long long>(found.record.offset), name_of(found.kind), extension);
    return name;
}

// The bitmaps of one record.
void visit_record(uint32_t page, const Record& record, Bytes body,
                  const std::function<void(const FoundImage&)>& visit) {
    constexpr uint32_t kPattern = 5;
    if (type_info(record.type).body == Body::Brush) {
        const Brush brush = read_brush(body);
        if (brush.kind == kPattern) {
            visit({page, record, ImageKind::Pattern, Picture::of_bitmap(brush.bitmap), nullptr});
        }
        return;
    }
    const Image image = read_image(record.type, body);
    visit({page, record, ImageKind::Image, Picture::of(record, image), &image});
    if (type_info(record.type).body == Body::Masked) {
        visit({page, record, ImageKind::Mask, Picture::mask_of(image), &image});
    }
}

}  // namespace

const char* name_of(ImageKind kind) {
    return kind == ImageKind::Image ? "image" : kind == ImageKind::Mask ? "mask" : "pattern";
}

void for_each_image(Bytes file, uint64_t memory, const std::function<void(const FoundImage&)>& visit,
                    Reports& reports) {
    expect_magic(file);
    uint32_t page = 0;
    std::vector<uint8_t> buffer;
    for (uint64_t at = kMagicSize; at < file.size();) {
        const Record record = read_record(file, at);
        at = record.end(file.data());
        if (record.type == 5 || record.type == 44) ++page;
        const TypeInfo& info = type_info(record.type);
        if (!info.marks && info.body != Body::Brush) continue;
        try {
            visit_record(page, record, body_of(record, buffer, memory), visit);
        } catch (const BodyFault& fault) {
            reports.add(record.offset, info.name, fault.what());
        }
    }
}

std::vector<std::string> extract_image(const FoundImage& found, const OpenOutput& open) {
    std::vector<std::string> names = {file_name(found, "png")};
    write_found(found, *open(names[0]));
    if (!found.picture.is_jpeg()) return names;
    names.push_back(file_name(found, "jpg"));
    const std::unique_ptr<Output> stream = open(names[1]);
    stream->write(found.picture.jpeg());
    stream->finish();
    return names;
}

}  // namespace kvjob

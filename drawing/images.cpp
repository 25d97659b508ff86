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

class Extractor {
public:
    Extractor(Bytes file, const OpenOutput& open, Reports& reports) : file_(file), open_(open), reports_(reports) {}

    size_t run() {
        expect_magic(file_);
        for (uint64_t at = kMagicSize; at < file_.size();) {
            const Record record = read_record(file_, at);
            at = record.end(file_.data());
            if (record.type == 5 || record.type == 44) ++page_;
            take(record);
        }
        return images_;
    }

private:
    void take(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        if (!info.marks && info.body != Body::Brush) return;
        try {
            const Bytes body = body_of(record, buffer_);
            if (info.body == Body::Brush) {
                take_brush(record, read_brush(body));
            } else {
                take_image(record, read_image(record.type, body));
            }
        } catch (const BodyFault& fault) {
            reports_.add(record.offset, info.name, fault.what());
        }
    }

    void take_brush(const Record& record, const Brush& brush) {
        constexpr uint32_t kPattern = 5;
        if (brush.kind != kPattern) return;
        write_picture(Picture::of_bitmap(brush.bitmap), *open(record, "pattern.png"));
        ++images_;
    }

    void take_image(const Record& record, const Image& image) {
        const Picture picture = Picture::of(record, image);
        const std::unique_ptr<Output> target = open(record, "image.png");
        switch (type_info(record.type).body) {
            case Body::AlphaBlend:
                write_blended(picture, image, *target);
                break;
            case Body::Transparent:
                write_transparent(picture, image, *target);
                break;
            default:
                write_picture(picture, *target);
        }
        if (type_info(record.type).body == Body::Masked) {
            const Picture mask = Picture::mask_of(image);
            const bool plain = mask.indexed() && mask.dib().depth == 1;
            const std::unique_ptr<Output> out = open(record, "mask.png");
            plain ? write_indexed(mask, *out, PngFormat::Grey) : write_picture(mask, *out);
        }
        if (picture.is_jpeg()) store(picture.jpeg(), *open(record, "image.jpg"));
        ++images_;
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

    static void store(Bytes bytes, Output& target) {
        target.write(bytes);
        target.finish();
    }

    std::unique_ptr<Output> open(const Record& record, const char* what) const {
        char name[64];
        std::snprintf(name, sizeof name, "page%04u-%08llX-%s", page_, static_cast<unsigned long long>(record.offset),
                      what);
        return open_(name);
    }

    Bytes file_;
    const OpenOutput& open_;
    uint32_t page_ = 0;
    std::vector<uint8_t> buffer_;
    Reports& reports_;
    size_t images_ = 0;
};

}  // namespace

size_t extract_images(Bytes file, const OpenOutput& open, Reports& reports) {
    return Extractor(file, open, reports).run();
}

}  // namespace kvjob

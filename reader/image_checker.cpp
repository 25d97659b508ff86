#include "reader/image_checker.h"

#include <algorithm>

#include "reader/picture.h"

namespace kvjob {
namespace {

[[noreturn]] void bad(const std::string& what) { throw BodyFault(what); }

// Entries of the colour table that no pixel uses are written as 0.
void check_unused_colours(const Picture& picture) {
    std::vector<bool> used(picture.dib().palette.size());
    picture.read_indices([&](int32_t, Bytes row) {
        for (uint8_t index : row) used[index] = true;
    });
    for (size_t i = 0; i < used.size(); ++i) {
        if (!used[i] && picture.dib().palette[i] != 0) bad("unused colour " + std::to_string(i) + " is not 0");
    }
}

void check_dib(const Picture& picture) {
    const Dib& dib = picture.dib();
    if (dib.top_down) bad("rows stand from the top");
    if (dib.compression == DibCompression::None && picture.indexed()) {
        check_unused_colours(picture);
    } else {
        picture.read([](int32_t, Picture::Row) {});
    }
}

void check_jpeg(const Picture& picture) {
    constexpr uint64_t kSmallest = 1024;  // bytes of rows
    picture.read([](int32_t, Picture::Row) {});
    const uint64_t bits = static_cast<uint64_t>(picture.width()) * (picture.grey() ? 8 : 24);
    if ((bits + 31) / 32 * 4 * static_cast<uint64_t>(picture.height()) < kSmallest) bad("JPEG of too few pixels");
}

void check_run_length(const Picture& picture) {
    const Dib& dib = picture.dib();
    const int narrowest = dib.compression == DibCompression::Rle8 ? 11 : 21;
    if (!dib.encoded()) bad("a sized record that is not encoded");
    if (dib.width < narrowest) bad("run-length encoded although narrow");
}

void check_source(const Rect& source, const Picture& picture) {
    if (source.left > source.right || source.top > source.bottom) bad("source rectangle is not normalised");
    const Rect part = intersection(source, {0, 0, picture.width(), picture.height()});
    if (!source.empty() && part.empty()) bad("source lies outside the bitmap");
}

void check_mask(const Image& image) {
    const Picture mask = Picture::mask_of(image);
    check_dib(mask);
    if (mask.dib().depth != 1 || mask.dib().encoded()) bad("mask of another depth");
    const auto& colours = mask.dib().palette;
    if (colours[0] != 0 || (colours[1] != 0xFFFFFF && colours[1] != 0)) bad("mask of other colours");
    const bool covers = mask.width() == int64_t{image.source.right} - image.source.left &&
                        mask.height() == int64_t{image.source.bottom} - image.source.top;
    if (!covers) bad("mask of another size than the source");
}

std::optional<uint32_t> counted_length(const Record& record, const Image& image, const Picture& picture) {
    const auto length = static_cast<uint32_t>(record.payload.size());
    if (picture.is_jpeg()) return std::nullopt;
    const Body body = type_info(record.type).body;
    const bool may_count_unencoded = body == Body::Bitmap || body == Body::Transparent;
    if (!picture.dib().encoded() || !may_count_unencoded) return record.compressed() ? 0 : length;
    const uint64_t unencoded = picture.dib().unencoded_size();
    if (is_encoded_record(record)) {
        const uint64_t head = length - image.pixels.size();
        return static_cast<uint32_t>(std::max<uint64_t>(length, head + unencoded));
    }
    if (record.framing == Framing::Long) return std::nullopt;  // whoever encoded it
    const uint32_t largest_head = body == Body::Transparent ? 36 : 33;
    return static_cast<uint32_t>(std::max<uint64_t>(length, unencoded + largest_head));
}

}  // namespace

std::optional<uint32_t> check_pixels(const Record& record, const Image& image) {
    const Body body = type_info(record.type).body;
    const Picture picture = Picture::of(record, image);
    const bool sized = record.framing == Framing::Long;
    if (picture.is_jpeg()) {
        if (!sized) bad("JPEG in a record that is not sized");
        check_jpeg(picture);
    } else {
        if (is_encoded_record(record)) check_run_length(picture);
        const bool may_compress = body == Body::AlphaBlend || body == Body::Masked || !picture.dib().encoded();
        if (record.compressed() && !may_compress) bad("run-length encoded and compressed");
        check_dib(picture);
    }
    check_source(image.source, picture);
    if (body == Body::Masked) check_mask(image);
    if (body == Body::AlphaBlend && (image.blend & 0xFF) != 0) bad("blend operation other than source over");
    return counted_length(record, image, picture);
}

void check_pattern(Bytes packed) {
    const Picture picture = Picture::of_bitmap(packed);
    if (picture.dib().top_down) bad("rows stand from the top");
    picture.read([](int32_t, Picture::Row) {});
}

}  // namespace kvjob

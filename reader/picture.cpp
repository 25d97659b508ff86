#include "reader/picture.h"

#include <cstdlib>

#include "reader/jpeg_reader.h"

namespace kvjob {
namespace {

constexpr uint8_t kTransparentJpeg = 1;  // flag of a transparent blit

bool holds_jpeg(const Record& record, const Image& image) {
    if (type_info(record.type).body == Body::Transparent) return (image.colour[3] & kTransparentJpeg) != 0;
    return record.type == 31 || record.type == 53;
}

}  // namespace

bool is_encoded_record(const Record& record) {
    return record.framing == Framing::Long && record.payload.size() <= 0xFFFF;
}

Picture Picture::of(const Record& record, const Image& image) {
    if (holds_jpeg(record, image)) return of_jpeg(image.pixels);
    const bool masked = type_info(record.type).body == Body::Masked;
    const auto origin = is_encoded_record(record) ? RunLengthOrigin::Driver : RunLengthOrigin::Elsewhere;
    return of_bitmap(masked ? image.pixels.first(image.image_size) : image.pixels, origin);
}

Picture Picture::mask_of(const Image& image) { return of_bitmap(image.pixels.subspan(image.image_size)); }

Picture Picture::of_bitmap(Bytes packed, RunLengthOrigin origin) {
    Picture picture;
    picture.dib_ = read_dib(packed);
    picture.origin_ = origin;
    picture.width_ = picture.dib_.width;
    picture.height_ = picture.dib_.height;
    return picture;
}

Picture Picture::of_jpeg(Bytes stream) {
    constexpr int kNearEdges = 8;  // levels by which areas waver near what borders on them
    const JpegReader reader(stream);
    Picture picture;
    picture.jpeg_ = stream;
    picture.width_ = reader.width();
    picture.height_ = reader.height();
    picture.grey_ = reader.grey();
    picture.tolerance_ = reader.flat_error() + kNearEdges;
    return picture;
}

bool Picture::is_key(uint32_t pixel, uint32_t key) const {
    for (int shift = 0; shift < 24; shift += 8) {
        const int apart = static_cast<int>(pixel >> shift & 0xFF) - static_cast<int>(key >> shift & 0xFF);
        if (std::abs(apart) > tolerance_) return false;
    }
    return true;
}

const char* Picture::encoding() const {
    if (is_jpeg()) return "JPEG";
    switch (dib_.compression) {
        case DibCompression::Rle8:
            return "RLE8";
        case DibCompression::Rle4:
            return "RLE4";
        default:
            return "plain";
    }
}

void Picture::read_jpeg(const RowSink& sink) const {
    JpegReader reader(jpeg_);
    std::vector<uint32_t> row(static_cast<size_t>(width_));
    for (int32_t y = 0; y < height_; ++y) {
        reader.read_row(row.data());
        sink(y, row);
    }
    reader.finish();
}

void Picture::read_indices(const IndexSink& sink) const {
    if (dib_.encoded()) {
        const std::vector<uint8_t> pixels = decode_run_length(dib_, origin_);
        const auto width = static_cast<size_t>(width_);
        for (int32_t y = 0; y < height_; ++y) sink(y, Bytes(pixels).subspan(static_cast<size_t>(y) * width, width));
        return;
    }
    std::vector<uint8_t> row;
    for (int32_t y = 0; y < height_; ++y) {
        kvjob::read_indices(dib_, y, row);
        sink(y, row);
    }
}

void Picture::read(const RowSink& sink) const {
    if (is_jpeg()) return read_jpeg(sink);
    std::vector<uint32_t> row;
    if (indexed()) {
        read_indices([&](int32_t y, Bytes indices) {
            row.resize(indices.size());  // only now is the width known to be true
            for (size_t x = 0; x < row.size(); ++x) row[x] = 0xFF000000 | dib_.palette[indices[x]];
            sink(y, row);
        });
        return;
    }
    for (int32_t y = 0; y < height_; ++y) {
        read_colours(dib_, y, row);
        sink(y, row);
    }
}

}  // namespace kvjob

#pragma once
// The pixels of a job, whatever their encoding.

#include <functional>
#include <span>
#include <variant>
#include <vector>

#include "reader/bodies.h"
#include "reader/dib.h"
#include "reader/records.h"
#include "reader/run_length.h"

namespace kvjob {

class Picture {
public:
    // 0xAARRGGBB; alpha is what a pixel of 32 bits holds beside its colour, else 255.
    using Row = std::span<const uint32_t>;
    using RowSink = std::function<void(int32_t y, Row row)>;
    using IndexSink = std::function<void(int32_t y, Bytes row)>;

    // The picture of a record that carries pixels; of a masked image, the image or its mask. Throws BodyFault.
    static Picture of(const Record& record, const Image& image);
    static Picture mask_of(const Image& image);
    static Picture of_bitmap(Bytes packed, RunLengthOrigin origin = RunLengthOrigin::Elsewhere);

    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int depth() const { return !is_jpeg() ? dib_.depth : grey_ ? 8 : 24; }  // bits a pixel
    const char* encoding() const;                                           // for people
    bool grey() const { return grey_; }                                     // a JPEG stream of one component
    // What a transparent blit does not draw: pixels of 0x00RRGGBB and, in a JPEG stream, what has become of them.
    bool is_key(uint32_t pixel, uint32_t key) const;
    bool is_jpeg() const { return !jpeg_.empty(); }
    Bytes jpeg() const { return jpeg_; }
    const Dib& dib() const { return dib_; }  // where it is no JPEG stream
    bool indexed() const { return !is_jpeg() && dib_.depth <= 8; }

    // Every row from the top. Throws BodyFault where the data are damaged.
    void read(const RowSink& sink) const;
    // The palette indices of an indexed picture.
    void read_indices(const IndexSink& sink) const;

private:
    static Picture of_jpeg(Bytes stream);
    void read_jpeg(const RowSink& sink) const;

    Dib dib_ = {};
    RunLengthOrigin origin_ = RunLengthOrigin::Elsewhere;
    Bytes jpeg_;
    int32_t width_ = 0, height_ = 0;
    bool grey_ = false;
    int tolerance_ = 0;  // of a key, a channel
};

// A sized record of few bytes: only what the driver encoded itself has such a header.
bool is_encoded_record(const Record& record);

}  // namespace kvjob

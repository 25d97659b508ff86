#pragma once
// Baseline JPEG streams through libjpeg; whatever it warns of is a fault.

#include <memory>

#include "reader/bytes.h"

namespace kvjob {

class JpegReader {
public:
    // Reads the header. Throws BodyFault.
    explicit JpegReader(Bytes stream);
    ~JpegReader();
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    int32_t width() const;
    int32_t height() const;
    bool grey() const;
    // How far a channel of an area of one colour may come out from what was encoded, by the stream's quantisation.
    int flat_error() const;
    // The next row from the top, as 0xFFRRGGBB. `row` has room for the width.
    void read_row(uint32_t* row);
    // Behind the last row: nothing but the end of the stream is left.
    void finish();

private:
    struct State;
    [[noreturn]] void fail() const;
    std::unique_ptr<State> state_;
};

}  // namespace kvjob

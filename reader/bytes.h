#pragma once
// Little-endian bytes read with bounds checks. What does not stand where it must is a Fault.

#include <bit>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "reader/geometry.h"

namespace kvjob {

using Bytes = std::span<const uint8_t>;

// A fault of a job at a file offset.
struct Fault : std::runtime_error {
    Fault(uint64_t at, const std::string& message) : std::runtime_error(message), offset(at) {}
    uint64_t offset;
};

// A fault of a record's body; the offset is the record's.
struct BodyFault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Reader {
public:
    explicit Reader(Bytes bytes) : bytes_(bytes) {}

    uint8_t u8() { return take(1)[0]; }
    uint16_t u16() {
        Bytes b = take(2);
        return static_cast<uint16_t>(b[0] | b[1] << 8);
    }
    uint32_t u32() {
        const uint32_t low = u16();
        return low | static_cast<uint32_t>(u16()) << 16;
    }
    int32_t coordinate(bool wide) {
        return wide ? static_cast<int32_t>(u32()) : static_cast<int32_t>(static_cast<int16_t>(u16()));
    }
    float f32() { return std::bit_cast<float>(u32()); }
    Rect rect(bool wide) {
        Rect r;
        r.left = coordinate(wide);
        r.top = coordinate(wide);
        r.right = coordinate(wide);
        r.bottom = coordinate(wide);
        if (!wide && r == Rect{INT16_MAX, INT16_MAX, INT16_MIN, INT16_MIN}) return kEmptyRect;
        return r;
    }
    Bytes take(size_t count) {
        if (count > bytes_.size()) throw BodyFault("body ends too early");
        Bytes taken = bytes_.first(count);
        bytes_ = bytes_.subspan(count);
        return taken;
    }
    size_t left() const { return bytes_.size(); }
    void expect_end() const {
        if (!bytes_.empty()) throw BodyFault(std::to_string(bytes_.size()) + " bytes after the body");
    }

private:
    Bytes bytes_;
};

}  // namespace kvjob

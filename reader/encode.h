#pragma once
// Bodies of records as bytes: the other way of bodies.h, text_bodies.h and index.h.

#include <vector>

#include "reader/bodies.h"
#include "reader/index.h"
#include "reader/text_bodies.h"

namespace kvjob {

class Writer {
public:
    Writer& u8(uint32_t value) { return put(value, 1); }
    Writer& u16(uint32_t value) { return put(value, 2); }
    Writer& u32(uint32_t value) { return put(value, 4); }
    Writer& coordinate(int32_t value, bool wide) { return put(static_cast<uint32_t>(value), wide ? 4 : 2); }
    Writer& rect(const Rect& r, bool wide);
    Writer& add(Bytes bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    Writer& put(uint32_t value, int size) {
        for (int i = 0; i < size; ++i) bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
        return *this;
    }
    std::vector<uint8_t> bytes_;
};

std::vector<uint8_t> encoded(const DrawState& state);
std::vector<uint8_t> encoded(const TextState& state);
std::vector<uint8_t> encoded(const Summary& summary);  // by summary.wide of type 55 or 21

}  // namespace kvjob

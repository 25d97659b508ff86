#pragma once
// Ternary raster operations: each bit of a result is a function of the bits of pattern, source and destination.

#include <cstdint>

namespace kvjob {

inline bool rop_reads_pattern(uint8_t rop) { return (((rop >> 4) ^ rop) & 0x0F) != 0; }
inline bool rop_reads_source(uint8_t rop) { return (((rop >> 2) ^ rop) & 0x33) != 0; }
inline bool rop_reads_destination(uint8_t rop) { return (((rop >> 1) ^ rop) & 0x55) != 0; }

// Bit i of the operation is the result where pattern, source and destination are the bits 2, 1 and 0 of i.
class RasterOp {
public:
    explicit RasterOp(uint8_t rop) {
        for (int i = 0; i < 8; ++i) terms_[i] = rop >> i & 1 ? ~uint32_t{0} : 0;
    }
    uint32_t operator()(uint32_t pattern, uint32_t source, uint32_t destination) const {
        auto choose = [](uint32_t where, uint32_t one, uint32_t zero) { return zero ^ ((one ^ zero) & where); };
        auto of_source = [&](const uint32_t* terms) {
            return choose(source, choose(destination, terms[3], terms[2]), choose(destination, terms[1], terms[0]));
        };
        return choose(pattern, of_source(terms_ + 4), of_source(terms_));
    }

private:
    uint32_t terms_[8];
};

}  // namespace kvjob

#pragma once
// Pieces of bitmap records, built by hand.

#include "tests/common/print_test.h"

namespace kv::test {

inline BytesBuilder& put_rect(BytesBuilder& out, const RECTL& r) { return out.u16({r.left, r.top, r.right, r.bottom}); }
inline BytesBuilder& put_dib_header(BytesBuilder& out, LONG width, LONG height, int bits, int compression = 0,
                                    int size = 0) {
    return out.u32({40, width, height}).u16({1, bits}).u32({compression, size, 0, 0, 0, 0});
}
// Type, length, operation and rectangles of a bitmap record below 254 bytes; `dib` is the size of what follows.
inline BytesBuilder bitmap_head(int rop, const RECTL& source, const RECTL& destination, int dib) {
    BytesBuilder out;
    out.u8({18, 17 + dib, rop});
    put_rect(out, source);
    put_rect(out, destination);
    return out;
}

inline void append(BytesBuilder& out, const Bytes& bytes) {
    out.bytes.insert(out.bytes.end(), bytes.begin(), bytes.end());
}
inline void append(BytesBuilder& out, const std::string& hex) { append(out, from_hex(hex)); }
// A colour table.
inline std::vector<ULONG> grays(size_t count, ULONG step = 0x010101) {
    std::vector<ULONG> table(count);
    for (size_t i = 0; i < count; ++i) table[i] = static_cast<ULONG>(i) * step;
    return table;
}

}  // namespace kv::test

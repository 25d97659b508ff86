#include "tools/kvjob/inflate.h"

#include <zlib.h>

#include <memory>

namespace kvjob {
namespace {

// Deflate cannot make more of a byte than this.
constexpr uint64_t kLargestRatio = 1032;

struct InflateEnd {
    void operator()(z_stream* stream) const { inflateEnd(stream); }
};

}  // namespace

void inflate_raw(Bytes data, uint32_t length, std::vector<uint8_t>& out) {
    if (length > (data.size() + 1) * kLargestRatio) throw BodyFault("deflate data cannot hold the declared length");
    z_stream stream = {};
    constexpr int kRaw = -15;
    if (inflateInit2(&stream, kRaw) != Z_OK) throw BodyFault("out of memory");
    std::unique_ptr<z_stream, InflateEnd> owner(&stream);
    out.resize(length + size_t{1});  // one byte more shows data that is too long
    stream.next_in = const_cast<Bytef*>(data.data());
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = inflate(&stream, Z_FINISH);
    if (result != Z_STREAM_END) throw BodyFault("deflate data are damaged or longer than declared");
    if (stream.avail_in != 0) throw BodyFault("bytes after the deflate data");
    if (stream.total_out != length) {
        throw BodyFault("inflates to " + std::to_string(stream.total_out) + " bytes, declared " +
                        std::to_string(length));
    }
    out.resize(length);
}

}  // namespace kvjob

#include "reader/inflate.h"

#include <zlib.h>

#include <algorithm>

namespace kvjob {
namespace {

class Stream {
public:
    explicit Stream(Bytes data) {
        constexpr int kRaw = -15;
        if (inflateInit2(&stream_, kRaw) != Z_OK) throw BodyFault("out of memory");
        stream_.next_in = const_cast<Bytef*>(data.data());
        stream_.avail_in = static_cast<uInt>(data.size());
    }
    ~Stream() { inflateEnd(&stream_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    z_stream& get() { return stream_; }

private:
    z_stream stream_ = {};
};

// Runs inflate to its end, growing the output as it is produced. Stops one byte beyond the length.
void run(z_stream& stream, uint64_t length, std::vector<uint8_t>& out) {
    constexpr uint64_t kFirstPiece = 1 << 16;
    int result = Z_OK;
    out.clear();
    while (result != Z_STREAM_END) {
        const uint64_t done = out.size();
        if (done > length) throw BodyFault("deflate data are longer than declared");
        out.resize(std::min(length + 1, std::max(kFirstPiece, done * 2)));
        stream.next_out = out.data() + done;
        stream.avail_out = static_cast<uInt>(out.size() - done);
        result = inflate(&stream, Z_NO_FLUSH);
        out.resize(out.size() - stream.avail_out);
        const bool stuck = result != Z_OK || (stream.avail_out != 0 && stream.avail_in == 0);
        if (stuck && result != Z_STREAM_END) throw BodyFault("deflate data are damaged");
    }
}

}  // namespace

bool can_inflate_to(Bytes data, uint64_t length) {
    constexpr uint64_t kLargestRatio = 1032;  // of deflate
    return length <= (data.size() + 1) * kLargestRatio;
}

void inflate_raw(Bytes data, uint32_t length, std::vector<uint8_t>& out) {
    if (!can_inflate_to(data, length)) throw BodyFault("deflate data cannot hold the declared length");
    Stream stream(data);
    run(stream.get(), length, out);
    if (stream.get().avail_in != 0) throw BodyFault("bytes after the deflate data");
    if (out.size() != length) {
        throw BodyFault("inflates to " + std::to_string(out.size()) + " bytes, declared " + std::to_string(length));
    }
}

std::vector<uint8_t> deflate_raw(Bytes bytes) {
    constexpr int kRaw = -15, kLevel = 6, kMemory = 8;
    z_stream stream = {};
    if (deflateInit2(&stream, kLevel, Z_DEFLATED, kRaw, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) throw std::bad_alloc();
    std::vector<uint8_t> data(deflateBound(&stream, bytes.size()));
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = data.data();
    stream.avail_out = static_cast<uInt>(data.size());
    deflate(&stream, Z_FINISH);
    data.resize(stream.total_out);
    deflateEnd(&stream);
    return data;
}

std::vector<uint8_t> inflate_start(Bytes data, size_t length) {
    Stream stream(data);
    std::vector<uint8_t> start(length);
    stream.get().next_out = start.data();
    stream.get().avail_out = static_cast<uInt>(length);
    inflate(&stream.get(), Z_SYNC_FLUSH);
    start.resize(stream.get().total_out);
    return start;
}

}  // namespace kvjob

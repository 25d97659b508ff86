#include "record/deflate_stream.h"

#include "record/job_stream.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

void* allocate(void*, uInt items, uInt size) {
    void* block = nullptr;
    return AllocMem(&block, size_t{items} * size, true) ? block : nullptr;
}
void release(void*, void* block) { FreeMem(block); }

}  // namespace

DeflateStream::~DeflateStream() {
    if (ready_) deflateEnd(&stream_);
}

BOOL DeflateStream::begin() {
    if (ready_) {
        ready_ = deflateReset(&stream_) == Z_OK;
    } else {
        stream_.zalloc = allocate;
        stream_.zfree = release;
        constexpr int kRawDeflate = -15, kLevel = 6, kMemoryLevel = 8;  // no head; zlib's own defaults
        ready_ = deflateInit2(&stream_, kLevel, Z_DEFLATED, kRawDeflate, kMemoryLevel, Z_DEFAULT_STRATEGY) == Z_OK;
    }
    stream_.next_out = buffer_;
    stream_.avail_out = kBufferSize;
    return ready_ || KV_FAIL(Record, "zlib does not start");
}

BOOL DeflateStream::drain(JobStream& job) {
    KV_ASSERT(ready_ && stream_.avail_out <= kBufferSize);
    DWORD full = kBufferSize - stream_.avail_out;
    stream_.next_out = buffer_;
    stream_.avail_out = kBufferSize;
    return full == 0 || job.write_to_file(buffer_, full);
}

BOOL DeflateStream::write(JobStream& job, const void* data, DWORD length) {
    KV_ASSERT(ready_ && stream_.avail_in == 0 && stream_.avail_out > 0);
    stream_.next_in = static_cast<Bytef*>(const_cast<void*>(data));
    stream_.avail_in = length;
    while (stream_.avail_in > 0) {
        const int result = deflate(&stream_, Z_NO_FLUSH);
        if (result != Z_OK) return KV_FAIL(Record, "zlib answers %d", result);
        if (stream_.avail_out == 0 && !drain(job)) return FALSE;
    }
    return TRUE;
}

BOOL DeflateStream::finish(JobStream& job) {
    stream_.next_in = nullptr;
    stream_.avail_in = 0;
    for (;;) {
        int result = deflate(&stream_, Z_FINISH);
        if (result != Z_OK && result != Z_STREAM_END) return KV_FAIL(Record, "zlib answers %d", result);
        if (!drain(job)) return FALSE;
        if (result == Z_STREAM_END) return TRUE;
    }
}

}  // namespace kv

#pragma once
// Raw deflate of one record's payload after another. The compressor is set up once and reused.

#include <zlib.h>

#include "support/memory.h"

namespace kv {

struct JobStream;

class DeflateStream {
public:
    DeflateStream() = default;
    ~DeflateStream();
    DeflateStream(const DeflateStream&) = delete;
    DeflateStream& operator=(const DeflateStream&) = delete;

    // Begins a record. FALSE when memory is out.
    BOOL begin();
    // What is compressed goes to the device's job file as the buffer fills.
    BOOL write(JobStream& job, const void* data, DWORD length);
    BOOL finish(JobStream& job);

    DWORD total_out() const { return static_cast<DWORD>(stream_.total_out); }
    DWORD total_in() const { return static_cast<DWORD>(stream_.total_in); }

    static constexpr DWORD kBufferSize = 16384;  // bytes of compressed data that wait

private:
    BOOL drain(JobStream& job);

    z_stream stream_ = {};
    bool ready_ = false;
    BYTE buffer_[kBufferSize];
};

}  // namespace kv

#pragma once
// Raw deflate of one record's payload after another. The compressor is set up once and reused.

#include <zlib.h>

#include "support/memory.h"

namespace kv {

struct PDEVICE;

class DeflateStream {
public:
    DeflateStream() = default;
    ~DeflateStream();
    DeflateStream(const DeflateStream&) = delete;
    DeflateStream& operator=(const DeflateStream&) = delete;

    // Begins a record. FALSE when memory is out.
    BOOL begin();
    // What is compressed goes to the device's job file as the buffer fills.
    BOOL write(PDEVICE& device, const void* data, DWORD length);
    BOOL finish(PDEVICE& device);

    DWORD total_out() const { return static_cast<DWORD>(stream_.total_out); }
    DWORD total_in() const { return static_cast<DWORD>(stream_.total_in); }

private:
    BOOL drain(PDEVICE& device);

    static constexpr DWORD kBufferSize = 16384;
    z_stream stream_ = {};
    bool ready_ = false;
    BYTE buffer_[kBufferSize];
};

}  // namespace kv

#pragma once
// Little-endian bytes of records, messages and escapes.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "platform/win32.h"
#include "support/assert.h"

namespace kv {

inline void store_u16(BYTE* at, uint16_t value) {
    at[0] = static_cast<BYTE>(value);
    at[1] = static_cast<BYTE>(value >> 8);
}
inline void store_u32(BYTE* at, uint32_t value) {
    store_u16(at, static_cast<uint16_t>(value));
    store_u16(at + 2, static_cast<uint16_t>(value >> 16));
}
inline uint16_t load_u16(const BYTE* at) { return static_cast<uint16_t>(at[0] | at[1] << 8); }
inline uint32_t load_u32(const BYTE* at) { return load_u16(at) | uint32_t{load_u16(at + 2)} << 16; }

// Writes into a span it does not own. A write that does not fit is dropped whole and remembered.
class ByteWriter {
public:
    explicit ByteWriter(std::span<BYTE> target) : target_(target) {}

    void u8(uint32_t value) {
        if (BYTE* at = room(1)) at[0] = static_cast<BYTE>(value);
    }
    void u16(uint32_t value) {
        if (BYTE* at = room(2)) store_u16(at, static_cast<uint16_t>(value));
    }
    void u32(uint32_t value) {
        if (BYTE* at = room(4)) store_u32(at, value);
    }
    void f32(float value) { u32(std::bit_cast<uint32_t>(value)); }
    void bytes(const void* data, size_t size) {
        if (BYTE* at = size ? room(size) : nullptr) std::memcpy(at, data, size);
    }
    void zeros(size_t size) {
        if (BYTE* at = size ? room(size) : nullptr) std::memset(at, 0, size);
    }

    size_t size() const { return used_; }
    const BYTE* data() const { return target_.data(); }
    bool overflowed() const { return overflowed_; }

private:
    BYTE* room(size_t size) {
        KV_ASSERT(used_ <= target_.size());
        if (size > target_.size() - used_) {
            overflowed_ = true;
            return nullptr;
        }
        BYTE* at = target_.data() + used_;
        used_ += size;
        return at;
    }

    std::span<BYTE> target_;
    size_t used_ = 0;
    bool overflowed_ = false;
};

}  // namespace kv

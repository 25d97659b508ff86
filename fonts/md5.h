#pragma once
// MD5 digests as RFC 1321 defines them: the identity of font files and of the list of installed fonts. The driver's
// own, because the digest must be the same on every system and the driver links no library that has one; it guards
// against mistaking one file for another, not against an adversary.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/win32.h"

namespace kv {

using Md5Digest = std::array<BYTE, 16>;

class Md5 {
public:
    void update(std::span<const BYTE> data);
    // The digest of all that was given; the object starts anew.
    Md5Digest finish();

private:
    void add_block(const BYTE* block);

    static constexpr std::array<uint32_t, 4> kStart = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::array<uint32_t, 4> state_ = kStart;
    uint64_t length_ = 0;  // bytes given
    BYTE tail_[64];        // the last length_ % 64 of them
};

Md5Digest md5(std::span<const BYTE> data);

}  // namespace kv

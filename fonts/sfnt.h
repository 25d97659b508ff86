#pragma once
// The container of TrueType and OpenType fonts: numbers in either byte order, the table directory, and the collection
// header. Fields need no alignment.

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

#include "platform/win32.h"

namespace kv {

static_assert(std::endian::native == std::endian::little, "file order (big-endian) is the other order");

enum class ByteOrder : bool { File, Host };

inline WORD swapped(WORD value) { return static_cast<WORD>(value << 8 | value >> 8); }
inline DWORD swapped(DWORD value) { return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24; }

inline WORD load_u16(const BYTE* at, ByteOrder order) {
    WORD value;
    std::memcpy(&value, at, sizeof value);
    return order == ByteOrder::Host ? value : swapped(value);
}
inline DWORD load_u32(const BYTE* at, ByteOrder order) {
    uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return order == ByteOrder::Host ? value : swapped(DWORD{value});
}

// Swap count numbers where they lie.
void swap_u16(BYTE* at, size_t count);
void swap_u32(BYTE* at, size_t count);

// The four characters of a tag as a big-endian number.
constexpr DWORD tag(const char (&text)[5]) {
    return static_cast<DWORD>(static_cast<BYTE>(text[0])) << 24 | static_cast<DWORD>(static_cast<BYTE>(text[1])) << 16 |
           static_cast<DWORD>(static_cast<BYTE>(text[2])) << 8 | static_cast<BYTE>(text[3]);
}

inline bool begins_with(std::span<const BYTE> bytes, DWORD signature) {
    return bytes.size() >= 4 && load_u32(bytes.data(), ByteOrder::File) == signature;
}

// The part of the bytes at a position, empty when it does not lie wholly within them.
template <class Byte>
std::span<Byte> part_of(std::span<Byte> bytes, int64_t position, size_t length) {
    if (position < 0 || static_cast<uint64_t>(position) > bytes.size()) return {};
    const auto start = static_cast<size_t>(position);
    return length <= bytes.size() - start ? bytes.subspan(start, length) : std::span<Byte>();
}

struct SfntEntry {
    DWORD tag, checksum;
    LONG offset;  // from the image's start; negative only in members of a split collection
    DWORD length;
};

// The offset table at the start of an image. Entries that the image cuts off do not count.
class SfntDirectory {
public:
    static constexpr DWORD kHeaderSize = 12, kEntrySize = 16;

    SfntDirectory(std::span<const BYTE> image, ByteOrder order);
    DWORD count() const { return count_; }
    SfntEntry entry(DWORD index) const;
    // What it takes up of the image.
    DWORD size() const { return count_ ? kHeaderSize + count_ * kEntrySize : 0; }

private:
    const BYTE* image_;
    ByteOrder order_;
    DWORD count_ = 0;
};

// Turns numTables, searchRange, entrySelector, rangeShift and the numbers of each entry around. Tags stay.
void swap_directory(std::span<BYTE> image, ByteOrder from);

// Makes the offset of each entry, in file order, relative to a position.
void make_relative(std::span<BYTE> image, DWORD position);

// The header of a collection, in file order. Members that the file cuts off do not count.
class CollectionHeader {
public:
    static constexpr DWORD kHeaderSize = 12, kOffsetSize = 4;

    explicit CollectionHeader(std::span<const BYTE> file);
    DWORD count() const { return count_; }
    // The number of members that the header states.
    DWORD declared() const { return declared_; }
    DWORD size() const { return kHeaderSize + count_ * kOffsetSize; }
    // Of the member's offset table, from the start of the file.
    DWORD offset(DWORD member) const;

private:
    const BYTE* file_;
    DWORD count_ = 0, declared_ = 0;
};

}  // namespace kv

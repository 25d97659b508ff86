#include "fonts/sfnt.h"

#include <algorithm>

namespace kv {

void swap_u16(BYTE* at, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const WORD value = load_u16(at + 2 * i, ByteOrder::File);
        std::memcpy(at + 2 * i, &value, sizeof value);
    }
}

void swap_u32(BYTE* at, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const DWORD value = load_u32(at + 4 * i, ByteOrder::File);
        std::memcpy(at + 4 * i, &value, sizeof value);
    }
}

SfntDirectory::SfntDirectory(std::span<const BYTE> image, ByteOrder order) : image_(image.data()), order_(order) {
    if (image.size() < kHeaderSize) return;
    count_ =
        static_cast<DWORD>(std::min<size_t>(load_u16(image_ + 4, order), (image.size() - kHeaderSize) / kEntrySize));
}

SfntEntry SfntDirectory::entry(DWORD index) const {
    const BYTE* at = image_ + kHeaderSize + index * kEntrySize;
    return {load_u32(at, ByteOrder::File), load_u32(at + 4, order_), static_cast<LONG>(load_u32(at + 8, order_)),
            load_u32(at + 12, order_)};
}

void swap_directory(std::span<BYTE> image, ByteOrder from) {
    if (image.size() < SfntDirectory::kHeaderSize) return;
    const DWORD count = SfntDirectory(image, from).count();
    swap_u16(image.data() + 4, 4);
    for (DWORD i = 0; i < count; ++i) {
        swap_u32(image.data() + SfntDirectory::kHeaderSize + i * SfntDirectory::kEntrySize + 4, 3);
    }
}

void make_relative(std::span<BYTE> image, DWORD position) {
    const DWORD count = SfntDirectory(image, ByteOrder::File).count();
    for (DWORD i = 0; i < count; ++i) {
        BYTE* offset = image.data() + SfntDirectory::kHeaderSize + i * SfntDirectory::kEntrySize + 8;
        const DWORD relative = swapped(load_u32(offset, ByteOrder::File) - position);
        std::memcpy(offset, &relative, sizeof relative);
    }
}

CollectionHeader::CollectionHeader(std::span<const BYTE> file) : file_(file.data()) {
    if (file.size() < kHeaderSize) return;
    declared_ = load_u32(file_ + 8, ByteOrder::File);
    count_ = static_cast<DWORD>(std::min<size_t>(declared_, (file.size() - kHeaderSize) / kOffsetSize));
}

DWORD CollectionHeader::offset(DWORD member) const {
    return load_u32(file_ + kHeaderSize + member * kOffsetSize, ByteOrder::File);
}

}  // namespace kv

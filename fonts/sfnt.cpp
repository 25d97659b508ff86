#include "fonts/sfnt.h"

#include <algorithm>

#include "fonts/table_layout.h"
#include "support/assert.h"

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

static_assert(SfntDirectory::kHeaderSize == kSizeOf<DirectoryLayout>);
static_assert(SfntDirectory::kEntrySize == kSizeOf<EntryLayout>);

SfntDirectory::SfntDirectory(std::span<const BYTE> image, ByteOrder order) : image_(image.data()), order_(order) {
    if (image.size() < kHeaderSize) return;
    count_ = static_cast<DWORD>(
        std::min<size_t>(load<DirectoryLayout::kNumTables>(image_, order), (image.size() - kHeaderSize) / kEntrySize));
}

SfntEntry SfntDirectory::entry(DWORD index) const {
    KV_ASSERT(index < count_);
    const BYTE* at = image_ + kHeaderSize + index * kEntrySize;
    return {load_u32(at, ByteOrder::File), load<EntryLayout::kChecksum>(at, order_),
            static_cast<LONG>(load<EntryLayout::kOffset>(at, order_)), load<EntryLayout::kLength>(at, order_)};
}

void swap_directory(std::span<BYTE> image, ByteOrder from) {
    const DWORD count = SfntDirectory(image, from).count();
    swap_fields(image, DirectoryLayout::kFields);
    for (DWORD i = 0; i < count; ++i) {
        swap_fields(image.subspan(SfntDirectory::kHeaderSize + i * SfntDirectory::kEntrySize), EntryLayout::kFields);
    }
}

void make_relative(std::span<BYTE> image, DWORD position) {
    const DWORD count = SfntDirectory(image, ByteOrder::File).count();
    for (DWORD i = 0; i < count; ++i) {
        BYTE* entry = image.data() + SfntDirectory::kHeaderSize + i * SfntDirectory::kEntrySize;
        const DWORD relative = swapped(load<EntryLayout::kOffset>(entry, ByteOrder::File) - position);
        std::memcpy(entry + EntryLayout::kOffset.offset, &relative, sizeof relative);
    }
}

CollectionHeader::CollectionHeader(std::span<const BYTE> file) : file_(file.data()) {
    if (file.size() < kHeaderSize) return;
    declared_ = load_u32(file_ + 8, ByteOrder::File);
    count_ = static_cast<DWORD>(std::min<size_t>(declared_, (file.size() - kHeaderSize) / kOffsetSize));
}

DWORD CollectionHeader::offset(DWORD member) const {
    KV_ASSERT(member < count_);
    return load_u32(file_ + kHeaderSize + member * kOffsetSize, ByteOrder::File);
}

}  // namespace kv

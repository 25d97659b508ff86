#include "tests/image/dibs.h"

#include <algorithm>
#include <cstring>

namespace kv::test {

Dib::Dib(const BITMAPINFOHEADER& header)
    : block_(new BYTE[dib_head_size(header)]()), bits_(new BYTE[dib_bits_size(header)]()) {
    std::memcpy(block_.get(), &header, std::min<size_t>(sizeof header, dib_head_size(header)));
}

Dib::Dib(LONG width, LONG height, WORD bit_count, std::vector<DWORD> table)
    : Dib(dib_header(width, height, bit_count)) {
    std::copy(table.begin(), table.end(), this->table());
}

Dib Dib::noise(LONG width, LONG height, WORD bit_count, Random& random) {
    Dib dib(width, height, bit_count);
    for (DWORD i = 0; bit_count <= 8 && i < 1u << bit_count; ++i) dib.table()[i] = random() & 0xFFFFFF;
    std::generate_n(dib.row(0), dib_bits_size(dib.header()), [&] { return static_cast<BYTE>(random() >> 8); });
    return dib;
}

Dib Dib::gray_noise(LONG width, LONG height, Random& random) {
    Dib dib = noise(width, height, 8, random);
    std::ranges::copy(gray_ramp(), dib.table());
    return dib;
}

Bytes Dib::all() const { return all_of(view()); }

void Dib::set(LONG x, LONG row, DWORD value) {
    const WORD bits = header().biBitCount;
    BYTE* at = this->row(row) + x * bits / 8;
    if (bits < 8) {
        const int shift = 8 - bits - x * bits % 8;
        *at = static_cast<BYTE>((*at & ~(((1 << bits) - 1) << shift)) | static_cast<int>(value) << shift);
    } else {
        std::memcpy(at, &value, bits / 8);
    }
}

DWORD pixel_of(const DibView& dib, LONG x, LONG row) {
    const WORD bits = dib.header->biBitCount;
    const BYTE* at = dib.bits + row * dib_stride(*dib.header) + x * bits / 8;
    if (bits < 8) return *at >> (8 - bits - x * bits % 8) & ((1 << bits) - 1);
    DWORD value = 0;
    std::memcpy(&value, at, bits / 8);
    return value;
}

Bytes all_of(const DibView& dib) {
    const auto* head = reinterpret_cast<const BYTE*>(dib.header);
    Bytes bytes(head, head + dib_head_size(*dib.header));
    bytes.insert(bytes.end(), dib.bits, dib.bits + dib_bits_size(*dib.header));
    return bytes;
}

std::vector<DWORD> gray_ramp() {
    std::vector<DWORD> table;
    for (DWORD i = 0; i < 256; ++i) table.push_back(i * 0x010101);
    return table;
}

Bytes bmp_file(const BITMAPINFOHEADER& header, const std::vector<DWORD>& table, const Bytes& bits) {
    constexpr int kFileHeader = 14;
    const auto offset = static_cast<int64_t>(kFileHeader + sizeof header + table.size() * sizeof(DWORD));
    BytesBuilder file;
    file.u8({'B', 'M'}).u32({offset + static_cast<int64_t>(bits.size()), 0, offset});
    const auto* head = reinterpret_cast<const BYTE*>(&header);
    file.bytes.insert(file.bytes.end(), head, head + sizeof header);
    for (DWORD color : table) file.u32({color});
    file.bytes.insert(file.bytes.end(), bits.begin(), bits.end());
    return file.bytes;
}

}  // namespace kv::test

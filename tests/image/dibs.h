#pragma once
// Bitmaps for tests, each in a block of exactly its size, so that the sanitizers see every byte read beyond.

#include <memory>
#include <random>
#include <vector>

#include "image/dib.h"
#include "tests/common/print_test.h"

namespace kv::test {

class Random {
public:
    explicit Random(DWORD seed) : engine_(seed) {}
    DWORD operator()() { return static_cast<DWORD>(engine_()); }
    DWORD below(DWORD bound) { return operator()() % bound; }

private:
    std::mt19937 engine_;
};

class Dib {
public:
    explicit Dib(const BITMAPINFOHEADER& header);
    Dib(LONG width, LONG height, WORD bit_count, std::vector<DWORD> table = {});
    // Every byte of the table and the bits.
    static Dib noise(LONG width, LONG height, WORD bit_count, Random& random);
    static Dib gray_noise(LONG width, LONG height, Random& random);

    BITMAPINFOHEADER& header() { return *reinterpret_cast<BITMAPINFOHEADER*>(block_.get()); }
    DWORD* table() { return reinterpret_cast<DWORD*>(block_.get() + header().biSize); }
    BYTE* row(size_t index) { return bits_.get() + index * dib_stride(header()); }
    DibView view() const { return {reinterpret_cast<const BITMAPINFOHEADER*>(block_.get()), bits_.get()}; }
    Bytes all() const;
    // The pixel's value, of as many bits as the depth has.
    void set(LONG x, LONG row, DWORD value);

private:
    std::unique_ptr<BYTE[]> block_, bits_;
};

DWORD pixel_of(const DibView& dib, LONG x, LONG row);
Bytes all_of(const DibView& dib);
std::vector<DWORD> gray_ramp();
// A file that image readers take; the height is that of the header.
Bytes bmp_file(const BITMAPINFOHEADER& header, const std::vector<DWORD>& table, const Bytes& bits);

}  // namespace kv::test

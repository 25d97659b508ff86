#pragma once
// Writes the pixels of a 1-bit image that has been averaged, as a drawing where it is one, else as tone.
//
// The neighbourhood of a pixel, seven by seven, is a drawing when at least four fifths of the colour that is rarer
// there lie in strokes, and when drawing these leaves at least two thirds of the light: dots, and lines too dense to be
// told apart, are tone. In a drawing, pixels are dark where its strokes make them. All other darkness, and of a drawing
// that of the dots in it, is handed on from pixel to pixel until it is enough for a dark one.

#include "image/dib.h"
#include "support/memory.h"

namespace kv {

class MonoWriter {
public:
    static constexpr int kFull = 255;
    struct Pixel {
        BYTE dark, dots;  // of kFull: how much is dark, and how much of that in no stroke
        BYTE light_dots;  // how much is light and in no stroke
        bool drawn;       // dark if this is a drawing
    };

    explicit MonoWriter(PackedDib& result) : result_(result) {}
    // `dark` is the index of the darker colour. FALSE when memory is out.
    BOOL open(DWORD dark);
    // Of as many pixels as the result is wide, to be filled before write_row().
    Pixel* next_row() { return row_of(taken_); }
    void write_row();
    // After the last row.
    void finish();

private:
    static constexpr DWORD kAround = 3, kRows = 2 * kAround + 1;
    // Of a number of pixels.
    struct Sums {
        int count = 0, dark = 0, dots = 0, light_dots = 0, drawn = 0;
        void add(const Sums& other, int sign);
        bool is_drawing() const;
    };

    Pixel* row_of(DWORD row) const { return pixels_.get() + size_t{row % kRows} * width_; }
    void add_row(DWORD row, int sign);
    void step();
    void decide(DWORD row);
    bool is_dark(const Pixel& pixel, const Sums& around, DWORD at);

    PackedDib& result_;
    DWORD width_ = 0, height_ = 0;
    DWORD dark_ = 0;
    DWORD taken_ = 0;          // rows, and kAround more at the end
    HeapArray<Pixel> pixels_;  // of the last rows
    HeapArray<Sums> columns_;  // of the pixels in these rows
    HeapArray<int> errors_;    // of kFull: this row's and, in two more columns, the next one's
};

}  // namespace kv

// Downsampling by area averaging.
//
// An output pixel is the weighted mean of the source pixels that it covers. The weight of a pixel is its column's
// times its row's: the scale inside, the covered part of that at a cut edge. So the rows that an output row covers are
// first summed up column by column, and the sums then along the row. Sums are exact; means round to the nearest.

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "image/mono_rows.h"
#include "image/prepare.h"
#include "support/assert.h"
#include "support/memory.h"
#include "support/trace.h"

namespace kv {
namespace {

// The weight of a whole pixel along one side: cut ones get a part of it. Two do for 1 bit, which is either or.
constexpr DWORD kColorScale = 16, kMonoScale = 2;
constexpr DWORD kStandardMasks[3] = {0xFF0000, 0xFF00, 0xFF};

// The source pixels that an output pixel covers along one side: one at the near edge, whole ones, one at the far edge.
struct Span {
    DWORD first;  // the one at the near edge
    DWORD whole;  // how many of full weight follow it
    WORD near_weight;
    WORD far_weight;  // 0 when no pixel is cut
    DWORD last() const { return first + 1 + whole; }
    DWORD total(DWORD scale) const { return near_weight + whole * scale + far_weight; }
};

// Output pixel i of `to` covers [i x from / to, (i + 1) x from / to).
Span span_of(DWORD i, DWORD from, DWORD to, DWORD scale) {
    KV_ASSERT(i < to && to <= from);
    const uint64_t begin = uint64_t{i} * from, end = begin + from;
    const auto weight = [&](uint64_t part) {
        return static_cast<WORD>(MulDiv(static_cast<int>(scale), static_cast<int>(part), static_cast<int>(to)));
    };
    const auto first = static_cast<DWORD>(begin / to);
    return {first, static_cast<DWORD>(end / to) - first - 1, weight(to - begin % to), weight(end % to)};
}

// Of a colour table of two.
DWORD darker_index(const DibView& dib) {
    const auto brightness = [](DWORD color) {
        return (color >> 16 & 0xFF) * 2 + (color >> 8 & 0xFF) * 5 + (color & 0xFF);
    };
    return brightness(dib.color(1)) >= brightness(dib.color(0)) ? 0 : 1;
}

// The samples of a row: one byte each of gray, or of what a 1-bit pixel weighs, or a pixel's blue, green, red and
// fourth byte.
class SampleRows {
public:
    BOOL open(const DibView& source, Alpha alpha) {
        if (!pixels_.open(source, alpha)) return FALSE;
        mono_ = source.header->biBitCount == 1;
        gray_ = has_gray_ramp(source);
        if (mono_) dark_ = darker_index(source);
        return TRUE;
    }
    // Room for a row that has to be converted. The rows are to become `new_width` wide.
    BOOL alloc(DWORD new_width) {
        if (mono_) {
            return weights_.open(pixels_, dark_, new_width) &&
                   buffer_.alloc(size_t{pixels_.width()} + MonoRows::kTile, kQuietly);
        }
        return is_stored() || buffer_.alloc(size_t{pixels_.width()} * sizeof(DWORD) + 8, kQuietly);
    }

    bool mono() const { return mono_; }
    bool gray() const { return gray_; }
    DWORD dark() const { return dark_; }
    int threshold(DWORD x, DWORD row) const { return weights_.threshold(x, row); }
    DWORD channels() const { return mono_ || gray_ ? 1 : pixels_.is_stored_bgr() ? 3 : 4; }
    DWORD width() const { return pixels_.width(); }
    DWORD rows() const { return pixels_.rows(); }
    // Valid until the next call.
    const BYTE* row(DWORD index) {
        if (is_stored()) return pixels_.stored_row(index);
        if (index != converted_) convert(index);
        converted_ = index;
        return buffer_.get();
    }

private:
    bool is_stored() const { return gray_ || pixels_.is_stored_bgr() || pixels_.is_stored_bgrx(); }
    void convert(DWORD index);

    PixelReader pixels_;
    bool mono_ = false, gray_ = false;
    DWORD dark_ = 0;  // index
    MonoRows weights_;
    HeapArray<BYTE> buffer_;
    DWORD converted_ = ~0u;
};

void SampleRows::convert(DWORD index) {
    if (mono_) return weights_.weigh(index, buffer_.get());
    pixels_.read(index, 0, pixels_.width(), reinterpret_cast<DWORD*>(buffer_.get()));
}

// An empty bitmap for the averages. FALSE when it would not be smaller than the source, or memory is out.
BOOL make_result(const DibView& source, const SampleRows& rows, Alpha alpha, LONG width, LONG height,
                 PackedDib& result) {
    const BITMAPINFOHEADER& from = *source.header;
    const bool keep_alpha = alpha == Alpha::Keep && from.biBitCount == 32;
    BITMAPINFOHEADER header = dib_header(width, height, rows.mono() ? 1 : rows.gray() ? 8 : keep_alpha ? 32 : 24);
    if (keep_alpha) header.biCompression = from.biCompression;
    if (dib_size(header) >= dib_size(from) || !result.create(header, kQuietly)) return FALSE;
    if (header.biBitCount == 1) std::memcpy(result.table(), source.table(), 2 * sizeof(DWORD));
    for (DWORD i = 0; rows.gray() && i < 256; ++i) result.table()[i] = i * 0x010101;
    if (header.biCompression == BI_BITFIELDS) std::copy_n(kStandardMasks, 3, result.table());
    return TRUE;
}

template <class Sum>
void set_sums(Sum* __restrict sums, const BYTE* __restrict samples, size_t count, Sum weight) {
    for (size_t i = 0; i < count; ++i) sums[i] = static_cast<Sum>(samples[i] * weight);
}

template <class Sum>
void add_to_sums(Sum* __restrict sums, const BYTE* __restrict samples, size_t count, Sum weight) {
    for (size_t i = 0; i < count; ++i) sums[i] = static_cast<Sum>(sums[i] + samples[i] * weight);
}

// Divides weighted sums of bytes by the sum of their weights, a divisor below 2^24, and rounds. Exact: what the
// reciprocal is off, times the dividend, stays below 2^56.
struct Rounder {
    uint64_t reciprocal;
    DWORD half;
    static Rounder of(DWORD divisor) { return {(1ull << 56) / divisor + 1, divisor / 2}; }
    BYTE mean(DWORD sum) const { return static_cast<BYTE>((uint64_t{sum} + half) * reciprocal >> 56); }
};

// Sum holds a column's sum: 16 bits for the usual ratios, where 32 bits hold the sums along the row; else 32 and 64.
template <class Sum>
class Averager {
public:
    Averager(SampleRows& rows, PackedDib& result)
        : rows_(rows),
          result_(result),
          width_(static_cast<DWORD>(result.header().biWidth)),
          height_(static_cast<DWORD>(result.header().biHeight)),
          scale_(rows.mono() ? kMonoScale : kColorScale) {}

    BOOL run();

private:
    static constexpr bool kNarrow = sizeof(Sum) == 2;
    using Total = std::conditional_t<kNarrow, DWORD, uint64_t>;

    BOOL plan_columns();
    void sum_rows(const Span& span);
    BYTE mean(Total sum, DWORD column_weight) const;
    template <int channels>
    void sum_columns(const Span& span, Total (&totals)[channels]) const;
    template <int channels>
    void write_means(BYTE* to) const;
    void write_mono(BYTE* to, DWORD source_row);
    bool is_dark(Total dark, const Span& span, DWORD source_row, DWORD at);

    SampleRows& rows_;
    PackedDib& result_;
    const DWORD width_, height_, scale_;
    HeapArray<Span> columns_;
    HeapArray<Sum> sums_;  // and a pixel of zeros behind the last
    DWORD row_weight_ = 0, least_column_weight_ = 0;
    HeapArray<int>
        errors_;  // of 1-bit pixels, in 256ths of a pixel: this row's and, in two more columns, the next one's
    // Rounding of each span's ends moves its weight by less than 1 from the exact one: three values at most.
    Rounder rounders_[3] = {};
};

template <class Sum>
BOOL Averager<Sum>::plan_columns() {
    if (!columns_.alloc(width_, kQuietly)) return FALSE;
    least_column_weight_ = ~0u;
    for (DWORD i = 0; i < width_; ++i) {
        columns_[i] = span_of(i, rows_.width(), width_, scale_);
        least_column_weight_ = std::min(least_column_weight_, columns_[i].total(scale_));
    }
    return TRUE;
}

template <class Sum>
void Averager<Sum>::sum_rows(const Span& span) {
    const size_t count = size_t{rows_.width()} * rows_.channels();
    KV_ASSERT(span.first + span.whole < rows_.rows() && (span.far_weight == 0 || span.last() < rows_.rows()));
    set_sums<Sum>(sums_.get(), rows_.row(span.first), count, span.near_weight);
    for (DWORD i = 1; i <= span.whole; ++i) {
        add_to_sums<Sum>(sums_.get(), rows_.row(span.first + i), count, static_cast<Sum>(scale_));
    }
    if (span.far_weight > 0) add_to_sums<Sum>(sums_.get(), rows_.row(span.last()), count, span.far_weight);
    row_weight_ = span.total(scale_);
    if constexpr (kNarrow) {
        for (DWORD i = 0; i < 3; ++i) rounders_[i] = Rounder::of((least_column_weight_ + i) * row_weight_);
    }
}

template <class Sum>
BYTE Averager<Sum>::mean(Total sum, DWORD column_weight) const {
    KV_ASSERT(column_weight >= least_column_weight_ && column_weight - least_column_weight_ < 3);
    if constexpr (kNarrow) {
        return rounders_[column_weight - least_column_weight_].mean(sum);
    } else {
        const Total weight = Total{column_weight} * row_weight_;
        return static_cast<BYTE>((sum + weight / 2) / weight);
    }
}

template <class Sum>
template <int channels>
void Averager<Sum>::sum_columns(const Span& span, Total (&totals)[channels]) const {
    const Sum* at = sums_.get() + size_t{span.first} * channels;
    Total whole[channels] = {};
    for (int c = 0; c < channels; ++c) totals[c] = Total{at[c]} * span.near_weight;
    for (DWORD i = 0; i < span.whole; ++i) {
        at += channels;
        for (int c = 0; c < channels; ++c) whole[c] += at[c];
    }
    at += channels;
    for (int c = 0; c < channels; ++c) totals[c] += whole[c] * scale_ + Total{at[c]} * span.far_weight;
}

template <class Sum>
template <int channels>
void Averager<Sum>::write_means(BYTE* to) const {
    const DWORD stored = result_.header().biBitCount / 8u;
    for (DWORD i = 0; i < width_; ++i, to += stored) {
        const Span& span = columns_[i];
        Total totals[channels] = {};
        sum_columns(span, totals);
        for (DWORD c = 0; c < stored; ++c) to[c] = mean(totals[c], span.total(scale_));
    }
}

// In a drawing a pixel is dark when half of it is, and already when a line of one pixel runs across it. In a halftone
// what rounding adds or takes away goes on to the pixels around (Floyd and Steinberg's shares), so that darkness stays.
template <class Sum>
bool Averager<Sum>::is_dark(Total dark, const Span& span, DWORD source_row, DWORD at) {
    const DWORD column_weight = span.total(scale_);
    const Total all = Total{column_weight} * row_weight_ * MonoRows::kDark;
    const Total line = Total{std::min(column_weight, row_weight_)} * scale_ * MonoRows::kDark;
    KV_ASSERT(all > 0 && at < width_);
    int* here = errors_.get() + at + 1;
    int* next = here + width_ + 2;
    const int carried = std::exchange(*here, 0);
    const int threshold = rows_.threshold(span.first + span.whole / 2, source_row);
    if (threshold == 0) return dark > 0 && (2 * dark >= all || dark >= line);
    const int value = static_cast<int>(dark * 256 / all) + carried;
    const bool is_dark = value >= threshold;
    const int error = value - (is_dark ? 256 : 0);
    const int shares[] = {error * 7 / 16, error * 3 / 16, error * 5 / 16};
    here[1] += shares[0];
    next[-1] += shares[1];
    next[0] += shares[2];
    next[1] += error - shares[0] - shares[1] - shares[2];
    return is_dark;
}

template <class Sum>
void Averager<Sum>::write_mono(BYTE* to, DWORD source_row) {
    const DWORD light = 1 - rows_.dark();
    DWORD byte = 0;
    for (DWORD i = 0; i < width_; ++i) {
        Total dark[1] = {};
        sum_columns(columns_[i], dark);
        byte = byte << 1 | (is_dark(dark[0], columns_[i], source_row, i) ? rows_.dark() : light);
        if (i % 8 == 7) *to++ = static_cast<BYTE>(byte);
    }
    if (width_ % 8 != 0) *to = static_cast<BYTE>(byte << (8 - width_ % 8));
    std::copy_n(errors_.get() + width_ + 2, width_ + 2, errors_.get());
    std::fill_n(errors_.get() + width_ + 2, width_ + 2, 0);
}

template <class Sum>
BOOL Averager<Sum>::run() {
    const DWORD channels = rows_.channels();
    if (!rows_.alloc(width_) || !plan_columns() || !sums_.alloc((size_t{rows_.width()} + 1) * channels, kQuietly)) {
        return FALSE;
    }
    if (rows_.mono() && !errors_.alloc(2 * (size_t{width_} + 2), kQuietly)) return FALSE;
    const auto stride = static_cast<size_t>(dib_stride(result_.header()));
    BYTE* to = result_.bits();
    for (DWORD j = 0; j < height_; ++j, to += stride) {
        const Span span = span_of(j, rows_.rows(), height_, scale_);
        sum_rows(span);
        if (rows_.mono()) {
            write_mono(to, span.first + span.whole / 2);
        } else if (channels == 1) {
            write_means<1>(to);
        } else {
            channels == 3 ? write_means<3>(to) : write_means<4>(to);
        }
    }
    return TRUE;
}

// Whether column sums fit 16 bits, and sums along a row 32. (Bitmaps of up to kMaxDibSize keep within 32 and 64.)
bool is_narrow(const SampleRows& rows, const BITMAPINFOHEADER& result) {
    const auto most_weight = [](DWORD from, LONG to) {
        return uint64_t{kColorScale} * (from / static_cast<DWORD>(to) + 2);
    };
    return most_weight(rows.rows(), result.biHeight) * 0xFF <= 0xFFFF &&
           most_weight(rows.width(), result.biWidth) <= 0xFF00;
}

}  // namespace

BOOL DownsampleDib(const DibView& source, LONG source_resolution, LONG target_resolution, PackedDib& result,
                   Alpha alpha) {
    result.reset();
    const BITMAPINFOHEADER& header = *source.header;
    SampleRows rows;
    LONG width, height;
    if (!ScaledSize(header.biWidth, header.biHeight, source_resolution, target_resolution, &width, &height) ||
        !rows.open(source, alpha)) {
        return FALSE;
    }
    if (!make_result(source, rows, alpha, width, height, result)) {
        KV_TRACE(Image, Info, "%d x %d would not be smaller", static_cast<int>(width), static_cast<int>(height));
        return FALSE;
    }
    KV_ASSERT(width < header.biWidth && height < header.biHeight);
    const bool done =
        is_narrow(rows, result.header()) ? Averager<WORD>(rows, result).run() : Averager<DWORD>(rows, result).run();
    if (!done) result.reset();
    KV_TRACE(Image, Info, "from %d x %d at %d dpi to %d x %d%s", static_cast<int>(header.biWidth),
             static_cast<int>(header.biHeight), static_cast<int>(source_resolution), static_cast<int>(width),
             static_cast<int>(height), done ? "" : ": no memory, it stays as it is");
    return done;
}

}  // namespace kv

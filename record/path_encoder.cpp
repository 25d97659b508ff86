#include "record/path_encoder.h"

#include <algorithm>
#include <cstring>

#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

size_t count_size(uint64_t count) { return count < kFirstLongCount ? 1 : 3; }

BYTE* put_count(BYTE* at, size_t count) {
    KV_ASSERT(count <= kLargestCount);
    if (count < kFirstLongCount) {
        *at = static_cast<BYTE>(count);
        return at + 1;
    }
    *at = kLongCountMark;
    store_u16(at + 1, static_cast<uint16_t>(count));
    return at + 3;
}

POINTL to_pixel(const POINTFIX& point) { return {point.x >> 4, point.y >> 4}; }

// Decides point by point what a polyline keeps.
class Simplifier {
public:
    enum class Action { Skip, Append, ReplaceLast };

    Action next(const POINTL& point) {
        switch (state_) {
            case State::First:
                return turn_at(point);
            case State::Turned:
                if (same(point, anchor_)) return Action::Skip;
                if (point.x != anchor_.x && point.y != anchor_.y) return turn_at(point);
                state_ = State::Running;
                last_ = point;
                return Action::Append;
            case State::Running:
                if (same(point, last_)) return Action::Skip;
                if (!continues(point)) return turn_at(point);
                last_ = point;
                return Action::ReplaceLast;
        }
        return Action::Skip;
    }

private:
    enum class State { First, Turned, Running };

    static bool same(const POINTL& a, const POINTL& b) { return a.x == b.x && a.y == b.y; }
    bool continues(const POINTL& point) const {
        const bool vertical = anchor_.x == last_.x && last_.x == point.x;
        const bool horizontal = anchor_.y == last_.y && last_.y == point.y;
        return (vertical && (last_.y > anchor_.y) == (point.y > last_.y)) ||
               (horizontal && (last_.x > anchor_.x) == (point.x > last_.x));
    }
    Action turn_at(const POINTL& point) {
        anchor_ = point;
        state_ = State::Turned;
        return Action::Append;
    }

    State state_ = State::First;
    POINTL anchor_ = {}, last_ = {};
};

bool is_simplified(const PathBlock& block) { return !(block.flags & PD_BEZIERS) && block.points.size() >= 3; }

size_t simplified_count(std::span<const POINTFIX> points) {
    Simplifier simplifier;
    size_t count = 0;
    for (const POINTFIX& point : points) {
        if (simplifier.next(to_pixel(point)) == Simplifier::Action::Append) ++count;
    }
    return count;
}

// A whole figure of one pixel, of a polyline of so many points when simplified.
bool collapses(const PathBlock& block, size_t count) {
    constexpr FLONG kWhole = PD_BEGINSUBPATH | PD_ENDSUBPATH;
    return is_simplified(block) && count == 1 && (block.flags & kWhole) == kWhole;
}

// The body of a path as it grows.
class BodyWriter : public BlockSink {
public:
    BodyWriter(std::span<BYTE> body, bool wide, BYTE path_flags, PathParts* parts)
        : body_(body), point_size_(wide ? 8 : 4), parts_(parts) {
        fits_ = body.size() >= kEntriesAt;
        if (!fits_) return;
        body_[0] = path_flags;
        body_[1] = 0;
        used_ = kEntriesAt;
    }

    // False when the entry does not fit or is one too many, and when a part was not taken.
    bool take(const PathBlock& block) override {
        const bool simplified = is_simplified(block);
        const size_t count = simplified ? simplified_count(block.points) : block.points.size();
        if (collapses(block, count)) return true;
        const size_t size = 1 + count_size(count) + count * point_size_;
        if (!fits_) return false;
        if (block.flags & PD_BEGINSUBPATH) figure_at_ = used_, entries_before_ = entries_;
        if (entries_ == kLargestCount && !cut()) return fits_ = false;
        if (!count_entry() || size > body_.size() - used_) return fits_ = false;
        BYTE* at = body_.data() + used_;
        *at = static_cast<BYTE>(block.flags);
        at = put_count(at + 1, count);
        simplified ? put_simplified(at, block.points) : put_all(at, block.points);
        used_ += size;
        points_ += count;
        KV_ASSERT(used_ <= body_.size() && entries_ <= kLargestCount);
        largest_ = std::max(largest_, count);
        return true;
    }

    PathHead head() const { return {kind(), size(), 0}; }
    DWORD size() const { return entries_ ? static_cast<DWORD>(used_) : 0; }
    DWORD entries() const { return static_cast<DWORD>(entries_given_ + entries_); }
    uint64_t points() const { return points_; }
    DWORD largest() const { return static_cast<DWORD>(largest_); }

private:
    static constexpr size_t kEntriesAt = 2;  // path flags and a short count

    PathKind kind() const { return point_size_ == 8 ? PathKind::Path32 : PathKind::Path16; }

    // Gives away the entries before the current figure, which becomes the first one.
    bool cut() {
        if (!parts_ || entries_before_ == 0) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return KV_FAIL(Record, "more figures than one record counts") != FALSE;
        }
        // The entries stand behind a long count; a short one, and the flags, move up to them.
        const BYTE flags = body_[0];
        BYTE* part = body_.data() + (entries_before_ < kFirstLongCount ? 2 : 0);
        part[0] = flags;
        put_count(part + 1, entries_before_);
        const auto length = static_cast<DWORD>(body_.data() + figure_at_ - part);
        KV_ASSERT(entries_before_ < entries_ + 1 && figure_at_ <= used_);
        if (!parts_->add({{kind(), length, 0}, part})) return false;
        entries_given_ += entries_before_;
        entries_ -= entries_before_;
        const size_t left = used_ - figure_at_, at = 1 + count_size(entries_);
        std::memmove(body_.data() + at, body_.data() + figure_at_, left);
        body_[0] = flags;
        figure_at_ = at;
        entries_before_ = 0;
        used_ = at + left;
        return true;
    }

    bool count_entry() {
        if (++entries_ == kFirstLongCount) {  // the entries so far make room for the long form of the count
            if (body_.size() - used_ < 2) return false;
            std::memmove(body_.data() + kEntriesAt + 2, body_.data() + kEntriesAt, used_ - kEntriesAt);
            used_ += 2;
            figure_at_ += 2;
        }
        put_count(body_.data() + 1, entries_);
        return true;
    }

    BYTE* put_point(BYTE* at, const POINTL& point) const {
        if (point_size_ == 4) {
            store_u16(at, static_cast<uint16_t>(point.x));
            store_u16(at + 2, static_cast<uint16_t>(point.y));
        } else {
            store_u32(at, static_cast<uint32_t>(point.x));
            store_u32(at + 4, static_cast<uint32_t>(point.y));
        }
        return at + point_size_;
    }
    void put_all(BYTE* at, std::span<const POINTFIX> points) const {
        for (const POINTFIX& point : points) at = put_point(at, to_pixel(point));
    }
    void put_simplified(BYTE* at, std::span<const POINTFIX> points) const {
        Simplifier simplifier;
        for (const POINTFIX& point : points) {
            const POINTL pixel = to_pixel(point);
            const Simplifier::Action action = simplifier.next(pixel);
            if (action == Simplifier::Action::Append) at = put_point(at, pixel);
            if (action == Simplifier::Action::ReplaceLast) put_point(at - point_size_, pixel);
        }
    }

    std::span<BYTE> body_;
    size_t point_size_;
    PathParts* parts_;
    size_t used_ = 0, entries_ = 0, largest_ = 0;
    size_t figure_at_ = kEntriesAt, entries_before_ = 0;  // where the current figure begins
    size_t entries_given_ = 0;                            // in parts
    uint64_t points_ = 0;
    bool fits_ = true;
};

// The engine's bounds in pixels; one sixteenth of a pixel counts as a whole one.
RECTL engine_bounds(PATHOBJ* path) {
    RECTFX fixed = {};
    PATHOBJ_vGetBounds(path, &fixed);
    auto end = [](FIX low, FIX high) {
        const bool one_sixteenth = LONGLONG{high} - low == 1;
        return one_sixteenth ? (low >> 4) + 1 : high >> 4;
    };
    return {fixed.xLeft >> 4, fixed.yTop >> 4, end(fixed.xLeft, fixed.xRight), end(fixed.yTop, fixed.yBottom)};
}

void extend(RECTL& bounds, const POINTL& point) {
    bounds = {std::min(bounds.left, point.x), std::min(bounds.top, point.y), std::max(bounds.right, point.x),
              std::max(bounds.bottom, point.y)};
}

// A straight line has no area; it gets one pixel across.
RECTL with_line_width(RECTL bounds) {
    const bool no_width = bounds.left == bounds.right, no_height = bounds.top == bounds.bottom;
    if (no_width && !no_height) ++bounds.right;
    if (no_height && !no_width) ++bounds.bottom;
    return bounds;
}

class Measurer : public BlockSink {
public:
    explicit Measurer(PathMetrics& metrics) : metrics_(metrics) {}
    bool take(const PathBlock& block) override {
        const uint64_t count = block.points.size();
        ++metrics_.entries;
        metrics_.points += count;
        metrics_.largest_entry = std::max(metrics_.largest_entry, static_cast<DWORD>(count));
        metrics_.size32 += 1 + count_size(count) + 8 * count;
        if (block.flags & PD_BEGINSUBPATH) ++metrics_.figures;
        if (block.flags & PD_BEZIERS) metrics_.curves = true;
        for (const POINTFIX& point : block.points) extend(extent, to_pixel(point));
        return true;
    }
    RECTL extent = kEmptyRect;

private:
    PathMetrics& metrics_;
};

class KeptEntries : public BlockSink {
public:
    bool take(const PathBlock& block) override {
        if (!is_simplified(block) || !collapses(block, simplified_count(block.points))) ++count;
        return true;
    }
    uint64_t count = 0;
};

// Of the entries that the joiner makes.
uint64_t joined_size(const PathMetrics& metrics) {
    constexpr uint64_t kLargestEntryHead = 4, kFewestPoints = kLargestCount - 2;
    const bool area = metrics.use == PathUse::Area;
    const uint64_t points = (metrics.points + (area ? 2 * metrics.figures : 0)) * (metrics.curves ? 3 : 1);
    const uint64_t entries = points / kFewestPoints + (area ? 0 : metrics.figures) + 1;
    return 1 + 3 + 8 * points + kLargestEntryHead * entries;
}

bool write_joined(PATHOBJ* path, const PathMetrics& metrics, BodyWriter& body) {
    BlockJoiner joiner(metrics.use, metrics.curves, body);
    return joiner.alloc(static_cast<size_t>(metrics.figures)) && for_each_block(path, joiner) && joiner.finish();
}

}  // namespace

PathMetrics MeasurePath(PATHOBJ* path, PathUse use) {
    PathMetrics metrics;
    metrics.use = use;
    Measurer measurer(metrics);
    for_each_block(path, measurer);
    metrics.size32 += 1 + count_size(metrics.entries);
    if (metrics.entries > kLargestCount) {
        KeptEntries kept;
        for_each_block(path, kept);
        metrics.joined = kept.count > kLargestCount;
        if (metrics.joined) metrics.size32 = joined_size(metrics);
    }
    metrics.bounds = engine_bounds(path);
    if (!is_empty(metrics.bounds)) metrics.bounds = intersection(metrics.bounds, with_line_width(measurer.extent));
    metrics.wide = !fits_16_bits(metrics.bounds) || !fits_16_bits(measurer.extent);
    return metrics;
}

BOOL EncodePath(PATHOBJ* path, PathBuffer& buffer, PathMetrics& metrics, PathParts* parts) {
    if (KV_NEVER(!buffer)) return KV_FAIL(Record, "no buffer");
    buffer.clear_head();
    BodyWriter body(buffer.body(), metrics.wide, static_cast<BYTE>(path->fl & (PO_BEZIERS | PO_ELLIPSE)), parts);
    if (!(metrics.joined ? write_joined(path, metrics, body) : for_each_block(path, body))) {
        return KV_FAIL(Record, "a path of %u entries", static_cast<unsigned>(metrics.entries));
    }
    KV_ASSERT(body.size() <= buffer.body().size());
    buffer.head() = body.head();
    metrics.entries = body.entries();
    metrics.points = body.points();
    metrics.largest_entry = body.largest();
    return TRUE;
}

}  // namespace kv

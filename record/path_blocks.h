#pragma once
// The blocks in which the engine hands a path out, and the arrangement of many of them in few.

#include <span>

#include "platform/ddi.h"
#include "support/assert.h"
#include "support/memory.h"

namespace kv {

// Counts of the path format: a byte, or this mark and 16 bits.
inline constexpr size_t kFirstLongCount = 254, kLargestCount = 65535;
inline constexpr BYTE kLongCountMark = 0xFE;
static_assert(kLongCountMark == kFirstLongCount);

struct PathBlock {
    FLONG flags;  // PD_*
    std::span<const POINTFIX> points;
};

class BlockSink {
public:
    // False ends the enumeration.
    virtual bool take(const PathBlock& block) = 0;

protected:
    ~BlockSink() = default;
};

// Every block of a path. One that is too long for a count comes in pieces: the first keeps the begin of the figure,
// the last its end, and curves are cut between segments.
bool for_each_block(PATHOBJ* path, BlockSink& sink);

// What a path of very many blocks is for.
enum class PathUse {
    Lines,  // figures stay apart
    Area,   // all figures become one, closed, joined by lines that are run along in both directions: these cancel out
};

// Gives a path on in blocks as long as a count allows.
class BlockJoiner : public BlockSink {
public:
    // With curves, lines become curves too, so that all points of a figure stand together.
    BlockJoiner(PathUse use, bool curves, BlockSink& sink) : area_(use == PathUse::Area), curves_(curves), out_(sink) {}
    BOOL alloc(size_t figures);
    bool take(const PathBlock& block) override;
    bool finish();

private:
    bool begin_figure(const POINTFIX& start, FLONG flags);
    bool end_figure(FLONG flags);
    bool make_room(size_t points) { return count_ + points <= kLargestCount || give(0); }
    bool line_to(const POINTFIX& point);
    bool give(FLONG end_flags);
    void put(const POINTFIX& point) {
        KV_ASSERT(count_ < kLargestCount);
        points_[count_++] = last_ = point;
    }

    const bool area_, curves_;
    BlockSink& out_;
    HeapArray<POINTFIX> points_, starts_;
    size_t most_figures_ = 0;  // that starts_ has room for
    size_t count_ = 0, figures_ = 0;
    FLONG flags_ = 0;  // of the block that gathers
    bool open_ = false;
    POINTFIX last_ = {};
};

}  // namespace kv

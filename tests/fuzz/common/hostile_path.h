#pragma once
// A path of blocks that no engine makes: any flags, any number of points, bounds that are not theirs, and other blocks
// each time that they are asked for.

#include <optional>
#include <vector>

#include "engine/path.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {

class HostilePath : public PATHOBJ {
public:
    explicit HostilePath(FuzzInput& in);
    ~HostilePath();
    HostilePath(const HostilePath&) = delete;
    HostilePath& operator=(const HostilePath&) = delete;

    // Null for a path of the engine's.
    static HostilePath* of(PATHOBJ* path);
    void start_enumeration();
    bool next_block(PATHDATA& data);
    const RECTFX& bounds() const { return bounds_; }

private:
    struct Block {
        FLONG flags;
        std::vector<POINTFIX> points;
    };
    RECTFX bounds_ = {};
    std::vector<Block> blocks_;
    size_t next_ = 0, end_ = 0;
    bool grows_ = false;  // every enumeration has one block more
};

// A path as engines make them, or sometimes a hostile one.
class AnyPath {
public:
    explicit AnyPath(FuzzInput& in);
    PATHOBJ* get() { return hostile_ ? static_cast<PATHOBJ*>(&*hostile_) : &sane_; }
    bool is_hostile() const { return hostile_.has_value(); }

private:
    engine::Path sane_;
    std::optional<HostilePath> hostile_;
};

}  // namespace kv

#pragma once
// The encoded form of a path or rectangle list, shared by path drawing, clips and captured paths.

#include <cstdint>
#include <span>

#include "support/assert.h"
#include "support/memory.h"

namespace kv {

enum class PathKind : DWORD {
    Empty = 0,
    Path16 = 1,
    Path32 = 2,
    Rects16 = 3,  // u32 count, then the rectangles
    Rects32 = 4,
};

struct PathHead {
    PathKind kind;
    DWORD length;    // of the body, bytes
    DWORD identity;  // iUniq of the clip object that a cached clip came from, else 0
};
static_assert(sizeof(PathHead) == 12);

// A head and a body somewhere, not owned.
struct PathView {
    PathHead head = {};
    const BYTE* body = nullptr;

    bool same_shape(const PathView& other) const;
};

class PathBuffer {
public:
    // Room for a body of that many bytes; keeps the content and never shrinks. FALSE when memory is out.
    BOOL reserve(uint64_t body_bytes);
    size_t capacity() const { return capacity_; }
    void free();

    explicit operator bool() const { return static_cast<bool>(block_); }
    PathHead& head() {
        KV_ASSERT(block_);
        return *reinterpret_cast<PathHead*>(block_.get());
    }
    std::span<BYTE> body() { return {block_.get() + sizeof(PathHead), capacity_ - sizeof(PathHead)}; }
    PathView view() const {
        KV_ASSERT(block_ && capacity_ >= sizeof(PathHead));
        return {*reinterpret_cast<const PathHead*>(block_.get()), block_.get() + sizeof(PathHead)};
    }
    // FALSE when it does not fit.
    BOOL assign(const PathView& source);
    void clear_head() {
        if (block_) head() = {};
    }

private:
    HeapArray<BYTE> block_;
    size_t capacity_ = 0;  // bytes, head included
};

}  // namespace kv

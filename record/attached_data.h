#pragma once
// Names and values that an application attaches to the job. They wait for the trailer.

#include <span>
#include <utility>

#include "support/memory.h"

namespace kv {

// A list of blocks, the one attached last first. A block is a sequence of UTF-16 texts, each with its terminating 0, in
// pairs of name and value; an empty text ends it.
class AttachedData {
public:
    struct Block {
        Block* next;
        DWORD size;  // of the data, bytes
        const BYTE* data() const { return reinterpret_cast<const BYTE*>(this + 1); }
    };

    AttachedData() = default;
    AttachedData(AttachedData&& other) noexcept : first_(std::exchange(other.first_, nullptr)) {}
    AttachedData& operator=(AttachedData&& other) noexcept {
        std::swap(first_, other.first_);
        return *this;
    }
    ~AttachedData() { clear(); }

    // Copies the texts of an application, up to the empty one; what is not terminated ends with the bytes. TRUE
    // without a block when there is no text before the end, FALSE when memory is out.
    BOOL add(std::span<const BYTE> texts);
    const Block* first() const { return first_; }
    void clear();

private:
    Block* first_ = nullptr;
};

}  // namespace kv

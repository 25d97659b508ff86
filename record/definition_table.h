#pragma once
// The definitions of one kind that a job has: their identifiers, found by what they say.

#include <span>
#include <utility>

#include "support/assert.h"
#include "support/memory.h"

namespace kv {

// A hash table of contents, byte by byte, that grows as they come.
class DefinitionTable {
public:
    DefinitionTable() = default;
    DefinitionTable(DefinitionTable&& other) noexcept { swap(other); }
    DefinitionTable& operator=(DefinitionTable&& other) noexcept {
        swap(other);
        return *this;
    }
    ~DefinitionTable() { clear(); }

    bool any() const { return count_ != 0; }
    // The identifier of the definition of that content, or 0. named: the one that is likely it, compared first, which
    // is faster than hashing a content of megabytes; 0: none.
    DWORD find(std::span<const BYTE> content, DWORD named = 0) const;
    // Remembers a definition that is not in the table. The identifier, which does not move until the table is cleared
    // and may be given later where none is looked for by name; null when memory is out, and the definition is unknown.
    DWORD* add(std::span<const BYTE> content, DWORD id);
    void clear();

private:
    struct Node {
        Node *next, *next_named;
        size_t size;  // of the content behind the node, bytes
        DWORD hash;
        DWORD id;
        std::span<const BYTE> content() const { return {reinterpret_cast<const BYTE*>(this + 1), size}; }
    };
    // Where the nodes of a hash, and those of an identifier, begin.
    struct Bucket {
        Node *content, *named;
    };
    void swap(DefinitionTable& other);
    void grow();
    void link(Node* node);
    Bucket& bucket(DWORD number) const {
        KV_ASSERT(size_ != 0 && (size_ & (size_ - 1)) == 0);
        return buckets_[number & (size_ - 1)];
    }

    HeapArray<Bucket> buckets_;
    DWORD size_ = 0;  // a power of 2, or 0
    DWORD count_ = 0;
};

}  // namespace kv

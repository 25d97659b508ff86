#include "record/definition_table.h"

#include <algorithm>
#include <cstring>

#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

// Buckets. 4 KB for the first ones; 256 MB for the last, which no job of 2 GiB fills.
constexpr DWORD kFirst = 256, kLargest = 1u << 24;
static_assert((kFirst & (kFirst - 1)) == 0 && (kLargest & (kLargest - 1)) == 0, "a hash is masked, not divided");

// FNV-1a.
DWORD hash_of(std::span<const BYTE> content) {
    DWORD hash = 2166136261u;
    for (const BYTE byte : content) hash = (hash ^ byte) * 16777619u;
    return hash;
}

// Identifiers are positions and counts; neighbours come apart.
DWORD scattered(DWORD id) { return (id * 2654435761u) >> 8; }

}  // namespace

void DefinitionTable::swap(DefinitionTable& other) {
    std::swap(buckets_, other.buckets_);
    std::swap(size_, other.size_);
    std::swap(count_, other.count_);
}

DWORD DefinitionTable::find(std::span<const BYTE> content, DWORD named) const {
    if (count_ == 0) return 0;
    if (named) {
        for (const Node* node = bucket(scattered(named)).named; node; node = node->next_named) {
            if (node->id == named && std::ranges::equal(node->content(), content)) return named;
        }
    }
    const DWORD hash = hash_of(content);
    for (const Node* node = bucket(hash).content; node; node = node->next) {
        if (node->hash == hash && std::ranges::equal(node->content(), content)) return node->id;
    }
    return 0;
}

DWORD* DefinitionTable::add(std::span<const BYTE> content, DWORD id) {
    KV_ASSERT(!content.empty());
    if (count_ >= size_) grow();
    void* block = nullptr;
    if (size_ == 0 || !AllocMem(&block, sizeof(Node) + content.size(), false)) {
        KV_TRACE(Record, Warning, "definition %X stays unknown: no memory", static_cast<unsigned>(id));
        return nullptr;
    }
    auto* node = static_cast<Node*>(block);
    *node = {nullptr, nullptr, content.size(), hash_of(content), id};
    std::memcpy(node + 1, content.data(), content.size());
    link(node);
    ++count_;
    return &node->id;
}

void DefinitionTable::link(Node* node) {
    node->next = std::exchange(bucket(node->hash).content, node);
    node->next_named = std::exchange(bucket(scattered(node->id)).named, node);
}

// Without memory for more buckets the old ones go on.
void DefinitionTable::grow() {
    const DWORD old_size = size_;
    if (old_size >= kLargest) return;
    HeapArray<Bucket> larger;
    const DWORD wanted = old_size ? old_size * 2 : kFirst;
    if (!larger.alloc(wanted, kQuietly)) return;
    std::swap(buckets_, larger);
    size_ = wanted;
    for (DWORD i = 0; i < old_size; ++i) {
        for (Node* node = larger[i].content; node;) link(std::exchange(node, node->next));
    }
}

void DefinitionTable::clear() {
    for (DWORD i = 0; i < size_; ++i) {
        for (Node* node = buckets_[i].content; node;) FreeMem(std::exchange(node, node->next));
    }
    buckets_.reset();
    size_ = count_ = 0;
}

}  // namespace kv

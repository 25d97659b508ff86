#include "record/font_list.h"

#include <cstring>

#include "support/memory.h"
#include "support/process_state.h"

namespace kv {
namespace {

static_assert(sizeof(FontList::Definition) == sizeof(LOGFONTW) + sizeof(DWORD), "compared and hashed byte by byte");

DWORD hash_of(const FontList::Definition& definition) {
    DWORD hash = 2166136261u;  // FNV-1a
    const auto* at = reinterpret_cast<const BYTE*>(&definition);
    for (const BYTE* end = at + sizeof definition; at != end; ++at) hash = (hash ^ *at) * 16777619u;
    return hash;
}

}  // namespace

DWORD FontList::find(const Definition& definition) const {
    const DWORD hash = hash_of(definition);
    for (const Node* node = buckets_[hash % kBuckets]; node; node = node->next) {
        if (node->hash == hash && std::memcmp(&node->definition, &definition, sizeof definition) == 0) return node->id;
    }
    return 0;
}

void FontList::add(DWORD id, const Definition& definition) {
    void* block = nullptr;
    if (!AllocMem(&block, sizeof(Node), false)) return;
    auto* node = static_cast<Node*>(block);
    *node = {nullptr, id, hash_of(definition), definition};
    node->next = std::exchange(buckets_[node->hash % kBuckets], node);
}

void FontList::clear() {
    for (Node*& bucket : buckets_) {
        while (bucket) FreeMem(std::exchange(bucket, bucket->next));
    }
    document_ = 0;
}

DWORD FontList::document() {
    if (document_ == 0) document_ = process_state().document_ids.next();
    return document_;
}

}  // namespace kv

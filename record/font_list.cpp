#include "record/font_list.h"

#include <cstring>

#include "support/memory.h"
#include "support/process_state.h"

namespace kv {
namespace {

DWORD hash_of(const LOGFONTW& font) {
    DWORD hash = 2166136261u;  // FNV-1a
    const auto* at = reinterpret_cast<const BYTE*>(&font);
    for (const BYTE* end = at + sizeof font; at != end; ++at) hash = (hash ^ *at) * 16777619u;
    return hash;
}

}  // namespace

DWORD FontList::find(const LOGFONTW& font) const {
    const DWORD hash = hash_of(font);
    for (const Node* node = buckets_[hash % kBuckets]; node; node = node->next) {
        if (node->hash == hash && std::memcmp(&node->font, &font, sizeof font) == 0) return node->id;
    }
    return 0;
}

void FontList::add(DWORD id, const LOGFONTW& font) {
    void* block = nullptr;
    if (!AllocMem(&block, sizeof(Node), false)) return;
    auto* node = static_cast<Node*>(block);
    *node = {nullptr, id, hash_of(font), font};
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

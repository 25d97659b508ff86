#include "record/font_list.h"

#include <cstring>

#include "record/realized_font.h"
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

DWORD FontList::find(const RealizedFont& font, const FontIdentity* file) const {
    const DWORD hash = hash_of(font.font);
    for (const Node* node = buckets_[hash % kBuckets]; node; node = node->next) {
        if (node->hash == hash && node->file == file && std::memcmp(&node->font, &font.font, sizeof font.font) == 0) {
            return node->id;
        }
    }
    return 0;
}

void FontList::add(const RealizedFont& font, const FontIdentity* file) {
    void* block = nullptr;
    if (!AllocMem(&block, sizeof(Node), false)) return;
    auto* node = static_cast<Node*>(block);
    *node = {nullptr, font.id, hash_of(font.font), font.font, file};
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

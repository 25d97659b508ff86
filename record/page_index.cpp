#include "record/page_index.h"

#include "support/assert.h"
#include "support/memory.h"

namespace kv {
namespace {

CPageIndexBlock* new_block() {
    void* block = nullptr;
    AllocMem(&block, sizeof(CPageIndexBlock), true);
    return static_cast<CPageIndexBlock*>(block);
}

}  // namespace

BOOL PageIndex::start() {
    clear();
    first_ = last_ = new_block();
    return first_ != nullptr;
}

PageEntry* PageIndex::add() {
    if (!last_) return nullptr;
    if (last_->count == CPageIndexBlock::kCapacity) {
        CPageIndexBlock* block = new_block();
        if (!block) return nullptr;
        last_ = last_->next = block;
    }
    KV_ASSERT(last_->count < CPageIndexBlock::kCapacity && !last_->next);
    return current_ = &last_->entries[last_->count++];
}

void PageIndex::clear() {
    while (first_) FreeMem(std::exchange(first_, first_->next));
    last_ = nullptr;
    current_ = nullptr;
    KV_ASSERT(!first_);
}

}  // namespace kv

#include "record/attached_data.h"

#include <cstring>

#include "support/assert.h"
#include "support/file.h"
#include "support/little_endian.h"
#include "support/trace.h"

namespace kv {
namespace {

// Behind the application's bytes, so that an unfinished character, its text, a missing value and the sequence end.
constexpr size_t kPadding = 8;

// The bytes up to and with the terminating 0 of the text that ends the sequence: an empty name, or an empty value. 0
// when that is the first text. The padding holds the last one at the latest.
size_t length_of_texts(const BYTE* data) {
    size_t at = 0;
    for (;;) {
        const bool empty = load_u16(data + at) == 0;
        if (empty) return at == 0 ? 0 : at + sizeof(WCHAR);
        while (load_u16(data + at) != 0) at += sizeof(WCHAR);
        at += sizeof(WCHAR);
    }
}

}  // namespace

BOOL AttachedData::add(std::span<const BYTE> texts) {
    void* memory = nullptr;
    if (texts.size() > kLongestFile) return KV_FAIL(Record, "2 GiB and more");
    if (!AllocMem(&memory, sizeof(Block) + texts.size() + kPadding, true)) return FALSE;
    auto* block = static_cast<Block*>(memory);
    std::memcpy(block + 1, texts.data(), texts.size());
    block->size = static_cast<DWORD>(length_of_texts(block->data()));
    if (block->size == 0) {
        FreeMem(block);
        return TRUE;
    }
    KV_TRACE(Record, Info, "%u of %u bytes", static_cast<unsigned>(block->size), static_cast<unsigned>(texts.size()));
    KV_ASSERT(block->size % sizeof(WCHAR) == 0 && block->size <= texts.size() + kPadding);
    block->next = std::exchange(first_, block);
    return TRUE;
}

void AttachedData::clear() {
    while (first_) FreeMem(std::exchange(first_, first_->next));
}

}  // namespace kv

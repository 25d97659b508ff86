#include "record/captured_path.h"

#include <cstring>

#include "support/assert.h"
#include "support/little_endian.h"

namespace kv {
namespace {

// A count of the path format, and the place behind it.
DWORD read_count(BYTE*& at) {
    if (*at != kLongCountMark) return *at++;
    const DWORD count = load_u16(at + 1);
    at += 3;
    return count;
}

}  // namespace

BOOL CapturedPath::capture(PATHOBJ* source) {
    metrics_ = MeasurePath(source);
    return last_.reserve(metrics_.size32) && EncodePath(source, last_, metrics_, this);
}

BOOL CapturedPath::add(const PathView& part) {
    void* block = nullptr;
    if (!AllocMem(&block, sizeof(Part) + part.head.length, false)) return FALSE;
    auto* copy = static_cast<Part*>(block);
    copy->next = nullptr;
    copy->head = part.head;
    std::memcpy(copy + 1, part.body, part.head.length);
    *end_ = copy;
    end_ = &copy->next;
    return TRUE;
}

BYTE& CapturedPath::last_entry_flags() {
    KV_ASSERT(!is_empty());
    const size_t point_size = is_wide() ? 8 : 4;
    BYTE* at = last_.body().data() + 1;
    BYTE* last = at;
    for (DWORD left = read_count(at); left > 0; --left) {
        last = at++;
        const DWORD points = read_count(at);
        at += points * point_size;
    }
    KV_ASSERT(at == last_.body().data() + last_.view().head.length);
    return *last;
}

void CapturedPath::use_up() {
    clear_parts();
    last_.clear_head();
}

void CapturedPath::clear_parts() {
    while (first_) FreeMem(std::exchange(first_, first_->next));
    end_ = &first_;
}

}  // namespace kv

#include "record/path_buffer.h"

#include <algorithm>
#include <cstring>

#include "record/path_state.h"
#include "support/assert.h"
#include "support/file.h"
#include "support/trace.h"

namespace kv {

bool PathView::same_shape(const PathView& other) const {
    return head.kind == other.head.kind && head.length == other.head.length &&
           (body == other.body || head.length == 0 || std::memcmp(body, other.body, head.length) == 0);
}

BOOL PathBuffer::reserve(uint64_t body_bytes) {
    if (body_bytes > kLongestFile) {  // no record could hold it
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return KV_FAIL(Record, "a path of 2 GiB");
    }
    const size_t wanted = static_cast<size_t>(body_bytes) + sizeof(PathHead);
    if (wanted <= capacity_) return TRUE;
    HeapArray<BYTE> larger;
    if (!larger.alloc(wanted)) return FALSE;
    if (block_) std::memcpy(larger.get(), block_.get(), capacity_);
    block_ = std::move(larger);
    capacity_ = wanted;
    return TRUE;
}

void PathBuffer::free() {
    block_.reset();
    capacity_ = 0;
}

BOOL PathBuffer::assign(const PathView& source) {
    if (KV_NEVER(source.head.length > body().size())) return KV_FAIL(Record, "a path that does not fit");
    head() = source.head;
    if (source.head.length > 0) std::memmove(body().data(), source.body, source.head.length);
    return TRUE;
}

BOOL PathState::reserve_paths(uint64_t body_bytes) {
    return drawing_path.reserve(body_bytes) && current_clip.reserve(body_bytes) && cached_clip.reserve(body_bytes);
}

}  // namespace kv

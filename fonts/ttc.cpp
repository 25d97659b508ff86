#include "fonts/ttc.h"

#include <algorithm>
#include <new>

#include "fonts/font_file.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {

void CTtc::reset() {
    bytes_ = {};
    count_ = constructed_ = cursor_ = 0;
    members_ = nullptr;
}

void CTtc::release() {
    while (constructed_) members_[--constructed_].~CTtf();
    FreeMem(std::exchange(members_, nullptr));
    count_ = cursor_ = 0;
}

BOOL CTtc::load_from_file(const WCHAR* path) {
    release();
    reset();
    buffer_.free();
    if (!read_font_file(path, buffer_)) return FALSE;
    bytes_ = {buffer_.data(), buffer_.used()};
    Split();
    return TRUE;
}

BOOL CTtc::set_data(BYTE* bytes, DWORD size) {
    release();
    reset();
    buffer_.free();
    if (!bytes || size == 0) return FALSE;
    bytes_ = {bytes, size};
    Split();
    return TRUE;
}

BOOL CTtc::Split() {
    release();
    if (!begins_with(bytes_, tag("ttcf"))) return KV_FAIL(Fonts, "no collection");
    const CollectionHeader header(bytes_);
    if (header.count() != header.declared() || header.count() > kMostMembers) {
        return KV_FAIL(Fonts, "%u members", static_cast<unsigned>(header.declared()));
    }
    if (header.count() == 0) return TRUE;
    void* block = nullptr;
    if (!AllocMem(&block, header.count() * sizeof(CTtf), false, TEXT("CTtc::Split"))) return FALSE;
    budget_ = ReadBudget(bytes_.size() + kFreeBudget);
    members_ = static_cast<CTtf*>(block);
    for (; constructed_ < header.count(); ++constructed_) new (members_ + constructed_) CTtf();
    KV_ASSERT(constructed_ == header.count() && count_ == 0);
    for (DWORD i = 0; i < header.count(); ++i) {
        if (!split_member(header, i)) return FALSE;
    }
    count_ = header.count();
    return TRUE;
}

BOOL CTtc::split_member(const CollectionHeader& header, DWORD index) {
    const DWORD offset = header.offset(index);
    if (offset == 0 || offset >= bytes_.size()) {
        return KV_FAIL(Fonts, "member %u at %u", static_cast<unsigned>(index), static_cast<unsigned>(offset));
    }
    // A directory is rewritten once, and only where it has its bytes for itself: not within the header or beyond the
    // start of another one.
    bool rewritten = offset < header.size();
    size_t end = bytes_.size();
    for (DWORD i = 0; i < header.count(); ++i) {
        const DWORD other = header.offset(i);
        if (other == offset && i < index) rewritten = true;
        if (other > offset && other < end) end = other;
    }
    if (!rewritten) make_relative(bytes_.subspan(offset, end - offset), offset);
    KV_ASSERT(offset < end && end <= bytes_.size());
    CTtf& member = members_[index];
    if (!member.SetFontData(bytes_.data() + offset, static_cast<DWORD>(bytes_.size() - offset), FALSE, offset)) {
        return FALSE;
    }
    member.share_budget(&budget_);
    return TRUE;
}

CTtf* CTtc::first_member() {
    cursor_ = 0;
    return next_member();
}

CTtf* CTtc::next_member() {
    KV_ASSERT(count_ <= constructed_ && cursor_ <= count_);
    return cursor_ < count_ ? &members_[cursor_++] : nullptr;
}

}  // namespace kv

#include "fonts/full_name_reader.h"

#include <algorithm>
#include <new>

#include "support/assert.h"

namespace kv {

void CTtfFullNameReader::Reset() {
    free_names();
    CTtf::Reset();
}

void CTtfFullNameReader::release() {
    free_names();
    CTtf::release();
}

void CTtfFullNameReader::free_names() {
    for (DWORD i = 0; i < count_; ++i) FreeMem(names_[i].text);
    names_.reset();
    count_ = capacity_ = counted_ = 0;
    collecting_ = false;
}

bool CTtfFullNameReader::WantTable(DWORD table_tag) const {
    return table_tag == tag("name") || table_tag == tag("cmap");
}

BOOL CTtfFullNameReader::ParseFont() {
    put_cmap_before_name();
    return CTtf::ParseFont();
}

void CTtfFullNameReader::put_cmap_before_name() {
    if (begins_with(image(), tag("ttcf"))) return;
    const SfntDirectory directory(image(), directory_order());
    const DWORD none = directory.count();
    DWORD cmap = none, name = none;
    for (DWORD i = 0; i < directory.count(); ++i) {
        const DWORD found = directory.entry(i).tag;
        if (found == tag("cmap") && cmap == none) cmap = i;
        if (found == tag("name") && name == none) name = i;
    }
    if (cmap == none || name == none || cmap < name) return;
    BYTE* entries = image().data() + SfntDirectory::kHeaderSize;
    KV_ASSERT(name < cmap && SfntDirectory::kHeaderSize + (cmap + 1) * SfntDirectory::kEntrySize <= image().size());
    std::swap_ranges(entries + cmap * SfntDirectory::kEntrySize, entries + (cmap + 1) * SfntDirectory::kEntrySize,
                     entries + name * SfntDirectory::kEntrySize);
}

BOOL CTtfFullNameReader::OnNameRecord(const NameRecord& record, const NameText& text, LANGID language) {
    if (!CTtf::OnNameRecord(record, text, language)) return FALSE;
    if (record.name != kNameFull || record.platform != kPlatformWindows || !found_.windows.present ||
        record.encoding != found_.windows.encoding) {
        return TRUE;
    }
    if (collecting_) return collect(text);
    ++counted_;
    return TRUE;
}

BOOL CTtfFullNameReader::collect(const NameText& text) {
    if (count_ == capacity_) return TRUE;
    NameText copy;
    if (!copy.assign(text) || !copy.ensure_wide()) return FALSE;
    if (!copy.wide()) return TRUE;
    KV_ASSERT(count_ < capacity_ && !names_[count_].text);
    names_[count_].order = count_;
    names_[count_].text = copy.take_wide().release();
    ++count_;
    return TRUE;
}

BOOL CTtfFullNameReader::ParseName(CTtfTable* table) {
    free_names();
    if (!CTtf::ParseName(table)) return FALSE;
    if (counted_ == 0) return TRUE;
    if (!names_.alloc(size_t{counted_} + 1, kQuietly)) return FALSE;
    capacity_ = counted_;
    collecting_ = true;
    const BOOL parsed = CTtf::ParseName(table);
    sort_names();
    return parsed;
}

// Of names that differ in nothing but letter case the first one stays.
void CTtfFullNameReader::sort_names() {
    const auto less = [](const FullName& a, const FullName& b) {
        const int order = compare_text_ignoring_case(a.text, b.text);
        return order ? order < 0 : a.order < b.order;
    };
    std::sort(names_.get(), names_.get() + count_, less);
    DWORD kept = 0;
    for (DWORD i = 0; i < count_; ++i) {
        if (kept && same_text_ignoring_case(names_[kept - 1].text, names_[i].text)) {
            FreeMem(names_[i].text);
        } else {
            names_[kept++] = names_[i];
        }
    }
    count_ = kept;
    KV_ASSERT(count_ <= capacity_);
}

}  // namespace kv

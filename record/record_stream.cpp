// Records of a document.

#include <algorithm>

#include "record/document.h"
#include "record/record_types.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {

// Before every header: what is held back comes first, and the statistics and the page know of the record.
BOOL Document::prepare_record(BYTE type, DWORD counted_length) {
    if (failed) return KV_FAIL(Record, "type %u: the document has failed", type);
    KV_ASSERT(!compressing);
    if (!pending.flush(*this) || !make_record_room()) {
        SetFailed();
        return FALSE;
    }
    statistics.largest_record = std::max(statistics.largest_record, counted_length);
    if (kRecordAttributes[type] & kAttributeMarks) mark_page(kPageHasMarks);
    KV_TRACE(Record, Record, "type %u at %u", type, static_cast<unsigned>(position));
    return TRUE;
}

BOOL Document::BeginRecord(BYTE type, DWORD length, BOOL allow_compress) {
    const bool compressed = length >= kLongLength && allow_compress && (settings.kv.Compression & kCompressRecords);
    if (!prepare_record(type, compressed ? 0 : length)) return FALSE;
    return compressed ? put_compressed_header(type) : put_header(type, length);
}

BOOL Document::BeginSizedRecord(BYTE type, BYTE kind, DWORD* length_position) {
    KV_ASSERT(length_position);
    return prepare_record(type, 0) && put_sized_header(type, kind, length_position);
}

BOOL Document::WriteRecord(BYTE type, DWORD length, const void* data) {
    return BeginRecord(type, length, TRUE) && WriteBytes(data, length) && EndRecord();
}

BOOL Document::WriteEmptyRecord(BYTE type) { return prepare_record(type, 0) && put_header(type, 0) && EndRecord(); }

BOOL Document::WriteTextRecord(BYTE type, const WCHAR* text) {
    return WriteRecord(type, static_cast<DWORD>((text_length(text) + 1) * sizeof(WCHAR)), text);
}

BOOL Document::WriteStringRecord(BYTE type, const char* text) {
    PathText wide;
    to_wide(wide.data(), wide.capacity(), text);
    return WriteTextRecord(type, wide.c_str());
}

DWORD Document::new_identifier(IdCounter& counter) const {
    const DWORD id = position < kPositionIdentifier ? position | kPositionIdentifier : counter.next();
    KV_ASSERT(id != 0 && id < 2 * kPositionIdentifier);  // above lie stock brushes and solid colours
    return id;
}

}  // namespace kv

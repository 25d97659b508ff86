// The record stream of a job file.

#include <algorithm>
#include <cstring>

#include "driver/pdevice.h"
#include "record/record_types.h"
#include "support/little_endian.h"
#include "support/message.h"

namespace kv {
namespace {

// What the byte behind the type says when it is not a length.
enum : BYTE { kLength16 = 0xFE, kLengthKind = 0xFF };
enum : BYTE { kKindPlain = 0, kKindCompressed = 2 };
constexpr DWORD kLongLength = 254;

constexpr DWORD kMaxPosition = 0x7FFFFFFF;  // positions are signed 32-bit in the file layer
// The tail of a job, bytes. A record that begins has so much room in it at least: shorter ones are patched in memory,
// and the file is spared the seeks that would end its buffering.
constexpr DWORD kTailSize = 256 * 1024, kRecordRoom = 32 * 1024;
constexpr UINT kMessageWrite = 12160;

void put_header(ByteWriter& out, BYTE type, DWORD length) {
    out.u8(type);
    if (length < kLongLength) {
        out.u8(length);
    } else if (length <= 0xFFFF) {
        out.u8(kLength16);
        out.u16(length);
    } else {
        out.u8(kLengthKind);
        out.u8(kKindPlain);
        out.u32(length);
    }
}

}  // namespace

BOOL PDEVICE::has_room(DWORD length) const {
    if (length <= kMaxPosition - position) return TRUE;
    report_file_error(kMessageWrite, job ? job->GetName() : TEXT(""), ERROR_FILE_TOO_LARGE);
    SetLastError(ERROR_FILE_TOO_LARGE);
    return FALSE;
}

// Without memory for a tail every write goes to the file.
void PDEVICE::start_tail() {
    tail.alloc(kTailSize, nullptr);
    tail_used = 0;
}

BOOL PDEVICE::flush_tail() {
    if (job && job->Write(tail.get(), std::exchange(tail_used, 0))) return TRUE;
    SetFailed();
    return FALSE;
}

BOOL PDEVICE::append_to_file(const void* data, DWORD length) {
    const DWORD size = tail ? kTailSize : 0;
    if (length > size - tail_used && !flush_tail()) return FALSE;
    if (length > size) return job->Write(data, length);
    std::memcpy(tail.get() + tail_used, data, length);
    tail_used += length;
    return TRUE;
}

BOOL PDEVICE::write_to_file(const void* data, DWORD length) {
    if (failed || !job || !has_room(length) || !append_to_file(data, length)) {
        SetFailed();
        return FALSE;
    }
    position += length;
    return TRUE;
}

BOOL PDEVICE::WriteBytes(const void* data, DWORD length) {
    if (failed) return FALSE;
    if (length == 0) return TRUE;
    if (data && (compressing ? deflater->write(*this, data, length) : write_to_file(data, length))) return TRUE;
    SetFailed();
    return FALSE;
}

BOOL PDEVICE::WriteBits(const void* data, DWORD length) {
    const BYTE* bytes = static_cast<const BYTE*>(data);
    if (!bytes) return WriteBytes(data, length);
    for (DWORD done = 0; done < length;) {
        const DWORD piece = std::min(length - done, scratch_size);
        if (piece == 0) return FALSE;
        std::copy_n(bytes + done, piece, scratch.get());
        if (!WriteBytes(scratch.get(), piece)) return FALSE;
        done += piece;
    }
    return !failed;
}

BOOL PDEVICE::begin_header(BYTE type, DWORD counted_length) {
    if (failed) return FALSE;
    if (!pending.flush(*this) || (tail_used > kTailSize - kRecordRoom && !flush_tail())) {
        SetFailed();
        return FALSE;
    }
    statistics.largest_record = std::max(statistics.largest_record, counted_length);
    if (kRecordAttributes[type] & kAttributeMarks) mark_page(kPageHasMarks);
    return TRUE;
}

BOOL PDEVICE::begin_compressed(BYTE type) {
    if (!BeginSizedRecord(type, kKindCompressed, &lengths_position)) return FALSE;
    if (!deflater) deflater.reset(make_object<DeflateStream>());
    compressing = deflater && deflater->begin();
    if (!compressing) SetFailed();
    return compressing;
}

BOOL PDEVICE::BeginRecord(BYTE type, DWORD length, BOOL allow_compress) {
    if (length >= kLongLength && allow_compress && (settings.kv.Compression & kCompressRecords)) {
        return begin_compressed(type);
    }
    if (!begin_header(type, length)) return FALSE;
    BYTE header[7];
    ByteWriter out(header);
    put_header(out, type, length);
    return WriteBytes(out.data(), static_cast<DWORD>(out.size()));
}

BOOL PDEVICE::EndRecord() {
    if (!compressing) return TRUE;
    compressing = false;
    if (!failed && deflater->finish(*this) && PatchU32(lengths_position, deflater->total_out()) &&
        PatchU32(lengths_position + 4, deflater->total_in())) {
        return TRUE;
    }
    SetFailed();
    return FALSE;
}

BOOL PDEVICE::WriteRecord(BYTE type, DWORD length, const void* data) {
    return BeginRecord(type, length, TRUE) && WriteBytes(data, length) && EndRecord();
}

BOOL PDEVICE::WriteEmptyRecord(BYTE type) {
    const BYTE header[2] = {type, 0};
    return begin_header(type, 0) && WriteBytes(header, sizeof header) && EndRecord();
}

BOOL PDEVICE::BeginSizedRecord(BYTE type, BYTE kind, DWORD* length_position) {
    if (!begin_header(type, 0)) return FALSE;
    const BYTE header[3] = {type, kLengthKind, kind};
    const BYTE lengths[8] = {};
    if (!WriteBytes(header, sizeof header)) return FALSE;
    *length_position = position;
    return WriteBytes(lengths, kind == kKindPlain ? 4 : 8);
}

BOOL PDEVICE::PatchU32(DWORD at, DWORD value) {
    BYTE bytes[4];
    store_u32(bytes, value);
    const DWORD from_end = position - at;
    if (!failed && from_end >= sizeof bytes && from_end <= tail_used) {
        std::memcpy(tail.get() + (tail_used - from_end), bytes, sizeof bytes);
        return TRUE;
    }
    if (!failed && job && job->push_position()) {
        const BOOL written = job->Seek(static_cast<LONG>(at)) && job->Write(bytes, sizeof bytes);
        if (job->pop_position() && written) return TRUE;
    }
    SetFailed();
    return FALSE;
}

BOOL PDEVICE::WriteTextRecord(BYTE type, const WCHAR* text) {
    return WriteRecord(type, static_cast<DWORD>((text_length(text) + 1) * sizeof(WCHAR)), text);
}

BOOL PDEVICE::WriteStringRecord(BYTE type, const char* text) {
    PathText wide;
    to_wide(wide.data(), wide.capacity(), text);
    return WriteTextRecord(type, wide.c_str());
}

DWORD PDEVICE::new_identifier(IdCounter& counter) const {
    return position < kPositionIdentifier ? position | kPositionIdentifier : counter.next();
}

BOOL PDEVICE::reserve_paths(uint64_t body_bytes) {
    return drawing_path.reserve(body_bytes) && current_clip.reserve(body_bytes) && cached_clip.reserve(body_bytes);
}

void PDEVICE::note_largest_entry(DWORD points) {
    statistics.largest_entry = std::max(statistics.largest_entry, points);
}

void PDEVICE::mark_page(BYTE flag) {
    if (PageEntry* page = pages.current()) page->flags = static_cast<BYTE>(page->flags | flag);
}

}  // namespace kv

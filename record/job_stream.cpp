#include "record/job_stream.h"

#include <algorithm>
#include <cstring>

#include "support/assert.h"
#include "support/little_endian.h"
#include "support/message.h"
#include "support/trace.h"

namespace kv {
namespace {

// What the byte behind the type says when it is not a length.
enum : BYTE { kLength16 = 0xFE, kLengthKind = 0xFF };
static_assert(kLength16 == kLongLength, "the first length that the byte cannot say");
enum : BYTE { kKindPlain = 0, kKindCompressed = 2 };

// The tail of a job, bytes. A record that begins has so much room in it at least: shorter ones are patched in memory,
// and the file is spared the seeks that would end its buffering.
constexpr DWORD kTailSize = 256 * 1024, kRecordRoom = 32 * 1024;
static_assert(kRecordRoom < kTailSize);
// A compressed record that does not leave the compressor's buffer is patched in memory: type, kind and two lengths
// stand before it.
static_assert(DeflateStream::kBufferSize + 11 <= kRecordRoom);

}  // namespace

void JobStream::SetFailed(const char* step) {
    if (failed) return;
    failed = 1;
    cause = {step, GetLastError(), position};
    if (!tracing(TraceComponent::Record, TraceLevel::Error)) return;
    trace_failure(TraceComponent::Record, step, "the document failed at position %u", static_cast<unsigned>(position));
}

BOOL JobStream::has_room(uint64_t length) const {
    if (length <= kLongestFile - position) return TRUE;
    report_file_error(kMessageWrite, job ? job->GetName() : TEXT(""), ERROR_FILE_TOO_LARGE);
    SetLastError(ERROR_FILE_TOO_LARGE);
    return KV_FAIL(Record, "no room for %u KiB at position %u", static_cast<unsigned>(length >> 10),
                   static_cast<unsigned>(position));
}

// Without memory for a tail every write goes to the file.
void JobStream::start_tail() {
    KV_ASSERT(job && tail_used == 0);
    if (!tail.alloc(kTailSize, nullptr)) KV_TRACE(Record, Warning, "no tail: every write goes to the file");
    tail_used = 0;
}

BOOL JobStream::flush_tail() {
    if (job && job->Write(tail.get(), std::exchange(tail_used, 0))) return TRUE;
    SetFailed();
    return FALSE;
}

BOOL JobStream::append_to_file(const void* data, DWORD length) {
    const DWORD size = tail ? kTailSize : 0;
    KV_ASSERT(tail_used <= size && position >= tail_used);
    if (length > size - tail_used && !flush_tail()) return FALSE;
    if (length > size) return job->Write(data, length);
    std::memcpy(tail.get() + tail_used, data, length);
    tail_used += length;
    return TRUE;
}

BOOL JobStream::write_to_file(const void* data, DWORD length) {
    if (failed || !job || !has_room(length) || !append_to_file(data, length)) {
        SetFailed();
        return FALSE;
    }
    position += length;
    KV_ASSERT(position <= kLongestFile);
    return TRUE;
}

BOOL JobStream::WriteBytes(const void* data, DWORD length) {
    if (failed) return FALSE;
    if (length == 0) return TRUE;
    if (!data)
        KV_FAIL(Record, "%u bytes of nothing at position %u", static_cast<unsigned>(length),
                static_cast<unsigned>(position));
    if (data && (compressing ? deflater->write(*this, data, length) : write_to_file(data, length))) return TRUE;
    SetFailed();
    return FALSE;
}

BOOL JobStream::WriteBits(const void* data, DWORD length) {
    const BYTE* bytes = static_cast<const BYTE*>(data);
    if (!bytes) return WriteBytes(data, length);
    for (DWORD done = 0; done < length;) {
        const DWORD piece = std::min(length - done, scratch_size);
        if (KV_NEVER(piece == 0)) return KV_FAIL(Record, "no scratch memory");
        std::copy_n(bytes + done, piece, scratch.get());
        if (!WriteBytes(scratch.get(), piece)) return FALSE;
        done += piece;
    }
    return !failed;
}

BOOL JobStream::make_record_room() { return tail_used <= kTailSize - kRecordRoom || flush_tail(); }

BOOL JobStream::put_header(BYTE type, DWORD length) {
    BYTE header[7];
    ByteWriter out(header);
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
    KV_ASSERT(!compressing && !out.overflowed());
    return WriteBytes(out.data(), static_cast<DWORD>(out.size()));
}

BOOL JobStream::put_sized_header(BYTE type, BYTE kind, DWORD* length_position) {
    KV_ASSERT(!compressing && (kind == kKindPlain || kind == kKindCompressed));
    const BYTE header[3] = {type, kLengthKind, kind};
    const BYTE lengths[8] = {};
    if (!WriteBytes(header, sizeof header)) return FALSE;
    *length_position = position;
    return WriteBytes(lengths, kind == kKindPlain ? 4 : 8);
}

BOOL JobStream::put_compressed_header(BYTE type) {
    KV_ASSERT(!compressing);
    if (!put_sized_header(type, kKindCompressed, &lengths_position)) return FALSE;
    if (!deflater) deflater.reset(make_object<DeflateStream>());
    compressing = deflater && deflater->begin();
    if (!compressing) SetFailed();
    return compressing;
}

BOOL JobStream::EndRecord() {
    if (!compressing) return TRUE;
    KV_ASSERT(deflater);
    compressing = false;
    if (!failed && deflater->finish(*this) && PatchU32(lengths_position, deflater->total_out()) &&
        PatchU32(lengths_position + 4, deflater->total_in())) {
        return TRUE;
    }
    SetFailed();
    return FALSE;
}

BOOL JobStream::PatchU32(DWORD at, DWORD value) {
    BYTE bytes[4];
    store_u32(bytes, value);
    const DWORD from_end = position - at;
    KV_ASSERT(failed || (at <= position && from_end >= sizeof bytes));
    if (!failed && from_end >= sizeof bytes && from_end <= tail_used) {
        std::memcpy(tail.get() + (tail_used - from_end), bytes, sizeof bytes);
        return TRUE;
    }
    KV_TRACE(Record, Info, "position %u is out of the tail: the file is sought", static_cast<unsigned>(at));
    if (!failed && job && job->push_position()) {
        const BOOL written = job->Seek(static_cast<LONG>(at)) && job->Write(bytes, sizeof bytes);
        if (job->pop_position() && written) return TRUE;
    }
    SetFailed();
    return FALSE;
}

void JobStream::note_largest_entry(DWORD points) {
    statistics.largest_entry = std::max(statistics.largest_entry, points);
}

}  // namespace kv

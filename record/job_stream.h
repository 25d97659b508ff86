#pragma once
// The stream of a job file: bytes and record framing over the file, with its failure. It knows no page and nothing that
// is held back; Document begins records on it.

#include "record/deflate_stream.h"
#include "support/file.h"
#include "support/memory.h"
#include "support/text.h"

namespace kv {

// In the order of the job's summary.
struct JobStatistics {
    DWORD largest_record = 0;  // payload, bytes
    DWORD brushes = 0, fonts = 0, font_files = 0;
    DWORD largest_entry = 0;  // points of one path entry
    DWORD largest_clip_rects = 0;
};

// What failed a document first.
struct FailureCause {
    const char* step = nullptr;  // the function, null while nothing failed
    DWORD error = 0;             // its last error
    DWORD position = 0;          // of the job file, bytes
};

struct JobStream {
    DWORD failed = 0;    // a recording step failed: nothing is written until the document ends
    FailureCause cause;  // of `failed`
    DWORD position = 0;  // bytes of the job so far
    JobStatistics statistics;
    ObjectPtr<File> job;
    HeapArray<BYTE> tail;  // the job's last bytes, which the file has not got yet
    DWORD tail_used = 0;
    HeapArray<BYTE> scratch;
    DWORD scratch_size = 0;
    ObjectPtr<DeflateStream> deflater;
    bool compressing = false;    // a compressed record is open
    DWORD lengths_position = 0;  // of its two length fields

    // Keeps the first cause until the document ends. step: the calling function.
    void SetFailed(const char* step = __builtin_FUNCTION());

    // Lengths are bytes; every failed write fails the document.
    BOOL WriteBytes(const void* data, DWORD length);
    BOOL WriteBits(const void* data, DWORD length);
    // Finishes a compressed record and patches its lengths; TRUE where none is open.
    BOOL EndRecord();
    BOOL PatchU32(DWORD at, DWORD value);
    // Past an open compressed record. Small writes gather in the job's tail.
    BOOL write_to_file(const void* data, DWORD length);
    // What the tail holds goes to the file.
    BOOL flush_tail();
    // FALSE, and the user is told, when a job that is so many bytes longer would be too long for its positions.
    BOOL has_room(uint64_t length) const;

    void note_largest_entry(DWORD points);

protected:
    // Of a job file that was just made.
    void start_tail();
    // Room in the tail for the record that begins, so that what is patched in a short one lies in memory.
    BOOL make_record_room();
    // The header of a record. Whoever begins it has written what is held back.
    BOOL put_header(BYTE type, DWORD length);
    BOOL put_sized_header(BYTE type, BYTE kind, DWORD* length_position);
    BOOL put_compressed_header(BYTE type);

private:
    BOOL append_to_file(const void* data, DWORD length);
};

// Payloads of this length and more can be compressed.
inline constexpr DWORD kLongLength = 254;

}  // namespace kv

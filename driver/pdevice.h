#pragma once
// The device that the graphics engine draws on: the state of the document being recorded, and the settings and
// handles of this device. The document's half moves to another device when the application changes the device mode
// between pages.

#include <source_location>

#include "dispatch/dispatcher.h"
#include "platform/ddi.h"
#include "record/attached_data.h"
#include "record/brush.h"
#include "record/captured_path.h"
#include "record/deflate_stream.h"
#include "record/draw_state.h"
#include "record/font_identity.h"
#include "record/font_list.h"
#include "record/page_index.h"
#include "record/path_buffer.h"
#include "record/pending_draw.h"
#include "record/text_state.h"
#include "settings/device_mode.h"
#include "support/file.h"
#include "support/process_state.h"
#include "support/text.h"

namespace kv {

inline constexpr WORD kDeviceSignature = 0x564B;  // "KV"

// Document flags of the job's summary.
enum : DWORD { kDocumentSmall = 0x01, kDocumentNamesTray = 0x04 };

// In the order of the job's summary.
struct JobStatistics {
    DWORD largest_record = 0;  // payload, bytes
    DWORD brushes = 0, fonts = 0, font_files = 0;
    DWORD largest_entry = 0;  // points of one path entry
    DWORD largest_clip_rects = 0;
};

struct DocumentState {
    WORD signature = kDeviceSignature;
    DWORD failed = 0;         // a recording step failed: nothing is written until the document ends
    DWORD document_open = 0;  // 1 between the start and the end of a document
    DWORD page_start = 0;     // position behind the open page's start record, 0 outside pages
    DWORD job_id = 0;         // the spooler's, 0 once the job is handed on
    DWORD page_count = 0;
    DWORD start_tick = 0;
    RECTL surface_rect = {};
    RECTL page_marks = kEmptyRect, portrait_marks = kEmptyRect, landscape_marks = kEmptyRect;
    DWORD position = 0;  // bytes of the job so far
    CPendingDraw pending;
    DWORD document_flags = 0;
    JobStatistics statistics;

    PathBuffer drawing_path, current_clip, cached_clip;
    DWORD cached_clip_entry = 0;       // points of its largest entry
    bool clipped_by_captured = false;  // the current clip, where there is one, is a captured path
    LONG path_depth = 0;               // of nested path escapes; paths are captured while it is not 0
    CapturedPathRef captured;
    SavedPaths saved_paths;
    DrawAttrs draw_state;  // what the job's reader knows
    TextState text_state;  // and of text

    PageIndex pages;
    HeapArray<BYTE> scratch;
    DWORD scratch_size = 0;
    ObjectPtr<DeflateStream> deflater;
    bool compressing = false;    // a compressed record is open
    DWORD lengths_position = 0;  // of its two length fields
    HPALETTE palette = nullptr;
    BrushList brushes;
    FontFileTable font_files;
    FontList fonts;
    AttachedData attached;
    ObjectPtr<File> job;
    HeapArray<BYTE> tail;  // the job's last bytes, which the file has not got yet
    DWORD tail_used = 0;
    ObjectPtr<CDispatcher> dispatcher;  // null where none is installed
    ObjectPtr<CGlobalObj> trays;        // 16-bit tray numbers in order of first use
    PathText printer_name, port_name;
    TextBuffer<256> document_name;
};

struct PDEVICE : DocumentState {
    DriverDevMode settings = {};
    HANDLE printer = nullptr;
    HDEV engine_device = nullptr;
    HSURF surface = nullptr;
    TextBuffers text_buffers;  // of the text record being made

    ~PDEVICE();

    // The guard that every recording hook passes first. Null when the surface is not a sound device of this driver,
    // the document has failed or no page is open, each unless allowed.
    enum class Outside { Refuse, AllowNoPage };
    enum class Failed { Refuse, Allow };
    static PDEVICE* FromSurface(const SURFOBJ* surface, Outside outside, Failed after_failure);
    // Traces what failed the document first.
    void SetFailed(std::source_location step = std::source_location::current());

    // The working state without which nothing can be recorded. FALSE when memory is out.
    BOOL alloc_working_state();
    // Gives up the document: what is unfinished is deleted.
    void release_document_state();
    // Moves the document of another device here; that one keeps none. FALSE when its held drawing failed.
    BOOL take_document_from(PDEVICE& other);

    // The record stream. Positions and lengths are bytes; every failed write fails the document.
    BOOL WriteBytes(const void* data, DWORD length);
    BOOL WriteBits(const void* data, DWORD length);
    BOOL BeginRecord(BYTE type, DWORD length, BOOL allow_compress);
    BOOL EndRecord();
    BOOL WriteRecord(BYTE type, DWORD length, const void* data);
    BOOL WriteEmptyRecord(BYTE type);
    // For a payload whose length is patched later. kind 0: one 32-bit length, else two.
    BOOL BeginSizedRecord(BYTE type, BYTE kind, DWORD* length_position);
    BOOL PatchU32(DWORD at, DWORD value);
    // Text of the system code page, written as UTF-16 with its terminating 0.
    BOOL WriteStringRecord(BYTE type, const char* text);
    BOOL WriteTextRecord(BYTE type, const WCHAR* text);
    // Past an open compressed record. Small writes gather in the job's tail.
    BOOL write_to_file(const void* data, DWORD length);
    // What the tail holds goes to the file.
    BOOL flush_tail();
    // FALSE, and the user is told, when a job that is so many bytes longer would be too long for its positions.
    BOOL has_room(DWORD length) const;

    // The document and its pages.
    BOOL StartDocW(const WCHAR* name, DWORD id);
    BOOL StartPage();
    BOOL EndPage();
    void EndDocument();
    // The end of a document that cannot go on, also when an exception has left it half ended: the job file is deleted,
    // the dispatcher is told, and the next document may start.
    void discard_document();
    // Ends the capture of paths and forgets those that were captured.
    void forget_paths();

    // The identifier of a definition whose record begins at the current position.
    DWORD new_identifier(IdCounter& counter) const;
    // Room for encoded paths of that many bytes.
    BOOL reserve_paths(uint64_t body_bytes);
    void note_largest_entry(DWORD points);
    // Sets a flag of the page started last.
    void mark_page(BYTE flag);

private:
    void start_tail();
    BOOL append_to_file(const void* data, DWORD length);
    BOOL begin_header(BYTE type, DWORD counted_length);
    BOOL begin_compressed(BYTE type);
    BOOL announce_document(DWORD id);
    BOOL create_job_file();
    BOOL write_document_start();
    BOOL write_page_start();
    BOOL note_paper_tray(WORD tray);
    BOOL write_trailer();
    BOOL write_attached_data();
    BOOL write_tray_names();
    BOOL copy_to_spooler();
    PathText close_job(bool complete, DWORD recorded_pages);
    void reset_document();
};

}  // namespace kv

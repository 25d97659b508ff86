#pragma once
// The document that a device records: a job file from its first record to the hand-over.
//
// States, and who moves between them:
//
//                     StartDocW                StartPage
//        no document ──────────> open, no page ─────────> in page
//             ^                     ^    │                 │
//             │                     └────┼── EndPage ──────┘
//             └──── EndDocument ─────────┘
//
//   failed: SetFailed from any of them. Nothing is written any more, drawing and pages are refused, and EndDocument
//   (or a new StartDocW where no document was open) leads back to no document.
//
// Beside the state, independently of each other:
//   capturing          from BEGIN_PATH to END_PATH (path_depth > 0): paths are kept instead of recorded
//   record open        from BeginRecord of a compressed record to EndRecord (compressing)
//   operation held     from a taken offer until the next record begins (pending)
//
// What holds at the start and the end of every hook (check_invariants asserts it):
//   1. A page is open only in an open document, and behind its page start record: page_start is 0 or above the size of
//      magic, header and document start, and at most `position`.
//   2. An open document that has not failed has a job file, and `position` bytes of it were written.
//   3. Without a document there is no index (but of a start that failed, until it is given up), no definition, no held
//      operation, no attached data.
//   4. No compressed record is open between hooks.
//   5. An operation is held only in an open page of a document that has not failed.
//   6. The nesting depth of path escapes is never below 0, and a document begins with 0 and without captured paths.
//   7. `failed` and its cause are set together, and both are 0 behind EndDocument.

#include "dispatch/dispatcher.h"
#include "record/attached_data.h"
#include "record/definitions.h"
#include "record/draw_state.h"
#include "record/job_stream.h"
#include "record/pages.h"
#include "record/path_state.h"
#include "record/pending_draw.h"
#include "record/text_state.h"
#include "settings/device_mode.h"
#include "support/process_state.h"

namespace kv {

inline constexpr WORD kDeviceSignature = 0x564B;  // "KV"

struct DeviceSignature {
    WORD signature = kDeviceSignature;
};

enum class DocumentPhase { None, Open, InPage, Failed };

// What moves to another device when the application changes the device mode between pages.
struct DocumentState : DeviceSignature, JobStream, Pages, PathState, Definitions {
    DWORD document_open = 0;  // 1 between the start and the end of a document
    DWORD job_id = 0;         // the spooler's, 0 once the job is handed on
    DWORD start_tick = 0;
    CPendingDraw pending;
    DrawAttrs draw_state;  // what the job's reader knows
    TextState text_state;  // and of text
    AttachedData attached;
    HPALETTE palette = nullptr;
    ObjectPtr<CDispatcher> dispatcher;  // null where none is installed
    PathText printer_name, port_name;
    TextBuffer<256> document_name;
};

struct Document : DocumentState {
    DriverDevMode& settings;  // the device's
    HANDLE printer = nullptr;
    TextBuffers text_buffers;  // of the text record being made

    explicit Document(DriverDevMode& device_settings) : settings(device_settings) {}

    DocumentPhase phase() const;
    // Asserts what holds between hooks, where assertions are checked.
    void check_invariants() const;

    // Records. Each begins by writing what is held back. Lengths are payload bytes.
    BOOL BeginRecord(BYTE type, DWORD length, BOOL allow_compress);
    BOOL WriteRecord(BYTE type, DWORD length, const void* data);
    BOOL WriteEmptyRecord(BYTE type);
    // For a payload whose length is patched later. kind 0: one 32-bit length, else two.
    BOOL BeginSizedRecord(BYTE type, BYTE kind, DWORD* length_position);
    // Text of the system code page, written as UTF-16 with its terminating 0.
    BOOL WriteStringRecord(BYTE type, const char* text);
    BOOL WriteTextRecord(BYTE type, const WCHAR* text);

    // The document and its pages.
    // FALSE: the document has failed, and is to be given up.
    BOOL StartDocW(const WCHAR* name, DWORD id);
    // Of a document that did not start, whatever ended it: nothing of it is left, and it stays failed with its first
    // cause. The last error stays.
    void give_up_start();
    BOOL StartPage();
    BOOL EndPage();
    void EndDocument();
    // The end of a document that cannot go on, also when an exception has left it half ended: the job file is deleted,
    // the dispatcher is told, and the next document may start.
    void discard_document();

    // The identifier of a definition whose record begins at the current position.
    DWORD new_identifier(IdCounter& counter) const;

private:
    BOOL prepare_record(BYTE type, DWORD counted_length);
    BOOL announce_document(DWORD id);
    BOOL create_job_file();
    BOOL write_document_start();
    BOOL write_page_start();
    BOOL write_trailer();
    BOOL write_attached_data();
    BOOL write_tray_names();
    BOOL copy_to_spooler();
    PathText close_job(bool complete, DWORD recorded_pages);
    void reset_document();
};

}  // namespace kv

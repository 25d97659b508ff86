// The life of a document: its job file from the first record to the hand-over.

#include "record/document.h"

#include <algorithm>

#include "dispatch/launch.h"
#include "dispatch/product_file.h"
#include "platform/guarded_call.h"
#include "record/record_types.h"
#include "support/assert.h"
#include "support/last_error.h"
#include "support/message.h"
#include "support/os_level.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/trace.h"

namespace kv {
namespace {

// A stress test of printing makes documents faster than anything takes them.
void throttle_stress_test(const char* application) {
    PathText name;
    to_wide(name.data(), name.capacity(), application);
    if (!same_text_ignoring_case(name.c_str(), TEXT("printdrvstress"))) return;
    // Objects of the process, of 10,000 that the system allows, and milliseconds.
    constexpr DWORD kManyObjects = 5000, kStep = 500, kShortDelay = 10000;
    static_assert(kShortDelay % kStep == 0);
    DWORD delay = kShortDelay;
    const DWORD objects = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    if (objects >= kManyObjects) delay = ((objects - kManyObjects) / 1000 + 3) * 5000;
    KV_TRACE(Record, Warning, "a stress test waits %u ms", static_cast<unsigned>(delay));
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < delay) SleepEx(kStep, TRUE);
}

// A user's temporary folder may have been cleared away.
BOOL make_temporary_file(const PathText& folder, PathText& path) {
    if (CreateTempFile(folder.c_str(), path)) return TRUE;
    {
        const KeepLastError keep;
        if (GetFileAttributesW(folder.c_str()) != INVALID_FILE_ATTRIBUTES) return FALSE;
    }
    KV_TRACE(Record, Warning, "the temporary folder is made: %s", TraceText(folder.c_str()).c_str());
    PathText inside;
    JoinPath(folder.c_str(), TEXT("~KV"), inside);
    return create_folders_of(inside.c_str()) && CreateTempFile(folder.c_str(), path);
}

// The name of a temporary file is unique, but a job of that name may still be waiting for its dispatcher: it gets a
// number then.
BOOL rename_to_job(const PathText& temporary, PathText& path) {
    PathText stem = temporary;
    stem.truncate(static_cast<size_t>(FindExtension(stem.c_str()) - stem.c_str()));
    path = stem;
    path.append(TEXT(".kv"));
    constexpr unsigned kAttempts = 1000;  // more jobs of one temporary name are not waiting
    for (unsigned number = 1; number <= kAttempts; ++number) {
        if (MoveFileExW(temporary.c_str(), path.c_str(), 0)) return TRUE;
        if (GetLastError() != ERROR_ALREADY_EXISTS) break;
        format_text(path.data(), path.capacity(), TEXT("%s-%u.kv"), stem.c_str(), number);
    }
    const KeepLastError keep;
    DeleteFileW(temporary.c_str());
    return KV_FAIL(Record, "not renamed to %s", TraceText(path.c_str()).c_str());
}

// A new empty file in the temporary folder.
BOOL make_job_path(PathText& path) {
    PathText folder, temporary;
    if (GetTempFolder(folder) && make_temporary_file(folder, temporary) && rename_to_job(temporary, path)) return TRUE;
    report_file_error(kMessageCreate, folder.c_str(), GetLastError());
    return FALSE;
}

bool is_file_port(const PathText& port) { return same_text_ignoring_case(port.c_str(), TEXT("FILE:")); }
bool is_null_port(const PathText& port) {
    return same_text_ignoring_case(port.c_str(), TEXT("NUL:")) || same_text_ignoring_case(port.c_str(), TEXT("NUL"));
}

}  // namespace

DocumentPhase Document::phase() const {
    if (failed) return DocumentPhase::Failed;
    if (!document_open) return DocumentPhase::None;
    return page_start != 0 ? DocumentPhase::InPage : DocumentPhase::Open;
}

void Document::check_invariants() const {
    constexpr DWORD kFirstPage = 16;  // behind magic, header and document start
    KV_ASSERT(signature == kDeviceSignature);
    KV_ASSERT(page_start == 0 || (document_open && page_start > kFirstPage && page_start <= position));
    KV_ASSERT(!document_open || failed || job);
    KV_ASSERT(document_open || (page_start == 0 && !attached.first()));
    KV_ASSERT(document_open || failed || !pages.first());
    KV_ASSERT(document_open || (!brushes.any() && !fonts.any() && !font_files.any()));
    KV_ASSERT(!compressing || failed);
    KV_ASSERT(!pending.is_pending() || failed || page_start != 0);
    KV_ASSERT(path_depth >= 0);
    KV_ASSERT((failed != 0) == (cause.step != nullptr));
}

BOOL Document::StartDocW(const WCHAR* name, DWORD id) {
    failed = 0;  // of a document that did not start
    cause = {};
    start_tick = GetTickCount();
    document_name.assign(name ? name : TEXT(""));
    if (announce_document(id)) {
        job_id = id;
        if (job) job->CloseAndDelete(TRUE);
        job.reset();
        if (create_job_file() && write_document_start()) {
            document_open = 1;
            page_start = 0;
            page_count = 0;
            KV_TRACE(Record, Info, "job %u, %s: %s", static_cast<unsigned>(id),
                     TraceText(document_name.c_str()).c_str(), TraceText(job->GetName()).c_str());
            return TRUE;
        }
    }
    SetFailed();
    return FALSE;
}

void Document::give_up_start() {
    const KeepLastError keep;
    const FailureCause first = cause;
    discard_document();
    failed = 1;
    cause = first;
}

// Tells the dispatcher where one is installed; without it the document is recorded all the same.
BOOL Document::announce_document(DWORD id) {
    if (!dispatcher) {
        PathText program;
        if (!FindProductFile(process_state().print_environment, kDispatcherProgram, program)) {
            KV_TRACE(Record, Warning, "no dispatcher is installed: %s", TraceText(program.c_str()).c_str());
            throttle_stress_test(settings.kv.application);
            return TRUE;
        }
        constexpr const WCHAR* kOperation = TEXT("PDEVICE::StartDocW");
        dispatcher.reset(make_object_for<CDispatcher>(kOperation, TEXT("Dispatcher"), TEXT("Disp")));
        if (!dispatcher) return FALSE;
    }
    return dispatcher->StartDoc({printer, printer_name.c_str(), settings, id, document_name.c_str()});
}

BOOL Document::create_job_file() {
    KV_ASSERT(!job && !document_open);
    PathText path;
    const bool given = dispatcher && process_state().os_level < kLevelVista && dispatcher->GetJobPath(path);
    if (!given && !make_job_path(path)) return FALSE;
    job.reset(NewFile(path.c_str(), kFileCreate | kFileReadWrite));
    if (job) {
        start_tail();
        return TRUE;
    }
    const KeepLastError keep;
    if (!given) DeleteFileW(path.c_str());
    return FALSE;
}

BOOL Document::write_document_start() {
    KV_ASSERT(job && tail_used == 0 && !compressing);
    position = 0;
    statistics.largest_record = 0;
    portrait_marks = landscape_marks = kEmptyRect;
    if (!pages.start()) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    const BYTE header[8] = {0x0E, 0x00, 0x00, 0xC0, 0x04, 0x0C, 0x00, process_state().header_byte};
    return WriteBytes("KARV", 4) && WriteRecord(kRecordDocumentHeader, sizeof header, header) &&
           WriteEmptyRecord(kRecordDocumentStart);
}

void Document::EndDocument() {
    const WORD compression = settings.kv.Compression;
    bool complete = false;
    DWORD recorded_pages = 0;
    if (document_open && !failed && page_start != 0) EndPage();
    if (job && !failed && document_open) {
        complete = WriteEmptyRecord(kRecordDocumentEnd) && WriteEmptyRecord(kRecordEndOfStream) && write_trailer() &&
                   flush_tail();
        recorded_pages = complete ? page_count : 0;
    }
    if (document_open) {
        KV_TRACE(Record, Info, "%u pages in %u bytes, %s", static_cast<unsigned>(page_count),
                 static_cast<unsigned>(position), complete ? "complete" : "discarded");
    }
    settings.kv.Compression = compression;
    reset_document();
    const PathText kept = close_job(complete, recorded_pages);
    KV_ASSERT(phase() == DocumentPhase::None && !job);
    job_id = 0;
    if (dispatcher) dispatcher->EndDoc(kept.empty() ? nullptr : kept.c_str());
}

// Each step in a guard of its own: what one of them stumbles over does not keep the others from being done.
void Document::discard_document() {
    guarded_call([&] { close_job(false, 0); });
    static_cast<void>(job.release());  // where it could not even be closed
    guarded_call([&] {
        if (dispatcher) dispatcher->EndDoc(nullptr);
    });
    guarded_call([&] { reset_document(); });
    job_id = failed = document_open = page_start = 0;
    cause = {};
    KV_ASSERT(phase() == DocumentPhase::None && !job);
}

// Sends the job where the port wants it. The file stays, and its path is the result, when a dispatcher takes it; what
// is printed to the null port is for nobody.
PathText Document::close_job(bool complete, DWORD recorded_pages) {
    PathText kept;
    if (!job) return kept;
    KV_ASSERT(complete || recorded_pages == 0);
    if (complete && is_file_port(port_name)) complete = copy_to_spooler();
    if (complete && recorded_pages > 0 && dispatcher && !is_null_port(port_name)) kept.assign(job->GetName());
    KV_TRACE(Record, Info, "port %s, %s dispatcher, %u pages: %s", TraceText(port_name.c_str()).c_str(),
             dispatcher ? "a" : "no", static_cast<unsigned>(recorded_pages),
             kept.empty() ? "the file goes" : TraceText(kept.c_str()).c_str());
    // What was buffered reaches the disk only now: without it the job is none.
    if (!kept.empty() && !job->Close()) kept.clear();
    if (kept.empty() && !is_file_port(port_name) && !is_null_port(port_name)) {
        KV_TRACE(Record, Error, "nobody takes the job, which is deleted: %s", TraceText(job->GetName()).c_str());
    }
    if (kept.empty()) job->CloseAndDelete(FALSE);
    job.reset();
    return kept;
}

// What cannot stumble comes first.
void Document::reset_document() {
    document_flags = 0;
    statistics = {};
    page_count = 0;
    failed = document_open = page_start = 0;
    cause = {};
    position = tail_used = 0;
    compressing = false;
    path_depth = 0;
    pages.clear();
    clear_definitions();
    attached.clear();
    pending.clear();
    trays.reset();
    tail.reset();
    forget_paths();
}

void Definitions::clear_definitions() {
    for (DefinitionTable* table : {&brushes, &fonts, &font_files}) table->clear();
    document_number = 0;
}

void PathState::forget_paths() {
    path_depth = 0;
    clipped_by_captured = false;
    captured = {};
    saved_paths = {};
}

// A piece that cannot be read or sent does not hold up the rest, and the user is told of the first. Without memory the
// pieces are smaller. FALSE when the file itself is not whole: nothing of it is sent then.
BOOL Document::copy_to_spooler() {
    constexpr LONG kLargest = 32768;  // bytes the spooler is given at once
    KV_ASSERT(job && tail_used == 0);
    if (!job->Flush()) return FALSE;
    job->SetEndOfFile();  // nothing lies behind the end but what was there before
    const LONG size = job->GetSize();
    if (size <= 0 || !job->Seek(0)) return TRUE;
    LONG room = std::min(size, kLargest);
    HeapArray<BYTE> buffer;
    BYTE* bytes = buffer.alloc(static_cast<size_t>(room), nullptr) ? buffer.get() : scratch.get();
    if (!buffer) room = static_cast<LONG>(scratch_size);
    for (LONG done = 0; done < size && room > 0; done += room) {
        DWORD got = 0, sent = 0;
        const bool read = job->Seek(done) && job->Read(bytes, static_cast<DWORD>(std::min(room, size - done)), &got);
        if (!read) job->be_quiet();
        KV_ASSERT(got <= static_cast<DWORD>(room));
        if (read && got > 0) WritePrinter(printer, bytes, got, &sent);
        if (sent < static_cast<DWORD>(std::min(room, size - done))) {
            KV_FAIL(Record, "%u bytes at position %d are %s", static_cast<unsigned>(std::min(room, size - done)),
                    static_cast<int>(done), read ? "not sent" : "not read");
        }
    }
    return TRUE;
}

}  // namespace kv

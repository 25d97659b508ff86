// The life of a document: its job file from the first record to the hand-over.

#include <algorithm>

#include "dispatch/launch.h"
#include "dispatch/product_file.h"
#include "driver/pdevice.h"
#include "record/record_types.h"
#include "support/paths.h"
#include "support/process_state.h"

namespace kv {
namespace {

// A stress test of printing makes documents faster than anything takes them.
void throttle_stress_test(const char* application) {
    PathText name;
    to_wide(name.data(), name.capacity(), application);
    if (!same_text_ignoring_case(name.c_str(), TEXT("printdrvstress"))) return;
    constexpr DWORD kManyObjects = 5000, kStep = 500;
    DWORD delay = 10000;
    const DWORD objects = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    if (objects >= kManyObjects) delay = ((objects - kManyObjects) / 1000 + 3) * 5000;
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < delay) SleepEx(kStep, TRUE);
}

// A new empty file in the temporary folder. The name of a temporary file is unique, but a job of that name may still
// be waiting for its dispatcher: it gets a number then.
BOOL make_job_path(PathText& path) {
    PathText folder, temporary;
    if (!GetTempFolder(folder) || !CreateTempFile(folder.c_str(), temporary)) return FALSE;
    PathText stem = temporary;
    stem.truncate(static_cast<size_t>(FindExtension(stem.c_str()) - stem.c_str()));
    path = stem;
    path.append(TEXT(".kv"));
    constexpr unsigned kAttempts = 1000;
    for (unsigned number = 1; number <= kAttempts; ++number) {
        if (MoveFileExW(temporary.c_str(), path.c_str(), 0)) return TRUE;
        if (GetLastError() != ERROR_ALREADY_EXISTS) break;
        format_text(path.data(), path.capacity(), TEXT("%s-%u.kv"), stem.c_str(), number);
    }
    const DWORD error = GetLastError();
    DeleteFileW(temporary.c_str());
    SetLastError(error);
    return FALSE;
}

bool is_null_port(const PathText& port) {
    return same_text_ignoring_case(port.c_str(), TEXT("NUL:")) || same_text_ignoring_case(port.c_str(), TEXT("NUL"));
}

}  // namespace

BOOL PDEVICE::StartDocW(const WCHAR* name, DWORD id) {
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
            return TRUE;
        }
    }
    const DWORD error = GetLastError();
    if (job) job->CloseAndDelete(TRUE);
    job.reset();
    if (dispatcher) dispatcher->Abort();
    job_id = 0;
    SetFailed();
    SetLastError(error);
    return FALSE;
}

// Tells the dispatcher where one is installed; without it the document is recorded all the same.
BOOL PDEVICE::announce_document(DWORD id) {
    if (!dispatcher) {
        PathText program;
        if (!FindProductFile(process_state().print_environment, kDispatcherProgram, program)) {
            throttle_stress_test(settings.kv.application);
            return TRUE;
        }
        constexpr const WCHAR* kOperation = TEXT("PDEVICE::StartDocW");
        dispatcher.reset(make_object_for<CDispatcher>(kOperation, TEXT("Dispatcher"), TEXT("Disp")));
        if (!dispatcher) return FALSE;
    }
    return dispatcher->StartDoc({printer, printer_name.c_str(), settings, id, document_name.c_str()});
}

BOOL PDEVICE::create_job_file() {
    constexpr int kFirstLevelWithOwnPath = 5;
    PathText path;
    const bool given = dispatcher && process_state().os_level < kFirstLevelWithOwnPath && dispatcher->GetJobPath(path);
    if (!given && !make_job_path(path)) return FALSE;
    job.reset(NewFile(path.c_str(), kFileCreate | kFileReadWrite));
    if (!job && !given) DeleteFileW(path.c_str());
    return job != nullptr;
}

BOOL PDEVICE::write_document_start() {
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

void PDEVICE::EndDocument() {
    const WORD compression = settings.kv.Compression;
    bool complete = false;
    DWORD recorded_pages = 0;
    if (job && !failed && document_open) {
        complete = WriteEmptyRecord(kRecordDocumentEnd) && WriteEmptyRecord(kRecordEndOfStream) && write_trailer();
        recorded_pages = complete ? page_count : 0;
    }
    settings.kv.Compression = compression;
    reset_document();
    const PathText kept = close_job(complete, recorded_pages);
    job_id = 0;
    if (dispatcher) dispatcher->EndDoc(kept.empty() ? nullptr : kept.c_str());
}

// Sends the job where the port wants it. The file stays, and its path is the result, when a dispatcher takes it; what
// is printed to the null port is for nobody.
PathText PDEVICE::close_job(bool complete, DWORD recorded_pages) {
    PathText kept;
    if (!job) return kept;
    if (complete && same_text_ignoring_case(port_name.c_str(), TEXT("FILE:"))) copy_to_spooler();
    if (complete && recorded_pages > 0 && dispatcher && !is_null_port(port_name)) kept.assign(job->GetName());
    // What was buffered reaches the disk only now: without it the job is none.
    if (!kept.empty() && !job->Close()) kept.clear();
    if (kept.empty()) job->CloseAndDelete(FALSE);
    job.reset();
    return kept;
}

void PDEVICE::reset_document() {
    pages.clear();
    brushes.clear();
    fonts.clear();
    font_files.clear();
    attached.clear();
    pending.clear();
    trays.reset();
    document_flags = 0;
    statistics = {};
    page_count = 0;
    failed = document_open = page_start = 0;
    position = 0;
    compressing = false;
}

// A piece that cannot be read or sent does not hold up the rest. Without memory the pieces are smaller.
void PDEVICE::copy_to_spooler() {
    constexpr LONG kLargest = 32768;
    if (!job->Flush()) return;
    job->SetEndOfFile();  // nothing lies behind the end but what was there before
    const LONG size = job->GetSize();
    if (size <= 0 || !job->Seek(0)) return;
    LONG room = std::min(size, kLargest);
    HeapArray<BYTE> buffer;
    BYTE* bytes = buffer.alloc(static_cast<size_t>(room), nullptr) ? buffer.get() : scratch.get();
    if (!buffer) room = static_cast<LONG>(scratch_size);
    for (LONG done = 0; done < size && room > 0; done += room) {
        DWORD got = 0, sent = 0;
        job->Read(bytes, static_cast<DWORD>(std::min(room, size - done)), &got);
        if (got > 0) WritePrinter(printer, bytes, got, &sent);
    }
}

}  // namespace kv

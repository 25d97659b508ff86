#include "driver/guarded_recording.h"
#include "driver/hooks.h"
#include "settings/job_name.h"

using kv::PDEVICE;

namespace {

PDEVICE* page_device(SURFOBJ* surface, const char* hook = __builtin_FUNCTION()) {
    return PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Refuse, hook);
}

// Runs a step of a page. A failed step has marked the device; only an exception is a failure of the hook.
BOOL run_page_step(PDEVICE& device, BOOL (PDEVICE::*step)()) {
    return kv::run_hook(device, [&] { return (device.*step)(), TRUE; });
}

PDEVICE* document_device(SURFOBJ* surface, const char* hook = __builtin_FUNCTION()) {
    return PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Allow, hook);
}

}  // namespace

BOOL APIENTRY DrvStartDoc(SURFOBJ* surface, LPWSTR name, DWORD job_id) {
    PDEVICE* device = document_device(surface);
    if (!device) return FALSE;
    if (!device->document_open && (name || job_id != 0)) {
        auto start = [&] {
            kv::PathText title;
            kv::GetJobName(device->printer_name.c_str(), device->printer, job_id, name, title);
            return device->StartDocW(title.c_str(), job_id);
        };
        if (!kv::run_hook(*device, start)) {
            device->give_up_start();
            return FALSE;
        }
    }
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

// A page without a document, and the end of a page that is not open, are no failures of a document.
BOOL APIENTRY DrvStartPage(SURFOBJ* surface) {
    PDEVICE* device = page_device(surface);
    if (device && !device->document_open) return KV_FAIL(Driver, "no document is open");
    return device && run_page_step(*device, &PDEVICE::StartPage);
}

BOOL APIENTRY DrvSendPage(SURFOBJ* surface) {
    PDEVICE* device = page_device(surface);
    if (device && device->page_start == 0) return KV_FAIL(Driver, "no page is open");
    return device && run_page_step(*device, &PDEVICE::EndPage);
}

BOOL APIENTRY DrvEndDoc(SURFOBJ* surface, FLONG flags) {
    PDEVICE* device = document_device(surface);
    if (!device) return TRUE;
    if (flags & ED_ABORTDOC) {
        KV_TRACE(Driver, Warning, "the document is aborted");
        device->SetFailed();
    }
    const WORD compression = device->settings.kv.Compression;  // the trailer is written without any
    if (!kv::run_hook(*device, [&] { return device->EndDocument(), TRUE; })) {
        device->settings.kv.Compression = compression;
        device->discard_document();
        SetLastError(ERROR_GEN_FAILURE);
    }
    return TRUE;
}

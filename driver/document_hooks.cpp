#include "driver/guarded_recording.h"
#include "driver/hooks.h"
#include "settings/job_name.h"

using kv::PDEVICE;

namespace {

// Runs a step of a page. A failed step has marked the device; only an exception is a failure of the hook.
BOOL run_page_step(SURFOBJ* surface, BOOL (PDEVICE::*step)()) {
    PDEVICE* device = PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Refuse);
    if (!device) return FALSE;
    return kv::run_hook(*device, [&] { return (device->*step)(), TRUE; });
}

PDEVICE* document_device(SURFOBJ* surface) {
    return PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Allow);
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
        if (!kv::run_recording(*device, start)) return FALSE;
    }
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

BOOL APIENTRY DrvStartPage(SURFOBJ* surface) { return run_page_step(surface, &PDEVICE::StartPage); }

BOOL APIENTRY DrvSendPage(SURFOBJ* surface) { return run_page_step(surface, &PDEVICE::EndPage); }

BOOL APIENTRY DrvEndDoc(SURFOBJ* surface, FLONG flags) {
    PDEVICE* device = document_device(surface);
    if (!device) return TRUE;
    if (flags & ED_ABORTDOC) device->SetFailed();
    kv::run_hook(*device, [&] { return device->EndDocument(), TRUE; });
    return TRUE;
}

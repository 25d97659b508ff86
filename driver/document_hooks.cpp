#include "driver/hooks.h"
#include "driver/pdevice.h"
#include "platform/guarded_call.h"
#include "settings/job_name.h"

using kv::PDEVICE;

namespace {

// Runs a step of a page. A failed step has marked the device; only an exception is a failure of the hook.
BOOL run_page_step(SURFOBJ* surface, BOOL (PDEVICE::*step)()) {
    PDEVICE* device = PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Refuse);
    if (!device) return FALSE;
    if (kv::guarded_call([&] { (device->*step)(); })) return TRUE;
    SetLastError(ERROR_GEN_FAILURE);
    device->SetFailed();
    return FALSE;
}

PDEVICE* document_device(SURFOBJ* surface) {
    return PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Allow);
}

}  // namespace

BOOL APIENTRY DrvStartDoc(SURFOBJ* surface, LPWSTR name, DWORD job_id) {
    PDEVICE* device = document_device(surface);
    if (!device) return FALSE;
    if (!device->document_open && (name || job_id != 0)) {
        BOOL started = FALSE;
        auto start = [&] {
            kv::PathText title;
            kv::GetJobName(device->printer_name.c_str(), device->printer, job_id, name, title);
            started = device->StartDocW(title.c_str(), job_id);
        };
        if (!kv::guarded_call(start)) {
            SetLastError(ERROR_GEN_FAILURE);
            started = FALSE;
        }
        if (!started) {
            device->SetFailed();
            return FALSE;
        }
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
    if (!kv::guarded_call([&] { device->EndDocument(); })) {
        SetLastError(ERROR_GEN_FAILURE);
        device->SetFailed();
    }
    return TRUE;
}

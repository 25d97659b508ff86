// What the spooler calls. Nothing that goes wrong in here reaches the process, which may be the spooler's.

#include <cstddef>

#include "platform/guarded_call.h"
#include "support/message.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/product.h"
#include "support/trace.h"
#include "ui/capabilities.h"
#include "ui/document_events.h"
#include "ui/windows/sheet.h"

namespace kv {
namespace {

// What `work` answers, or `failed` after an exception.
template <class Result, class Work>
Result guarded(Result failed, Work work) {
    struct Context {
        Work& work;
        Result result;
    } context{work, failed};
    const auto run = [](void* argument) {
        auto& guarded = *static_cast<Context*>(argument);
        guarded.result = guarded.work();
    };
    if (run_guarded(run, &context)) return context.result;
    SetLastError(ERROR_GEN_FAILURE);
    KV_FAIL(Settings, "an exception is caught");
    return failed;
}

// The spooler, and the process in which it isolates drivers, have nobody before them.
bool is_spooler() {
    PathText name;
    GetModuleBaseName(nullptr, name);
    for (const WCHAR* process : {TEXT("spoolsv"), TEXT("spoolss"), TEXT("PrintIsolationHost")}) {
        if (same_text_ignoring_case(name.c_str(), process)) return true;
    }
    return false;
}

LONG start_sheet(PROPSHEETUI_INFO& info, ObjectPtr<Sheet> sheet) {
    if (!sheet || !sheet->add_pages()) return 0;
    info.UserData = reinterpret_cast<ULONG_PTR>(sheet.release());
    info.Result = CPSUI_CANCEL;
    return 1;
}

// The sheet's steps that are the same for documents and printers.
LONG continue_sheet(PROPSHEETUI_INFO& info, LPARAM argument, WORD header_flags) {
    auto* sheet = reinterpret_cast<Sheet*>(info.UserData);
    switch (info.Reason) {
        case PROPSHEETUI_REASON_GET_INFO_HEADER: {
            auto& header = *reinterpret_cast<PROPSHEETUI_INFO_HEADER*>(argument);
            header.Flags = header_flags;
            header.pTitle = sheet ? sheet->printer_name.data() : nullptr;
            header.hInst = process_state().module;
            header.IconID = IDI_CPSUI_PRINTER;
            return 1;
        }
        case PROPSHEETUI_REASON_SET_RESULT:
            info.Result = static_cast<ULONG_PTR>(reinterpret_cast<const SETRESULT_INFO*>(argument)->Result);
            return 1;
        case PROPSHEETUI_REASON_DESTROY:
            destroy_object(sheet);
            info.UserData = 0;
            return 1;
        default:
            return 0;
    }
}

BOOL says_which_events(ULONG size, void* filter) {
    auto* wanted = static_cast<DOCEVENT_FILTER*>(filter);
    constexpr ULONG kHead = offsetof(DOCEVENT_FILTER, aDocEventCall);
    if (!wanted || size < kHead) return FALSE;
    wanted->cElementsNeeded = 1;
    wanted->cElementsReturned = 0;
    if (wanted->cElementsAllocated < 1 || size < kHead + sizeof(DWORD)) return TRUE;
    wanted->aDocEventCall[0] = DOCUMENTEVENT_STARTDOCPRE;
    wanted->cElementsReturned = 1;
    return TRUE;
}

}  // namespace
}  // namespace kv

using namespace kv;

extern "C" {

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) return attach_product(module);
    if (reason == DLL_PROCESS_DETACH) detach_product();
    return TRUE;
}

DWORD WINAPI DrvDeviceCapabilities(HANDLE, LPWSTR printer, WORD capability, void* output, DEVMODEW*) {
    return guarded(kNoSuchCapability,
                   [&] { return device_capability(printer ? printer : TEXT(""), capability, output); });
}

LONG WINAPI DrvDocumentPropertySheets(PROPSHEETUI_INFO* info, LPARAM argument) {
    return guarded(LONG{kPropertiesFailed}, [&]() -> LONG {
        auto* request = reinterpret_cast<DOCUMENTPROPERTYHEADER*>(info ? info->lParamInit : argument);
        if (!info) return request ? document_properties(*request) : kPropertiesFailed;
        if (info->Reason != PROPSHEETUI_REASON_INIT)
            return continue_sheet(*info, argument, PSUIHDRF_PROPTITLE | PSUIHDRF_NOAPPLYNOW);
        if (!request || is_spooler() || !may_show_windows()) return kPropertiesFailed;
        return start_sheet(*info, make_document_sheet(*info, *request));
    });
}

LONG WINAPI DrvDevicePropertySheets(PROPSHEETUI_INFO* info, LPARAM argument) {
    return guarded(LONG{kPropertiesFailed}, [&]() -> LONG {
        if (!info) return kPropertiesFailed;
        if (info->Reason != PROPSHEETUI_REASON_INIT) return continue_sheet(*info, argument, PSUIHDRF_PROPTITLE);
        const auto* request = reinterpret_cast<const DEVICEPROPERTYHEADER*>(info->lParamInit);
        if (!request || is_spooler() || !may_show_windows()) return kPropertiesFailed;
        return start_sheet(*info, make_printer_sheet(*info, *request));
    });
}

BOOL WINAPI DrvConvertDevMode(LPWSTR printer, DEVMODEW* in, DEVMODEW* out, LONG* size, DWORD what) {
    return guarded(BOOL{FALSE}, [&] { return convert_mode(printer, in, out, size, what); });
}

BOOL WINAPI DevQueryPrintEx(DEVQUERYPRINT_INFO* request) {
    return guarded(BOOL{FALSE}, [&] { return request ? query_print(*request) : FALSE; });
}

// What is asked for is the start of a document alone, to have the dispatcher up when it is announced.
int WINAPI DrvDocumentEvent(HANDLE, HDC, int event, ULONG, void*, ULONG size, void* output) {
    return guarded(DOCUMENTEVENT_UNSUPPORTED, [&]() -> int {
        switch (DOCUMENTEVENT_EVENT(event)) {
            case DOCUMENTEVENT_QUERYFILTER:
                return says_which_events(size, output) ? DOCUMENTEVENT_SUCCESS : DOCUMENTEVENT_UNSUPPORTED;
            case DOCUMENTEVENT_STARTDOCPRE:
                if (!is_spooler()) start_dispatcher_early();
                return DOCUMENTEVENT_SUCCESS;
            default:
                return DOCUMENTEVENT_UNSUPPORTED;
        }
    });
}

// Printers and drivers come and go without anything to be done: what is kept of a printer lies in users' registries.
BOOL WINAPI DrvPrinterEvent(LPWSTR, INT, DWORD, LPARAM) { return TRUE; }
BOOL WINAPI DrvDriverEvent(DWORD, DWORD, LPBYTE, LPARAM) { return TRUE; }
// Device modes of earlier versions are converted as they come (DrvConvertDevMode).
BOOL WINAPI DrvUpgradePrinter(DWORD, LPBYTE) { return TRUE; }

}  // extern "C"

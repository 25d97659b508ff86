// Version, processor and locale of the simulated machine, and messages to its user.

#include "platform/host/win32/system.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <iterator>

#include "platform/host/state.h"
#include "platform/host/win32/process.h"

namespace kv::host {
namespace {

struct Messages {
    std::vector<Message> shown;
    bool quiet = false;
    std::function<void()> while_open;
    std::vector<std::u16string> clipboard_formats;
    std::deque<MSG> queue;
};
Messages& state() {
    static Messages instance;
    return instance;
}

}  // namespace

const std::vector<Message>& messages() { return state().shown; }
void set_messages_quiet(bool quiet) { state().quiet = quiet; }
void set_while_message_open(std::function<void()> call) { state().while_open = std::move(call); }
void post_message(uint32_t message) {
    MSG posted = {};
    posted.message = message;
    state().queue.push_back(posted);
}
void reset_messages() { state() = Messages{}; }

}  // namespace kv::host

using namespace kv::host;

BOOL GetVersionExW(OSVERSIONINFOW* version) {
    if (machine().version_fails || should_fail(CallKind::Process, "GetVersionExW")) return fail_with(ERROR_GEN_FAILURE);
    version->dwMajorVersion = machine().major;
    version->dwMinorVersion = machine().minor;
    version->dwBuildNumber = machine().build;
    version->dwPlatformId = machine().platform;
    if (version->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW)) {
        reinterpret_cast<OSVERSIONINFOEXW*>(version)->wProductType = machine().product_type;
    }
    return TRUE;
}

BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* version, DWORD mask, ULONGLONG) {
    return mask == VER_PRODUCT_TYPE && version->wProductType == machine().product_type ? TRUE : fail_with(1150);
}
ULONGLONG VerSetConditionMask(ULONGLONG conditions, DWORD type, BYTE condition) {
    return conditions | (static_cast<ULONGLONG>(condition) << (type == VER_PRODUCT_TYPE ? 21 : 0));
}

void GetNativeSystemInfo(SYSTEM_INFO* info) {
    *info = {};
    info->wProcessorArchitecture = machine().architecture;
    info->dwPageSize = 4096;
    info->dwNumberOfProcessors = 1;
}

int GetSystemMetrics(int index) {
    if (index == static_cast<int>(SM_DBCSENABLED)) return machine().dbcs;
    return index == static_cast<int>(SM_REMOTESESSION) ? machine().remote_session : 0;
}

int GetLocaleInfoW(LCID, DWORD kind, LPWSTR data, int capacity) {
    if (should_fail(CallKind::Process, "GetLocaleInfoW")) return fail_with(ERROR_INVALID_PARAMETER);
    const std::u16string* text = kind == LOCALE_IPAPERSIZE         ? &machine().paper_size
                                 : kind == LOCALE_IDEFAULTLANGUAGE ? &machine().default_language
                                 : kind == LOCALE_SENGLANGUAGE     ? &machine().language_name
                                                                   : nullptr;
    if (!text || text->empty()) return fail_with(ERROR_INVALID_PARAMETER);
    int needed = static_cast<int>(text->size()) + 1;
    if (capacity == 0) return needed;
    if (capacity < needed) return fail_with(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(text->c_str(), needed, data);
    return needed;
}

LANGID GetUserDefaultLangID() {
    return static_cast<LANGID>(std::stoul(to_utf8(machine().default_language), nullptr, 16));
}

HWINSTA GetProcessWindowStation() { return reinterpret_cast<HWINSTA>(&machine()); }

BOOL GetUserObjectInformationW(HANDLE, int kind, LPVOID data, DWORD capacity, LPDWORD) {
    if (kind != static_cast<int>(UOI_FLAGS) || capacity < sizeof(USEROBJECTFLAGS)) {
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    }
    *static_cast<USEROBJECTFLAGS*>(data) = {FALSE, FALSE, machine().visible_window_station ? DWORD{WSF_VISIBLE} : 0};
    return TRUE;
}

int MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT flags) {
    state().shown.push_back({text, caption ? caption : u"", flags});
    if (!state().quiet)
        std::fprintf(stderr, "%s: %s\n", to_utf8(caption ? caption : u"").c_str(), to_utf8(text).c_str());
    if (state().while_open) state().while_open();
    return 1;
}

DWORD FormatMessageW(DWORD, LPCVOID, DWORD number, DWORD, LPWSTR buffer, DWORD capacity, void*) {
    static constexpr struct {
        DWORD number;
        const WCHAR* text;
    } kTexts[] = {
        {ERROR_SUCCESS, u"The operation completed successfully."},
        {ERROR_FILE_NOT_FOUND, u"The file was not found."},
        {ERROR_PATH_NOT_FOUND, u"The path was not found."},
        {ERROR_TOO_MANY_OPEN_FILES, u"Too many files are open."},
        {ERROR_ACCESS_DENIED, u"Access is denied."},
        {ERROR_INVALID_HANDLE, u"The handle is invalid."},
        {ERROR_NOT_ENOUGH_MEMORY, u"There is not enough memory."},
        {ERROR_WRITE_FAULT, u"The device could not be written to."},
        {ERROR_READ_FAULT, u"The device could not be read from."},
        {ERROR_GEN_FAILURE, u"A device is not working."},
        {ERROR_SHARING_VIOLATION, u"Another process is using the file."},
        {ERROR_INVALID_PARAMETER, u"A parameter is wrong."},
        {ERROR_DISK_FULL, u"The disk is full."},
        {ERROR_INSUFFICIENT_BUFFER, u"The buffer is too small."},
        {ERROR_MOD_NOT_FOUND, u"The module was not found."},
    };
    for (const auto& entry : kTexts) {
        if (entry.number != number) continue;
        std::u16string text = std::u16string(entry.text) + u"\r\n";
        if (text.size() >= capacity) return fail_with(ERROR_INSUFFICIENT_BUFFER, DWORD{0});
        std::copy_n(text.c_str(), text.size() + 1, buffer);
        return static_cast<DWORD>(text.size());
    }
    return fail_with(ERROR_RESOURCE_NAME_NOT_FOUND, DWORD{0});
}

HCURSOR LoadCursorW(HINSTANCE, LPCWSTR name) { return reinterpret_cast<HCURSOR>(const_cast<LPWSTR>(name)); }
HCURSOR SetCursor(HCURSOR) { return nullptr; }

UINT RegisterClipboardFormatW(LPCWSTR name) {
    constexpr UINT kFirst = 0xC000;
    auto& formats = state().clipboard_formats;
    auto found = std::find_if(formats.begin(), formats.end(),
                              [&](const std::u16string& known) { return lower_case(known) == lower_case(name); });
    if (found == formats.end()) found = formats.insert(found, name);
    return kFirst + static_cast<UINT>(found - formats.begin());
}

BOOL SetProcessDefaultLayout(DWORD) { return TRUE; }

DWORD GetGuiResources(HANDLE, DWORD flags) { return flags == GR_GDIOBJECTS ? machine().gdi_objects : 0; }

HANDLE GetCurrentProcess() { return INVALID_HANDLE_VALUE; }
HANDLE GetCurrentThread() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2)); }

BOOL PeekMessageW(MSG* message, HWND, UINT, UINT, UINT remove) {
    if (state().queue.empty()) return FALSE;
    *message = state().queue.front();
    if (remove == PM_REMOVE) state().queue.pop_front();
    return TRUE;
}
BOOL TranslateMessage(const MSG*) { return FALSE; }
LONG_PTR DispatchMessageW(const MSG*) { return 0; }
void PostQuitMessage(int exit_code) {
    MSG message = {};
    message.message = WM_QUIT;
    message.wParam = static_cast<WPARAM>(exit_code);
    state().queue.push_back(message);
}

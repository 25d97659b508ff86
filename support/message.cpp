#include "support/message.h"

#include <initializer_list>

#include "support/assert.h"
#include "support/last_error.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "support/text.h"
#include "support/trace.h"

namespace kv {
namespace {

// Units: a text of the library, and the longest path and system text filled into it.
constexpr size_t kTextCapacity = 512, kErrorCapacity = 512;
constexpr size_t kMessageCapacity = 1024;
static_assert(kMessageCapacity > kPathCapacity + kErrorCapacity);

using ErrorText = TextBuffer<kErrorCapacity>;

ErrorText system_error_text(DWORD error) {
    ErrorText text;
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    if (!FormatMessageW(kFlags, nullptr, error, 0, text.data(), static_cast<DWORD>(text.capacity()), nullptr)) {
        format_text(text.data(), text.capacity(), TEXT("Error %u."), error);
    }
    for (size_t length = text.length(); length > 0 && text.c_str()[length - 1] <= ' '; --length) {
        text.truncate(length - 1);  // the system ends its texts with a line break
    }
    return text;
}

// A box that nobody sees is never closed, and the process that shows it waits for ever.
bool somebody_sees_boxes() {
    // Before Windows Vista the user at the console works in session 0.
    const int level = process_state().os_level;
    const bool is_users = level > 0 && level < kLevelVista;
    DWORD session = 0;
    if (!is_users && ProcessIdToSessionId(GetCurrentProcessId(), &session) && session == 0) return false;
    USEROBJECTFLAGS flags = {};
    HWINSTA station = GetProcessWindowStation();
    return station && GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof flags, nullptr) &&
           (flags.dwFlags & WSF_VISIBLE);
}

// Nothing but "%s" and "%%" is taken for a conversion: texts may come from a library that anybody made.
void fill_in(const WCHAR* pattern, std::initializer_list<const WCHAR*> arguments, TextBuffer<kMessageCapacity>& text) {
    const auto* next = arguments.begin();
    for (; *pattern; ++pattern) {
        const WCHAR unit[] = {*pattern, 0};
        if (pattern[0] == '%' && pattern[1] == 's') {
            ++pattern;
            if (next != arguments.end()) text.append(*next++);
            continue;
        }
        if (pattern[0] == '%' && pattern[1] == '%') ++pattern;
        text.append(unit);
    }
}

}  // namespace

bool may_show_windows() { return !process_state().silent && somebody_sees_boxes(); }

void show_message(const WCHAR* text, MessageKind kind) {
    KeepLastError keep;
    const char* refused = process_state().silent   ? "not shown, as Silent is set: "
                          : !somebody_sees_boxes() ? "not shown, as nobody would see it: "
                                                   : "";
    if (kind == MessageKind::Error) {
        KV_TRACE(Support, Error, "message %s%s", refused, TraceText(text).c_str());
    } else {
        KV_TRACE(Support, Warning, "message %s%s", refused, TraceText(text).c_str());
    }
    if (*refused) return;
    SetCursor(LoadCursorW(nullptr, IDC_ARROW));
    UINT icon = kind == MessageKind::Error ? MB_ICONERROR : MB_ICONINFORMATION;
    MessageBoxW(nullptr, text, process_state().product_name.c_str(), MB_OK | MB_SETFOREGROUND | icon);
}

void report_out_of_memory(const WCHAR* operation) {
    TextBuffer<128> text(TEXT("Out of memory."));
    if (operation) format_text(text.data(), text.capacity(), TEXT("Out of memory (%s)."), operation);
    show_message(text.c_str());
}

void report_system_error(const WCHAR* operation, DWORD error) {
    KeepLastError keep;
    TextBuffer<kMessageCapacity> text;
    format_text(text.data(), text.capacity(), TEXT("%s: %s"), operation, system_error_text(error).c_str());
    show_message(text.c_str());
}

void report_message(UINT number, const WCHAR* first, const WCHAR* second, MessageKind kind) {
    KV_ASSERT(first || !second);
    KeepLastError keep;
    TextBuffer<kTextCapacity> pattern;
    TextBuffer<kMessageCapacity> text;
    if (LoadStringW(process_state().resource_module, number, pattern.data(), static_cast<int>(pattern.capacity())) >
        0) {
        fill_in(pattern.c_str(), {first, second}, text);
    } else if (number == kMessageText) {
        text.assign(first);
    } else {
        format_text(text.data(), text.capacity(), TEXT("An error of type %d occurred."), static_cast<int>(number));
    }
    show_message(text.c_str(), kind);
}

void report_file_error(UINT number, const WCHAR* file, DWORD error) {
    KeepLastError keep;
    report_message(number, file, system_error_text(error).c_str());
}

}  // namespace kv

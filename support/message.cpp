#include "support/message.h"

#include "support/process_state.h"
#include "support/text.h"

namespace kv {
namespace {

constexpr size_t kMessageCapacity = 1024;

class KeepLastError {
public:
    KeepLastError() : error_(GetLastError()) {}
    ~KeepLastError() { SetLastError(error_); }

private:
    DWORD error_;
};

using ErrorText = TextBuffer<512>;

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

}  // namespace

void show_message(const WCHAR* text, MessageKind kind) {
    KeepLastError keep;
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
    TextBuffer<kMessageCapacity> text;
    format_text(text.data(), text.capacity(), TEXT("%s: %s"), operation, system_error_text(error).c_str());
    show_message(text.c_str());
}

void report_message(UINT number, const WCHAR* first, const WCHAR* second, MessageKind kind) {
    KeepLastError keep;
    TextBuffer<512> pattern;
    TextBuffer<kMessageCapacity> text;
    if (LoadStringW(process_state().resource_module, number, pattern.data(), static_cast<int>(pattern.capacity())) >
        0) {
        format_text(text.data(), text.capacity(), pattern.c_str(), first, second ? second : TEXT(""));
    } else {
        format_text(text.data(), text.capacity(), TEXT("An error of type %d occurred."), static_cast<int>(number));
    }
    show_message(text.c_str(), kind);
}

void report_file_error(UINT number, const WCHAR* file, DWORD error) {
    report_message(number, file, system_error_text(error).c_str());
}

}  // namespace kv

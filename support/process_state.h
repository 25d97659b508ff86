#pragma once
// What the whole process shares: written at process attach, read-only afterwards, except the identifier
// counters, which have their locks here.

#include "support/critical_section.h"
#include "support/text.h"

namespace kv {

// Hands out 1, 2, ... kLargest and then 1 again; safe on several threads at once.
class IdCounter {
public:
    static constexpr DWORD kLargest = 0x1FFFFFFF;
    DWORD next();

private:
    CriticalSection lock_;
    DWORD last_ = 0;
};

struct ProcessState {
    HINSTANCE module = nullptr;           // the driver itself
    HINSTANCE resource_module = nullptr;  // the resource library, or the driver
    bool resource_library_loaded = false;
    LANGID resource_language = 0;
    BYTE resource_charset = DEFAULT_CHARSET;

    UINT clipboard_file = 0, clipboard_note = 0, clipboard_metadata = 0;
    bool dbcs_enabled = false;
    LONG gui_font_height = 0;
    UINT gui_code_page = CP_ACP;
    const WCHAR* print_environment = TEXT("Windows NT x86");
    WORD processor = PROCESSOR_ARCHITECTURE_INTEL;
    int os_level = 0;

    BYTE header_byte = 0;     // the last byte of every document header record
    WORD product_number = 1;  // tells the dispatcher which product announces a document
    WORD default_paper = DMPAPER_LETTER;
    WORD default_units = 1;  // 1 inch-based, 2 metric
    WORD private_units = 1;  // the same, of device modes
    DWORD compatibility = 0, silent = 0;

    TextBuffer<40> product_name{TEXT("Karvo")};
    TextBuffer<80> localized_product_name;
    TextBuffer<40> dispatcher_name;
    WORD default_language = 0;
    TextBuffer<80> language_name;
    TextBuffer<32> ui_font{TEXT("MS Shell Dlg")}, ui_modern_font{TEXT("Calibri")};

    IdCounter brush_ids, font_ids, font_file_ids, document_ids;
};

ProcessState& process_state();

}  // namespace kv

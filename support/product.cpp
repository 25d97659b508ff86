#include "support/product.h"

#include "support/assert.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

const WCHAR* environment_of(WORD processor) {
    switch (processor) {
        case PROCESSOR_ARCHITECTURE_AMD64:
            return TEXT("Windows x64");
        case PROCESSOR_ARCHITECTURE_ARM64:
            return TEXT("Windows ARM64");
        default:
            return TEXT("Windows NT x86");
    }
}

DWORD parse_number(const WCHAR* text, DWORD base) {
    KV_ASSERT(base == 10 || base == 16);
    DWORD value = 0;
    for (; text && *text; ++text) {
        const WCHAR unit = *text;
        DWORD digit = base;
        if (unit >= '0' && unit <= '9') digit = static_cast<DWORD>(unit - '0');
        if ((unit | 0x20) >= 'a' && (unit | 0x20) <= 'f') digit = static_cast<DWORD>((unit | 0x20) - 'a' + 10);
        if (digit >= base) break;
        value = value * base + digit;
    }
    return value;
}

void read_gui_font(ProcessState& state) {
    LOGFONTW font = {};
    if (!GetObjectW(GetStockObject(DEFAULT_GUI_FONT), sizeof font, &font)) return;
    state.gui_font_height = font.lfHeight;
    CHARSETINFO info = {};
    auto* charset = reinterpret_cast<DWORD*>(static_cast<DWORD_PTR>(font.lfCharSet));
    if (TranslateCharsetInfo(charset, &info, TCI_SRCCHARSET)) state.gui_code_page = info.ciACP;
}

void read_locale(ProcessState& state) {
    WCHAR text[16] = {};
    if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IDEFAULTLANGUAGE, text, 16)) {
        state.default_language = static_cast<WORD>(parse_number(text, 16));
    }
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SENGLANGUAGE, state.language_name.data(),
                   static_cast<int>(state.language_name.capacity()));
    constexpr DWORD kLetter = 1;  // also where the system does not say
    const bool known = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IPAPERSIZE, text, 16) > 0;
    const DWORD paper = known ? parse_number(text, 10) : kLetter;
    state.default_paper = paper == kLetter ? DMPAPER_LETTER : DMPAPER_A4;
    state.default_units = paper == kLetter ? 1 : 2;
    state.private_units = paper == DMPAPER_A3 || paper == DMPAPER_A4 ? 2 : 1;
}

}  // namespace

void read_system(ProcessState& state) {
    state.clipboard_file = RegisterClipboardFormatW(TEXT("CF_KvFile"));
    state.clipboard_note = RegisterClipboardFormatW(TEXT("CF_KvNote"));
    state.clipboard_metadata = RegisterClipboardFormatW(TEXT("CF_MetadataEx"));
    state.dbcs_enabled = GetSystemMetrics(SM_DBCSENABLED) != 0;
    read_gui_font(state);
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    state.processor = system.wProcessorArchitecture;
    state.print_environment = environment_of(state.processor);
    state.os_level = GetOsLevel();
    if (state.product_name.empty()) state.product_name.assign(TEXT("Karvo"));
    read_locale(state);
}

namespace {

// The user's font for the product's texts, where one is set.
void read_ui_fonts(ProcessState& state) {
    CRegKey key;
    if (!open_product_key(key, HKEY_CURRENT_USER)) return;
    const WCHAR* font = key.ReadString(TEXT("AppFont"));
    if (font && *font) state.ui_font.assign(font);
}

void read_product_settings(ProcessState& state) {
    state.compatibility = state.silent = 0;
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        CRegKey key;
        if (!open_product_key(key, root)) continue;
        state.compatibility |= key.ReadDword(TEXT("Compatibility"), 0);
        state.silent = key.ReadDword(TEXT("Silent"), state.silent);
    }
}

}  // namespace

DWORD resource_number(UINT string, DWORD fallback) {
    WCHAR number[16] = {};
    return LoadStringW(process_state().resource_module, string, number, 16) > 0 ? parse_number(number, 10) : fallback;
}

BOOL attach_product(HINSTANCE module) {
    ProcessState& state = process_state();
    state.module = module;
    static LONG initialised = 0;
    if (InterlockedExchange(&initialised, 1) == 0) read_system(state);
    read_product_settings(state);  // silence counts for all that may be said from here on
    start_trace();
    read_ui_fonts(state);
    if (!establish_resource_module()) return FALSE;
    KV_ASSERT(state.resource_module);
    format_text(state.dispatcher_name.data(), state.dispatcher_name.capacity(), TEXT("%s Dispatcher"),
                state.product_name.c_str());
    state.localized_product_name.assign(state.product_name.c_str());
    return TRUE;
}

void detach_product() {
    release_resource_module();
    stop_trace();
}

}  // namespace kv

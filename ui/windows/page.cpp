#include "ui/windows/page.h"

#include <cstring>

#include "support/process_state.h"
#include "support/trace.h"
#include "ui/windows/dialogs.h"

namespace kv {
namespace {

// DLGTEMPLATEEX: where its extended style stands.
constexpr size_t kExtendedStyle = 8;

// The dialog as a page is made of it: mirrored for texts that run from right to left.
BOOL copy_template(int dialog, HeapArray<BYTE>& copy) {
    HMODULE module = process_state().module;
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(dialog), RT_DIALOG);
    const DWORD size = resource ? SizeofResource(module, resource) : 0;
    const void* data = size > kExtendedStyle + sizeof(DWORD) ? LockResource(LoadResource(module, resource)) : nullptr;
    if (!data || !copy.alloc(size, kQuietly)) return KV_FAIL(Settings, "dialog %d", dialog);
    std::memcpy(copy.get(), data, size);
    if (texts_run_right_to_left()) {
        DWORD style = 0;
        std::memcpy(&style, copy.get() + kExtendedStyle, sizeof style);
        style |= WS_EX_LAYOUTRTL | WS_EX_RTLREADING;
        std::memcpy(copy.get() + kExtendedStyle, &style, sizeof style);
    }
    return TRUE;
}

void enable(HWND dialog, int control, bool on) {
    EnableWindow(GetDlgItem(dialog, control), on);
    if (HWND label = GetDlgItem(dialog, control + KV_LABEL)) EnableWindow(label, on);
}

bool take_control(HWND dialog, const Control& control, DriverDevMode& mode) {
    HWND window = GetDlgItem(dialog, control.id);
    LONG value = 0;
    if (control.kind == Control::Check) {
        value = IsDlgButtonChecked(dialog, control.id) == BST_CHECKED;
    } else if (control.kind == Control::List) {
        value = chosen(window, get_setting(mode, control.setting));
    } else {
        WCHAR text[32] = {}, lowest[16], highest[16];
        const NumberRange range = range_of(control.setting);
        GetDlgItemTextW(dialog, control.id, text, 32);
        if (!parse_number_in(text, range, value)) {
            format_text(lowest, 16, TEXT("%d"), static_cast<int>(range.lowest));
            format_text(highest, 16, TEXT("%d"), static_cast<int>(range.highest));
            return refuse_entry(dialog, control.id, filled_text(kTextBadNumber, lowest, highest).c_str());
        }
    }
    if (value != get_setting(mode, control.setting)) set_setting(mode, control.setting, value);
    return true;
}

void show_control(HWND dialog, const Control& control, const Sheet& sheet) {
    const LONG value = get_setting(sheet.mode, control.setting);
    set_label(dialog, control.id, control.label);
    switch (control.kind) {
        case Control::List:
            fill_list(GetDlgItem(dialog, control.id), sheet.printer_name.c_str(), control.setting, value);
            break;
        case Control::Number:
            SetDlgItemInt(dialog, control.id, static_cast<UINT>(value), FALSE);
            break;
        default:
            CheckDlgButton(dialog, control.id, value ? BST_CHECKED : BST_UNCHECKED);
    }
}

}  // namespace

void set_label(HWND dialog, int control, UiText text) {
    UiLine line;
    load_text(text, line);
    HWND label = GetDlgItem(dialog, control + KV_LABEL);
    SetWindowTextW(label ? label : GetDlgItem(dialog, control), line.c_str());
}

void fill_list(HWND list, const WCHAR* printer, Setting setting, LONG present) {
    Choices choices;
    if (!list_choices(printer, setting, present, choices)) return;
    for (size_t i = 0; i < choices.count; ++i) {
        const Choice& choice = choices.entries[i];
        const LRESULT line = SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(choice.text.c_str()));
        SendMessageW(list, CB_SETITEMDATA, static_cast<WPARAM>(line), choice.value);
        if (choice.value == present) SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(line), 0);
    }
}

LONG chosen(HWND list, LONG fallback) {
    const LRESULT line = SendMessageW(list, CB_GETCURSEL, 0, 0);
    return line == CB_ERR ? fallback
                          : static_cast<LONG>(SendMessageW(list, CB_GETITEMDATA, static_cast<WPARAM>(line), 0));
}

bool refuse_entry(HWND dialog, int control, const WCHAR* text) {
    MessageBoxW(dialog, text, process_state().product_name.c_str(), MB_OK | MB_ICONWARNING);
    SetFocus(GetDlgItem(dialog, control));
    SendDlgItemMessageW(dialog, control, EM_SETSEL, 0, -1);
    return false;
}

BOOL Page::add() {
    if (!copy_template(dialog_, template_)) return FALSE;
    load_text(title_, title_text_);
    PROPSHEETPAGEW page = {};
    page.dwSize = sizeof page;
    page.dwFlags = PSP_DLGINDIRECT | PSP_USETITLE | (texts_run_right_to_left() ? PSP_RTLREADING : 0);
    page.hInstance = process_state().module;
    page.pResource = reinterpret_cast<const DLGTEMPLATE*>(template_.get());
    page.pszTitle = title_text_.c_str();
    page.pfnDlgProc = handle;
    page.lParam = reinterpret_cast<LPARAM>(this);
    handle_ = sheet_.call_host(sheet_.host, CPSFUNC_ADD_PROPSHEETPAGEW, reinterpret_cast<LPARAM>(&page), 0);
    return handle_ > 0;
}

INT_PTR Page::notify(HWND dialog, UINT code) {
    const bool bad = (code == PSN_KILLACTIVE || code == static_cast<UINT>(PSN_APPLY)) && !take(dialog);
    if (code == static_cast<UINT>(PSN_APPLY) && !bad) {
        apply();
        sheet_.accept();
        sheet_.call_host(sheet_.host, CPSFUNC_SET_RESULT, static_cast<LPARAM>(handle_), CPSUI_OK);
    }
    SetWindowLongPtrW(dialog, DWLP_MSGRESULT, bad ? (code == PSN_KILLACTIVE ? TRUE : PSNRET_INVALID) : 0);
    return TRUE;
}

INT_PTR CALLBACK Page::handle(HWND dialog, UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == WM_INITDIALOG) {
        auto* page = reinterpret_cast<Page*>(reinterpret_cast<const PROPSHEETPAGEW*>(lparam)->lParam);
        page->show(dialog);
        SetWindowLongPtrW(dialog, DWLP_USER, reinterpret_cast<LONG_PTR>(page));  // from here on changes are the user's
        return TRUE;
    }
    auto* page = reinterpret_cast<Page*>(GetWindowLongPtrW(dialog, DWLP_USER));
    if (!page) return FALSE;
    if (message == WM_NOTIFY) return page->notify(dialog, reinterpret_cast<const NMHDR*>(lparam)->code);
    if (message != WM_COMMAND) return FALSE;
    const int what = HIWORD(wparam);
    if (what != CBN_SELCHANGE && what != EN_CHANGE && what != BN_CLICKED && what != LBN_SELCHANGE) return FALSE;
    page->changed(dialog, LOWORD(wparam), what);
    SendMessageW(GetParent(dialog), PSM_CHANGED, reinterpret_cast<WPARAM>(dialog), 0);
    return TRUE;
}

void SettingsPage::show(HWND dialog) {
    for (const Control& control : controls_) show_control(dialog, control, sheet_);
    changed(dialog, 0, 0);
}

void SettingsPage::changed(HWND dialog, int, int) {
    for (const Control& control : controls_) {
        if (control.needs) enable(dialog, control.id, IsDlgButtonChecked(dialog, control.needs) == BST_CHECKED);
    }
}

bool SettingsPage::take(HWND dialog) {
    for (const Control& control : controls_) {
        if (IsWindowEnabled(GetDlgItem(dialog, control.id)) && !take_control(dialog, control, sheet_.mode))
            return false;
    }
    return true;
}

}  // namespace kv

// The pages, and which sheet has which.

#include <iterator>

#include "settings/outbox.h"
#include "support/process_state.h"
#include "ui/windows/dialogs.h"
#include "ui/windows/page.h"

namespace kv {
namespace {

constexpr Control kPaperControls[] = {
    {KV_PAPER, kTextPaper, Control::List, Setting::Paper},
    {KV_ORIENTATION, kTextOrientation, Control::List, Setting::Orientation},
    {KV_TRAY, kTextTray, Control::List, Setting::Tray},
};
constexpr Control kQualityControls[] = {
    {KV_RESOLUTION, kTextResolution, Control::List, Setting::Resolution},
    {KV_DEPTH, kTextDepth, Control::List, Setting::Depth},
    {KV_RECORDS, kTextRecords, Control::Check, Setting::Records},
    {KV_REDUCE_COLORS, kTextReduceColors, Control::Check, Setting::ReduceColors},
    {KV_RUN_LENGTH, kTextRunLength, Control::Check, Setting::RunLength},
    {KV_JPEG, kTextJpeg, Control::Check, Setting::Jpeg},
    {KV_JPEG_QUALITY, kTextJpegQuality, Control::Number, Setting::JpegQuality, KV_JPEG},
    {KV_DOWNSAMPLE, kTextDownsample, Control::Check, Setting::Downsample},
    {KV_DOWNSAMPLE_DPI, kTextDownsampleDpi, Control::List, Setting::DownsampleDpi, KV_DOWNSAMPLE},
    {KV_DOWNSAMPLE_MONO, kTextDownsampleMono, Control::Check, Setting::DownsampleMono},
    {KV_DOWNSAMPLE_MONO_DPI, kTextDownsampleMonoDpi, Control::List, Setting::DownsampleMonoDpi, KV_DOWNSAMPLE_MONO},
};

// The paper, whose size can be entered where it is none of the list.
class PaperPage : public SettingsPage {
public:
    explicit PaperPage(Sheet& sheet) : SettingsPage(sheet, KV_DIALOG_PAPER, kTextPaperPage, kPaperControls) {}

private:
    static WORD units() { return process_state().default_units; }

    void show(HWND dialog) override {
        UiLine unit;
        load_text(units() == 1 ? kTextInches : kTextMillimetres, unit);
        set_label(dialog, KV_WIDTH, kTextWidth);
        set_label(dialog, KV_HEIGHT, kTextHeight);
        SetDlgItemTextW(dialog, KV_WIDTH_UNITS, unit.c_str());
        SetDlgItemTextW(dialog, KV_HEIGHT_UNITS, unit.c_str());
        SettingsPage::show(dialog);
        show_size(dialog, get_sheet_size(sheet_.mode));
        changed(dialog, 0, 0);
    }

    static void show_size(HWND dialog, SheetSize size) {
        TextBuffer<32> width, height;
        format_length(size.width, units(), width);
        format_length(size.height, units(), height);
        SetDlgItemTextW(dialog, KV_WIDTH, width.c_str());
        SetDlgItemTextW(dialog, KV_HEIGHT, height.c_str());
    }

    static bool is_custom(HWND dialog) { return chosen(GetDlgItem(dialog, KV_PAPER), 0) == DMPAPER_USER; }

    void changed(HWND dialog, int control, int) override {
        const bool custom = is_custom(dialog);
        for (int id : {KV_WIDTH, KV_HEIGHT}) {
            EnableWindow(GetDlgItem(dialog, id), custom);
            EnableWindow(GetDlgItem(dialog, id + KV_LABEL), custom);
        }
        if (control != KV_PAPER || custom) return;
        DriverDevMode mode = sheet_.mode;
        set_setting(mode, Setting::Paper, chosen(GetDlgItem(dialog, KV_PAPER), DMPAPER_A4));
        show_size(dialog, get_sheet_size(mode));
    }

    bool take(HWND dialog) override {
        if (!SettingsPage::take(dialog)) return false;
        if (!is_custom(dialog)) return true;
        SheetSize size = {};
        for (int id : {KV_WIDTH, KV_HEIGHT}) {
            WCHAR text[32] = {};
            GetDlgItemTextW(dialog, id, text, 32);
            if (parse_length(text, units(), id == KV_WIDTH ? size.width : size.height)) continue;
            UiLine why;
            load_text(kTextBadSize, why);
            return refuse_entry(dialog, id, why.c_str());
        }
        set_sheet_size(sheet_.mode, size);
        return true;
    }
};

class FontPage : public Page {
public:
    explicit FontPage(Sheet& sheet) : Page(sheet, KV_DIALOG_FONTS, kTextFontPage) {}

private:
    void show(HWND dialog) override {
        set_label(dialog, KV_DEFAULT_FONT, kTextDefaultFont);
        set_label(dialog, KV_EMBED_FONTS, kTextEmbedFonts);
        set_label(dialog, KV_CAPTURE_FONTS, kTextCaptureFonts);
        WCHAR font[LF_FACESIZE];
        to_wide(font, std::size(font), sheet_.mode.kv.DefaultFont);
        SendDlgItemMessageW(dialog, KV_DEFAULT_FONT, EM_SETLIMITTEXT, LF_FACESIZE - 1, 0);
        SetDlgItemTextW(dialog, KV_DEFAULT_FONT, font);
        shown_ = read_font_settings();
        CheckDlgButton(dialog, KV_EMBED_FONTS, shown_.embed ? BST_CHECKED : BST_UNCHECKED);
        CheckDlgButton(dialog, KV_CAPTURE_FONTS, shown_.capture ? BST_CHECKED : BST_UNCHECKED);
        taken_ = shown_;
    }
    void changed(HWND, int, int) override {}
    bool take(HWND dialog) override {
        WCHAR font[LF_FACESIZE] = {};
        GetDlgItemTextW(dialog, KV_DEFAULT_FONT, font, LF_FACESIZE);
        if (*font) {  // without a name the one of before counts
            to_ansi(sheet_.mode.kv.DefaultFont, sizeof sheet_.mode.kv.DefaultFont, font);
            sheet_.mode.kv.mask |= kPrivateDefaultFont;
        }
        taken_ = {IsDlgButtonChecked(dialog, KV_EMBED_FONTS) == BST_CHECKED,
                  IsDlgButtonChecked(dialog, KV_CAPTURE_FONTS) == BST_CHECKED};
        return true;
    }
    void apply() override {
        if (taken_.embed == shown_.embed && taken_.capture == shown_.capture) return;
        write_font_settings(taken_);
        shown_ = taken_;
    }

    FontSettings shown_ = {}, taken_ = {};
};

UiText name_of(Setting setting) {
    switch (setting) {
        case Setting::Paper:
            return kTextPaper;
        case Setting::Orientation:
            return kTextOrientation;
        case Setting::Resolution:
            return kTextResolution;
        case Setting::Depth:
            return kTextDepth;
        case Setting::Compression:
            return kTextCompression;
        case Setting::JpegQuality:
            return kTextJpegQuality;
        case Setting::DownsampleDpi:
            return kTextDownsample;
        default:
            return kTextDownsampleMono;
    }
}

// The printer's defaults and enforced values: one setting is chosen, and its value and whether it is enforced are
// shown. And the outbox, which is the same for all printers.
class DefaultsPage : public Page {
public:
    explicit DefaultsPage(Sheet& sheet) : Page(sheet, KV_DIALOG_DEFAULTS, kTextDefaultsPage) {}

private:
    static constexpr LONG kNotSet = -1;
    struct Stored {
        LONG value = kNotSet;
        bool enforced = false, changed = false;
    };

    void show(HWND dialog) override {
        set_label(dialog, KV_SETTING, kTextSetting);
        set_label(dialog, KV_VALUE, kTextDefaultValue);
        set_label(dialog, KV_ENFORCED, kTextEnforced);
        const WCHAR* printer = sheet_.printer_name.c_str();
        for (size_t i = 0; i < std::size(kStoredSettings); ++i) {
            Stored& stored = stored_[i];
            stored.enforced = read_stored(printer, Layer::Enforced, kStoredSettings[i], stored.value);
            if (!stored.enforced) read_stored(printer, Layer::Default, kStoredSettings[i], stored.value);
            UiLine name;
            load_text(name_of(kStoredSettings[i]), name);
            strip_label(name);
            SendDlgItemMessageW(dialog, KV_SETTING, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
        }
        SendDlgItemMessageW(dialog, KV_SETTING, LB_SETCURSEL, 0, 0);
        show_setting(dialog);
        set_label(dialog, KV_OUTBOX, kTextOutbox);
        read_outbox(shown_outbox_);
        outbox_.assign(shown_outbox_.c_str());
        SendDlgItemMessageW(dialog, KV_OUTBOX, EM_SETLIMITTEXT, kPathCapacity - 1, 0);
        SetDlgItemTextW(dialog, KV_OUTBOX, outbox_.c_str());
    }

    size_t selected(HWND dialog) const {
        const LRESULT line = SendDlgItemMessageW(dialog, KV_SETTING, LB_GETCURSEL, 0, 0);
        return line >= 0 && line < static_cast<LRESULT>(std::size(stored_)) ? static_cast<size_t>(line) : 0;
    }

    void show_setting(HWND dialog) {
        const size_t index = selected(dialog);
        const Stored& stored = stored_[index];
        HWND list = GetDlgItem(dialog, KV_VALUE);
        SendMessageW(list, CB_RESETCONTENT, 0, 0);
        UiLine none;
        load_text(kTextNotSet, none);
        SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(none.c_str()));
        SendMessageW(list, CB_SETITEMDATA, 0, kNotSet);
        const LONG usual = get_setting(sheet_.mode, kStoredSettings[index]);
        fill_list(list, sheet_.printer_name.c_str(), kStoredSettings[index],
                  stored.value == kNotSet ? usual : stored.value);
        if (kStoredSettings[index] == Setting::Paper) {  // a size of one's own, the last of them, is none of a printer
            SendMessageW(list, CB_DELETESTRING, static_cast<WPARAM>(SendMessageW(list, CB_GETCOUNT, 0, 0) - 1), 0);
        }
        if (stored.value == kNotSet) SendMessageW(list, CB_SETCURSEL, 0, 0);
        CheckDlgButton(dialog, KV_ENFORCED, stored.enforced ? BST_CHECKED : BST_UNCHECKED);
        EnableWindow(GetDlgItem(dialog, KV_ENFORCED), stored.value != kNotSet);
    }

    void changed(HWND dialog, int control, int) override {
        if (control == KV_OUTBOX) return;
        if (control == KV_SETTING) return show_setting(dialog);
        Stored& stored = stored_[selected(dialog)];
        stored.value = chosen(GetDlgItem(dialog, KV_VALUE), stored.value);
        stored.enforced = stored.value != kNotSet && IsDlgButtonChecked(dialog, KV_ENFORCED) == BST_CHECKED;
        stored.changed = true;
        EnableWindow(GetDlgItem(dialog, KV_ENFORCED), stored.value != kNotSet);
    }
    bool take(HWND dialog) override {
        GetDlgItemTextW(dialog, KV_OUTBOX, outbox_.data(), kPathCapacity);
        if (outbox_.empty() || is_full_path(outbox_.c_str())) return true;
        UiLine why;
        load_text(kTextBadFolder, why);
        return refuse_entry(dialog, KV_OUTBOX, why.c_str());
    }

    // A value stands in one of the layers.
    void apply() override {
        if (!same_text_ignoring_case(outbox_.c_str(), shown_outbox_.c_str()) && write_outbox(outbox_.c_str())) {
            shown_outbox_.assign(outbox_.c_str());
        }
        const WCHAR* printer = sheet_.printer_name.c_str();
        for (size_t i = 0; i < std::size(stored_); ++i) {
            Stored& stored = stored_[i];
            if (!stored.changed) continue;
            for (Layer layer : {Layer::Default, Layer::Enforced}) {
                if (stored.value != kNotSet && stored.enforced == (layer == Layer::Enforced)) {
                    write_stored(printer, layer, kStoredSettings[i], stored.value);
                } else {
                    delete_stored(printer, layer, kStoredSettings[i]);
                }
            }
            stored.changed = false;
        }
    }

    Stored stored_[std::size(kStoredSettings)];
    PathText shown_outbox_, outbox_;
};

template <class PageType, class... Arguments>
void append_page(Sheet& sheet, Arguments... arguments) {
    sheet.pages[sheet.page_count].reset(make_object<PageType>(sheet, arguments...));
    if (sheet.pages[sheet.page_count]) ++sheet.page_count;
}

ObjectPtr<Sheet> make_sheet(const PROPSHEETUI_INFO& info, HANDLE printer, const WCHAR* name, const DEVMODEW* in) {
    ObjectPtr<Sheet> sheet(make_object<Sheet>());
    if (!sheet) return sheet;
    sheet->printer = printer;
    sheet->printer_name.assign(name ? name : TEXT(""));
    sheet->host = info.hComPropSheet;
    sheet->call_host = info.pfnComPropSheet;
    settled_mode(printer, sheet->printer_name.c_str(), in, sheet->mode);
    return sheet;
}

}  // namespace

Sheet::~Sheet() = default;

BOOL Sheet::add_pages() {
    for (size_t i = 0; i < page_count; ++i) {
        if (!pages[i]->add()) return FALSE;
    }
    return page_count > 0;
}

void Sheet::accept() {
    if (!request || !request->pdmOut || !(request->fMode & DM_OUT_BUFFER)) return;
    DriverDevMode settled;
    settled_mode(printer, printer_name.c_str(), &mode, settled);
    give_mode(*request, settled);
}

ObjectPtr<Sheet> make_document_sheet(const PROPSHEETUI_INFO& info, DOCUMENTPROPERTYHEADER& request) {
    const DEVMODEW* in = request.fMode & DM_IN_BUFFER ? request.pdmIn : nullptr;
    ObjectPtr<Sheet> sheet = make_sheet(info, request.hPrinter, request.pszPrinterName, in);
    if (!sheet) return sheet;
    sheet->request = &request;
    append_page<PaperPage>(*sheet);
    append_page<SettingsPage>(*sheet, static_cast<int>(KV_DIALOG_QUALITY), kTextQualityPage,
                              std::span<const Control>(kQualityControls));
    append_page<FontPage>(*sheet);
    return sheet;
}

ObjectPtr<Sheet> make_printer_sheet(const PROPSHEETUI_INFO& info, const DEVICEPROPERTYHEADER& request) {
    ObjectPtr<Sheet> sheet = make_sheet(info, request.hPrinter, request.pszPrinterName, nullptr);
    if (sheet) append_page<DefaultsPage>(*sheet);
    return sheet;
}

}  // namespace kv

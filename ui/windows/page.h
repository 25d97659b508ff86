#pragma once
// One page of a sheet: a dialog of this module's resources, its controls named and filled from a table.

#include <span>

#include "ui/settings_model.h"
#include "ui/texts.h"
#include "ui/windows/sheet.h"

namespace kv {

struct Control {
    enum Kind : BYTE { List, Number, Check };
    int id;
    UiText label;
    Kind kind;
    Setting setting;
    int needs = 0;  // a check box that this control is disabled without
};

class Page {
public:
    Page(Sheet& sheet, int dialog, UiText title) : sheet_(sheet), dialog_(dialog), title_(title) {}
    virtual ~Page() = default;

    // TRUE when the host has taken the page.
    BOOL add();

protected:
    virtual void show(HWND dialog) = 0;
    virtual void changed(HWND dialog, int control, int what) = 0;
    // False where an entry is not valid; the user has been told then.
    virtual bool take(HWND dialog) = 0;
    virtual void apply() {}

    Sheet& sheet_;

private:
    static INT_PTR CALLBACK handle(HWND dialog, UINT message, WPARAM wparam, LPARAM lparam);
    INT_PTR notify(HWND dialog, UINT code);

    int dialog_;
    UiText title_;
    HeapArray<BYTE> template_;
    TextBuffer<64> title_text_;
    LONG_PTR handle_ = 0;  // the host's, of the page
};

// A page of controls that stand for settings of the sheet's device mode.
class SettingsPage : public Page {
public:
    SettingsPage(Sheet& sheet, int dialog, UiText title, std::span<const Control> controls)
        : Page(sheet, dialog, title), controls_(controls) {}

protected:
    void show(HWND dialog) override;
    void changed(HWND dialog, int control, int what) override;
    bool take(HWND dialog) override;

private:
    std::span<const Control> controls_;
};

void set_label(HWND dialog, int control, UiText text);
void fill_list(HWND list, const WCHAR* printer, Setting setting, LONG present);
// The value behind the chosen line of a list or combo box; `fallback` where none is chosen.
LONG chosen(HWND list, LONG fallback);
// Tells what is wrong with a control and moves there. False.
bool refuse_entry(HWND dialog, int control, const WCHAR* text);

}  // namespace kv

#pragma once
// Property sheets: pages of dialogs over the settings of a device mode or of a printer.

#include "platform/windows/property_sheets.h"
#include "ui/document_properties.h"
#include "ui/printer_defaults.h"

namespace kv {

class Page;

// What the pages of one sheet work on.
struct Sheet {
    static constexpr size_t kMostPages = 3;

    HANDLE printer = nullptr;
    PathText printer_name;
    DriverDevMode mode;                         // as the pages have set it
    DOCUMENTPROPERTYHEADER* request = nullptr;  // of a document; null: the printer's own defaults
    HANDLE host = nullptr;
    PFNCOMPROPSHEET call_host = nullptr;
    ObjectPtr<Page> pages[kMostPages];
    size_t page_count = 0;

    ~Sheet();
    // Gives the pages to the host; FALSE when one could not be added.
    BOOL add_pages();
    // The result of the sheet: what the document's caller is given.
    void accept();
};

// Null when memory is out.
ObjectPtr<Sheet> make_document_sheet(const PROPSHEETUI_INFO& info, DOCUMENTPROPERTYHEADER& request);
ObjectPtr<Sheet> make_printer_sheet(const PROPSHEETUI_INFO& info, const DEVICEPROPERTYHEADER& request);

}  // namespace kv

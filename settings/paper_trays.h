#pragma once
// Named paper trays: bins 300 to 32766, defined machine-wide and by the user, for the product and for a printer.

#include "support/memory.h"
#include "support/text.h"

namespace kv {

struct PaperTray {
    WORD bin;
    TextBuffer<kPathCapacity> name;
};

struct PaperTrays {
    HeapArray<PaperTray> entries;
    size_t count = 0;

    // Null when there is no tray of that bin.
    const PaperTray* find(WORD bin) const;
};

// The merged list. Machine-wide trays win over an ordinary user's own; an administrator's own win over them.
void GetPaperTrays(const WCHAR* printer, PaperTrays& trays);

}  // namespace kv

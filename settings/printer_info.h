#pragma once
// What the spooler knows of a printer.

#include "support/memory.h"

namespace kv {

class CPrinter {
public:
    // The information of a level (PRINTER_INFO_n and what it points at). Asked for its size first, and again
    // when it grew meanwhile, five times at most. Not quiet, failures are shown. `size` (may be null) receives the
    // bytes of the buffer.
    static BOOL GetPrinterInfo(HANDLE printer, DWORD level, HeapArray<BYTE>& info, bool quiet, size_t* size = nullptr);
};

// A copy of the device mode that the printer holds at level 2, 8 or 9; none when it is not whole.
BOOL GetPrinterDevMode(HANDLE printer, DWORD level, HeapArray<BYTE>& mode, bool quiet);

}  // namespace kv

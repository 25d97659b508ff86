#include "support/memory.h"

#include <algorithm>

#include "support/message.h"
#include "support/trace.h"

namespace kv {

BOOL AllocMem(void** out, size_t size, bool zero, const WCHAR* operation) {
    *out = nullptr;
    if (size == 0) return FALSE;
    *out = HeapAlloc(GetProcessHeap(), zero ? DWORD{HEAP_ZERO_MEMORY} : DWORD{0}, size);
    if (*out) return TRUE;
    if (operation) report_out_of_memory(operation);
    return KV_FAIL(Support, "no %u bytes of memory", static_cast<unsigned>(std::min<size_t>(size, 0xFFFFFFFF)));
}

void FreeMem(void* block) {
    if (block) HeapFree(GetProcessHeap(), 0, block);
}

}  // namespace kv

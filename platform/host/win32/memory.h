#pragma once
// Heap, movable global memory and pointer probes.

#include "platform/host/win32/types.h"

enum : UINT { GMEM_FIXED = 0, GMEM_MOVEABLE = 2, GMEM_ZEROINIT = 0x40 };
enum : DWORD { HEAP_ZERO_MEMORY = 8 };

HANDLE GetProcessHeap();
LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
HGLOBAL GlobalReAlloc(HGLOBAL block, SIZE_T bytes, UINT flags);
LPVOID GlobalLock(HGLOBAL block);
BOOL GlobalUnlock(HGLOBAL block);
HGLOBAL GlobalFree(HGLOBAL block);
SIZE_T GlobalSize(HGLOBAL block);
HLOCAL LocalFree(HLOCAL block);

// TRUE when the range is not readable.
BOOL IsBadReadPtr(const void* pointer, ULONG_PTR bytes);

// Heap blocks, movable global memory and pointer probes.

#include "platform/host/win32/memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "platform/host/state.h"

using namespace kv::host;

namespace {

// A handle of global memory is the address of this, so that a block can move while the handle stays.
struct GlobalBlock {
    void* data;
    SIZE_T size;
    int locks;
};

GlobalBlock* global_block(HGLOBAL handle) { return static_cast<GlobalBlock*>(handle); }

void* allocate(SIZE_T bytes, bool zeroed) {
    if (machine().refused_blocks.contains(bytes)) return nullptr;
    const SIZE_T room = bytes ? bytes : 1;
    return zeroed ? std::calloc(1, room) : std::malloc(room);
}

}  // namespace

HANDLE GetProcessHeap() { return reinterpret_cast<HANDLE>(1); }

LPVOID HeapAlloc(HANDLE, DWORD flags, SIZE_T bytes) {
    if (should_fail(CallKind::Allocation, "HeapAlloc")) return fail_with<LPVOID>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    void* block = allocate(bytes, flags & HEAP_ZERO_MEMORY);
    if (!block) return fail_with<LPVOID>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    ++counters().heap_blocks;
    return block;
}

BOOL HeapFree(HANDLE, DWORD, LPVOID block) {
    if (!block) return TRUE;
    --counters().heap_blocks;
    std::free(block);
    return TRUE;
}

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
    if (should_fail(CallKind::Allocation, "GlobalAlloc")) return fail_with<HGLOBAL>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    void* data = allocate(bytes, flags & GMEM_ZEROINIT);
    if (!data) return fail_with<HGLOBAL>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    ++counters().global_blocks;
    return new GlobalBlock{data, bytes, 0};
}

HGLOBAL GlobalReAlloc(HGLOBAL handle, SIZE_T bytes, UINT flags) {
    if (should_fail(CallKind::Allocation, "GlobalReAlloc")) return fail_with<HGLOBAL>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    GlobalBlock* block = global_block(handle);
    if (!block || (block->locks && !(flags & GMEM_MOVEABLE))) return fail_with<HGLOBAL>(ERROR_INVALID_HANDLE, nullptr);
    void* data = std::realloc(block->data, bytes ? bytes : 1);
    if (!data) return fail_with<HGLOBAL>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    if ((flags & GMEM_ZEROINIT) && bytes > block->size) {
        std::memset(static_cast<char*>(data) + block->size, 0, bytes - block->size);
    }
    block->data = data;
    block->size = bytes;
    return handle;
}

LPVOID GlobalLock(HGLOBAL handle) {
    if (should_fail(CallKind::Allocation, "GlobalLock")) return fail_with<LPVOID>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    if (!handle) return fail_with<LPVOID>(ERROR_INVALID_HANDLE, nullptr);
    ++global_block(handle)->locks;
    return global_block(handle)->data;
}

BOOL GlobalUnlock(HGLOBAL handle) {
    GlobalBlock* block = global_block(handle);
    if (!block || block->locks == 0) return fail_with(ERROR_INVALID_HANDLE);
    SetLastError(ERROR_SUCCESS);
    return --block->locks > 0;
}

HGLOBAL GlobalFree(HGLOBAL handle) {
    if (!handle) return nullptr;
    --counters().global_blocks;
    std::free(global_block(handle)->data);
    delete global_block(handle);
    return nullptr;
}

SIZE_T GlobalSize(HGLOBAL handle) { return handle ? global_block(handle)->size : 0; }

HLOCAL LocalFree(HLOCAL block) {
    if (block) --counters().local_blocks;
    std::free(block);
    return nullptr;
}

BOOL IsBadReadPtr(const void* pointer, ULONG_PTR bytes) {
    if (bytes == 0) return FALSE;
    if (!pointer) return TRUE;
    // The kernel reads the range for us: a pipe's write fails with EFAULT on the first unmapped page.
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return TRUE;
    const long page = sysconf(_SC_PAGESIZE);
    auto readable = [&](const char* at) {
        char byte;
        return write(ends[1], at, 1) == 1 && read(ends[0], &byte, 1) == 1;
    };
    const char* start = static_cast<const char*>(pointer);
    bool good = readable(start + bytes - 1);
    for (ULONG_PTR at = 0; good && at < bytes; at += static_cast<ULONG_PTR>(page)) good = readable(start + at);
    close(ends[0]);
    close(ends[1]);
    return !good;
}

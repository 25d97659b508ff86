// What the compiler's stack protector asks of the run-time: the value behind each frame that has buffers, and the end
// of the process where it was overwritten. The compiler's own library opens a cryptographic provider for the value,
// which loads further libraries while this one is being loaded.

#include <intrin.h>

#include "platform/win32.h"

extern "C" {
uintptr_t __stack_chk_guard = static_cast<uintptr_t>(0xBB40E64E2B992DDFull);

// Not through any handler of the process, whose own frames may be what is broken.
[[noreturn]] void __stack_chk_fail() {
    constexpr unsigned kStackCookie = 2;  // FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
    asm volatile("int $0x29" : : "c"(kStackCookie));
    __builtin_unreachable();
}
}

namespace {

// Before all other initialisation: no function whose frame is guarded is open then. What goes in differs from process
// to process (addresses, ids) and from start to start (clocks).
__attribute__((constructor(101), no_stack_protector, used)) void make_stack_guard() {
    FILETIME time;
    LARGE_INTEGER counter;
    GetSystemTimeAsFileTime(&time);
    QueryPerformanceCounter(&counter);
    ULONGLONG value = static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    value ^= static_cast<ULONGLONG>(counter.QuadPart) * 0x9E3779B97F4A7C15ull;
    value ^= static_cast<ULONGLONG>(GetCurrentProcessId()) << 24 ^ static_cast<ULONGLONG>(GetCurrentThreadId()) << 40;
    value ^= static_cast<ULONGLONG>(reinterpret_cast<uintptr_t>(&time)) * 0xBF58476D1CE4E5B9ull;
    value ^= static_cast<ULONGLONG>(reinterpret_cast<uintptr_t>(&__stack_chk_guard)) << 16 ^ __rdtsc();
    value ^= value >> 29;
    // A zero byte that lies first ends what an overrunning text copy could write of it.
    __stack_chk_guard = static_cast<uintptr_t>(value) & ~uintptr_t{0xFF};
}

}  // namespace

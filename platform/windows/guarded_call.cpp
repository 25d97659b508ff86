// The compiler has no structured exception handling of its own on this target, so the handler's frame is set up
// by hand: on 32-bit Windows a registration on the thread's handler chain, on 64-bit Windows a function with its
// own entry in the unwind tables.

#include "platform/guarded_call.h"

#include <float.h>
#include <malloc.h>

#include "platform/win32.h"

namespace kv {
namespace {

// Where the stack was used up, its guard page is gone: without it the next time would end the process.
bool stack_was_used_up(const EXCEPTION_RECORD& record) { return record.ExceptionCode == EXCEPTION_STACK_OVERFLOW; }

}  // namespace

#ifdef __i386__

namespace {

struct Registration {
    Registration* previous;
    void* handler;
    void* jump[5];
    bool needs_guard_page;
};

constexpr DWORD kUnwinding = 0x6;  // EH_UNWINDING, EH_EXIT_UNWIND

EXCEPTION_DISPOSITION __cdecl handle(EXCEPTION_RECORD* record, void* frame, CONTEXT*, void*) {
    if (record->ExceptionFlags & kUnwinding) return ExceptionContinueSearch;
    static_cast<Registration*>(frame)->needs_guard_page = stack_was_used_up(*record);
    void* volatile kept = frame;                 // unwinding need not preserve registers
    RtlUnwind(frame, nullptr, record, nullptr);  // the handlers of inner frames clean up first
    __builtin_longjmp(static_cast<Registration*>(kept)->jump, 1);
}

}  // namespace

__attribute__((noinline)) bool run_guarded(void (*work)(void*), void* context) {
    Registration registration;
    registration.previous = reinterpret_cast<Registration*>(__readfsdword(0));
    registration.handler = reinterpret_cast<void*>(&handle);
    registration.needs_guard_page = false;
    Registration* volatile chained = &registration;
    volatile bool completed = false;
    if (__builtin_setjmp(registration.jump) == 0) {
        __writefsdword(0, reinterpret_cast<DWORD>(&registration));
        work(context);
        completed = true;
    }
    __writefsdword(0, reinterpret_cast<DWORD>(chained->previous));
    if (chained->needs_guard_page) _resetstkoflw();
    return completed;
}

#else

extern "C" {

enum Ended : int { kFaulted, kCompleted, kStackUsedUp };

extern char kv_guard_landing[];
Ended kv_guard_run(void (*work)(void*), void* context);

EXCEPTION_DISPOSITION kv_guard_handler(EXCEPTION_RECORD* record, void* frame, CONTEXT* context,
                                       DISPATCHER_CONTEXT* dispatcher) {
    constexpr DWORD kUnwinding = 0x66;
    if (record->ExceptionFlags & kUnwinding) return ExceptionContinueSearch;
    const intptr_t result = stack_was_used_up(*record) ? kStackUsedUp : kFaulted;
    // Continues at the landing with this in the result register.
    RtlUnwindEx(frame, kv_guard_landing, record, reinterpret_cast<void*>(result), context, dispatcher->HistoryTable);
    return ExceptionContinueSearch;
}

}  // extern "C"

asm(R"(
    .text
    .globl kv_guard_run, kv_guard_landing
    .seh_proc kv_guard_run
kv_guard_run:
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    .seh_handler kv_guard_handler, @except
    movq %rcx, %rax
    movq %rdx, %rcx
    call *%rax
    movl $1, %eax
kv_guard_landing:
    addq $40, %rsp
    ret
    .seh_endproc
)");

bool run_guarded(void (*work)(void*), void* context) {
    const Ended ended = kv_guard_run(work, context);
    if (ended == kStackUsedUp) _resetstkoflw();
    return ended == kCompleted;
}

#endif

void set_round_to_nearest() { _controlfp(_RC_NEAR, _MCW_RC); }

}  // namespace kv

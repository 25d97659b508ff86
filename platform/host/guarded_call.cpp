#include "platform/guarded_call.h"

#include <array>
#include <cfenv>
#include <csetjmp>
#include <csignal>

namespace kv {
namespace {

constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
std::array<struct sigaction, kSignals.size()> previous_actions;
thread_local sigjmp_buf* innermost = nullptr;

void on_signal(int number, siginfo_t*, void*) {
    if (innermost) siglongjmp(*innermost, 1);
    // Not ours: the fault happens again under the action that was there before.
    for (size_t i = 0; i < kSignals.size(); ++i) {
        if (kSignals[i] == number) sigaction(number, &previous_actions[i], nullptr);
    }
}

void install_handlers() {
    struct sigaction action = {};
    action.sa_sigaction = on_signal;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
    for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &previous_actions[i]);
}

}  // namespace

bool run_guarded(void (*work)(void*), void* context) {
    [[maybe_unused]] static const bool installed = (install_handlers(), true);
    sigjmp_buf here;
    sigjmp_buf* const outer = innermost;
    // No signal is blocked while its handler runs, so that there is no mask to restore.
    if (sigsetjmp(here, 0) == 0) {
        innermost = &here;
        try {
            work(context);
            innermost = outer;
            return true;
        } catch (...) {
        }
    }
    innermost = outer;
    return false;
}

void set_round_to_nearest() { std::fesetround(FE_TONEAREST); }

}  // namespace kv

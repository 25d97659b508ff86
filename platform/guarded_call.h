#pragma once
// Runs a piece of work so that nothing it raises reaches the caller: structured exceptions on Windows, C++
// exceptions and the synchronous signals on the host. After a caught access violation the destructors between
// the fault and the guard have not run.

#include <memory>
#include <type_traits>

namespace kv {

// False when the work raised an exception.
bool run_guarded(void (*work)(void*), void* context);

template <class Callable>
bool guarded_call(Callable&& callable) {
    using Work = std::remove_reference_t<Callable>;
    return run_guarded([](void* context) { (*static_cast<Work*>(context))(); }, std::addressof(callable));
}

// Rounds floating-point results to nearest from here on, whatever mode the caller's thread was in.
void set_round_to_nearest();

}  // namespace kv

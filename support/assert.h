#pragma once
// What must hold at a place of the code. Checked in builds without NDEBUG, which look for faults (the presets asan, dev
// and fuzz), where a false one ends the process; elsewhere it costs nothing and is not evaluated.

namespace kv {

[[noreturn]] void assertion_failed(const char* condition, const char* file, int line);

}  // namespace kv

#ifndef NDEBUG
#define KV_ASSERT(condition) ((condition) ? (void)0 : ::kv::assertion_failed(#condition, __FILE__, __LINE__))
// A condition that no caller can bring about, tested all the same because a stranger's mistake would cost too much.
#define KV_NEVER(condition) \
    ((condition) ? (::kv::assertion_failed("never: " #condition, __FILE__, __LINE__), true) : false)
#define KV_ALWAYS(condition) \
    ((condition) ? true : (::kv::assertion_failed("always: " #condition, __FILE__, __LINE__), false))
#else
#define KV_ASSERT(condition) ((void)sizeof((condition) ? 1 : 0))
#define KV_NEVER(condition) (condition)
#define KV_ALWAYS(condition) (condition)
#endif

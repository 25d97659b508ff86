#pragma once
// The trace: what the driver decided and what it could not do, a line each, for whoever looks for the reason of a
// printout. Off by default, and then one comparison a place. The text that switches it on lists components with
// levels, "record:info,fonts:warning", or one level for all of them, "info"; a later entry wins. It is the value Trace
// (REG_SZ) of the product's machine and user keys, and on the host the variable KV_TRACE.
//
//   error    a refused call or a failed step, where it arises, with its last error
//   warning  what was done in another way than asked for
//   info     decisions: why a font travels, how an image is stored, which dispatcher was found
//   record   every record that is written
//
// Only records know the document: those lines, and the one that says what failed a document first, name the position in
// it. The line of a step below them, an allocation or a file, stands before theirs on the same thread.
//
// A line: seconds since the trace began, thread, component, level, function, text. Nothing here changes the thread's
// last error, allocates or throws.

#include <array>
#include <cstddef>

#include "platform/win32.h"

namespace kv {

enum class TraceLevel : unsigned char { Off, Error, Warning, Info, Record };
enum class TraceComponent : unsigned char { Driver, Record, Fonts, Image, Dispatch, Settings, Support };
inline constexpr size_t kTraceComponents = 7;

// Levels by component: written at process attach and by tests, read everywhere.
extern std::array<TraceLevel, kTraceComponents> trace_levels;

inline bool tracing(TraceComponent component, TraceLevel level) {
    return trace_levels[static_cast<size_t>(component)] >= level;
}

// Reads the settings of registry and environment, and opens the sink where anything is to be traced.
void start_trace();
void stop_trace();
// Unknown words are passed over, and the answer is false then; an empty text switches everything off.
bool set_trace_levels(const char* text);

#ifdef __GNUC__
__attribute__((format(printf, 4, 5)))
#endif
void trace_line(TraceComponent component, TraceLevel level, const char* function, const char* format, ...);
// A line of level error that ends in the last error. FALSE.
#ifdef __GNUC__
__attribute__((format(printf, 3, 4)))
#endif
BOOL trace_failure(TraceComponent component, const char* function, const char* format, ...);

// A text of the system's for a line, in UTF-8; a long one is cut.
class TraceText {
public:
    explicit TraceText(const WCHAR* text);
    const char* c_str() const { return bytes_.data(); }

private:
    std::array<char, 400> bytes_ = {};
};

}  // namespace kv

// KV_TRACE(Record, Error, "type %u", type): arguments are evaluated only when the line is wanted.
#define KV_TRACE(component, level, ...)                                                                        \
    do {                                                                                                       \
        if (::kv::tracing(::kv::TraceComponent::component, ::kv::TraceLevel::level)) {                         \
            ::kv::trace_line(::kv::TraceComponent::component, ::kv::TraceLevel::level, __func__, __VA_ARGS__); \
        }                                                                                                      \
    } while (false)

// The answer of a call that is refused or fails here: `return KV_FAIL(Record, "no surface");`, FALSE.
#define KV_FAIL(component, ...)                                                        \
    (::kv::tracing(::kv::TraceComponent::component, ::kv::TraceLevel::Error)           \
         ? ::kv::trace_failure(::kv::TraceComponent::component, __func__, __VA_ARGS__) \
         : FALSE)

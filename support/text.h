#pragma once
// UTF-16 texts in fixed buffers. Every copy truncates to the buffer and terminates it.

#include <cstdarg>
#include <cstddef>

#include "platform/win32.h"

namespace kv {

// Units before the terminating 0; a null text has none.
size_t text_length(const WCHAR* text);
// Copies at most capacity - 1 units and terminates. Returns the units copied. capacity is at least 1.
size_t copy_text(WCHAR* target, size_t capacity, const WCHAR* source);
size_t append_text(WCHAR* target, size_t capacity, const WCHAR* source);
// Without regard to letter case, unit by unit, as the system compares file names and users: no two spellings are one,
// and the user's language plays no part. Below 0, 0 or above: a stands before b, is the same, or behind.
int compare_text_ignoring_case(const WCHAR* a, const WCHAR* b);
bool same_text_ignoring_case(const WCHAR* a, const WCHAR* b);
bool starts_with(const WCHAR* text, const WCHAR* prefix);
bool starts_with_ignoring_case(const WCHAR* text, const WCHAR* prefix);
// The last occurrence of a unit, or null.
const WCHAR* find_last(const WCHAR* text, WCHAR unit);
// The first occurrence of a text, or null.
const WCHAR* find_text(const WCHAR* text, const WCHAR* part);

// Formats as the C library's printf does, with "%s" for UTF-16 text and "%hs" for 8-bit text (ASCII). Numbers have a
// precision of at most 150. Truncates like copy_text. Returns the units written.
size_t format_text(WCHAR* target, size_t capacity, const WCHAR* format, ...);
// The same; returns the units of the whole text, which may be more than fit.
size_t vformat_text(WCHAR* target, size_t capacity, const WCHAR* format, va_list arguments);

// A text of at most Capacity - 1 units.
template <size_t Capacity>
class TextBuffer {
public:
    TextBuffer() { units_[0] = 0; }
    explicit TextBuffer(const WCHAR* text) { copy_text(units_, Capacity, text); }

    void assign(const WCHAR* text) { copy_text(units_, Capacity, text); }
    void append(const WCHAR* text) { append_text(units_, Capacity, text); }
    void truncate(size_t length) {
        if (length < Capacity) units_[length] = 0;
    }
    void clear() { units_[0] = 0; }

    const WCHAR* c_str() const { return units_; }
    // For functions of the system that fill a buffer of capacity() units and terminate it.
    WCHAR* data() { return units_; }
    static constexpr size_t capacity() { return Capacity; }
    size_t length() const { return text_length(units_); }
    bool empty() const { return units_[0] == 0; }

private:
    WCHAR units_[Capacity];
};

inline constexpr size_t kPathCapacity = 260;
using PathText = TextBuffer<kPathCapacity>;

// Between UTF-16 and 8-bit text of a code page. The result is truncated without splitting a double-byte
// character and terminated; an inconvertible text gives an empty one. Returns the units or bytes written.
size_t to_ansi(char* target, size_t capacity, const WCHAR* source, UINT code_page = CP_ACP);
size_t to_wide(WCHAR* target, size_t capacity, const char* source, UINT code_page = CP_ACP);
// Copies 8-bit text of the system code page under the same rule. source_capacity bounds the read.
size_t copy_ansi(char* target, size_t capacity, const char* source, size_t source_capacity);

}  // namespace kv

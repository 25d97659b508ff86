#include "support/text.h"

#include <algorithm>
#include <cstring>

#include "support/assert.h"

namespace kv {
namespace {

// CompareStringOrdinal, which systems before Windows Vista lack.
using CompareOrdinal = int(WINAPI*)(LPCWSTR, int, LPCWSTR, int, BOOL);
CompareOrdinal find_compare_ordinal() {
    HMODULE kernel = GetModuleHandleW(TEXT("kernel32.dll"));
    if (!kernel) return nullptr;
    return reinterpret_cast<CompareOrdinal>(reinterpret_cast<void*>(GetProcAddress(kernel, "CompareStringOrdinal")));
}

WCHAR invariant_upper_case(WCHAR unit) {
    WCHAR upper = unit;
    return LCMapStringW(LOCALE_INVARIANT, LCMAP_UPPERCASE, &unit, 1, &upper, 1) == 1 ? upper : unit;
}

int compare_units_ignoring_case(const WCHAR* a, size_t a_count, const WCHAR* b, size_t b_count) {
    constexpr int kEqual = 2;
    static const CompareOrdinal compare = find_compare_ordinal();
    const size_t common = std::min(a_count, b_count);
    if (compare && common > 0) {
        return compare(a, static_cast<int>(a_count), b, static_cast<int>(b_count), TRUE) - kEqual;
    }
    for (size_t i = 0; i < common; ++i) {
        const int order = a[i] == b[i] ? 0 : invariant_upper_case(a[i]) - invariant_upper_case(b[i]);
        if (order != 0) return order;
    }
    return a_count == b_count ? 0 : a_count < b_count ? -1 : 1;
}

}  // namespace

size_t text_length(const WCHAR* text) {
    size_t length = 0;
    while (text && text[length]) ++length;
    return length;
}

size_t copy_text(WCHAR* target, size_t capacity, const WCHAR* source) {
    KV_ASSERT(target && capacity > 0);
    size_t length = std::min(text_length(source), capacity - 1);
    if (length) std::memmove(target, source, length * sizeof(WCHAR));
    target[length] = 0;
    return length;
}

size_t append_text(WCHAR* target, size_t capacity, const WCHAR* source) {
    size_t length = text_length(target);
    KV_ASSERT(length < capacity);
    return length < capacity ? copy_text(target + length, capacity - length, source) : 0;
}

int compare_text_ignoring_case(const WCHAR* a, const WCHAR* b) {
    return compare_units_ignoring_case(a, text_length(a), b, text_length(b));
}

bool same_text_ignoring_case(const WCHAR* a, const WCHAR* b) {
    const size_t length = text_length(a);
    return length == text_length(b) && compare_units_ignoring_case(a, length, b, length) == 0;
}

bool starts_with(const WCHAR* text, const WCHAR* prefix) {
    size_t length = text_length(prefix);
    return text_length(text) >= length && std::memcmp(text, prefix, length * sizeof(WCHAR)) == 0;
}

bool starts_with_ignoring_case(const WCHAR* text, const WCHAR* prefix) {
    const size_t length = text_length(prefix);
    return text_length(text) >= length && compare_units_ignoring_case(text, length, prefix, length) == 0;
}

const WCHAR* find_last(const WCHAR* text, WCHAR unit) {
    const WCHAR* found = nullptr;
    for (; text && *text; ++text) {
        if (*text == unit) found = text;
    }
    return found;
}

const WCHAR* find_text(const WCHAR* text, const WCHAR* part) {
    for (; text && *text; ++text) {
        if (starts_with(text, part)) return text;
    }
    return nullptr;
}

size_t copy_ansi(char* target, size_t capacity, const char* source, size_t source_capacity) {
    size_t length = 0;
    while (length < source_capacity && source[length]) {
        size_t step = IsDBCSLeadByteEx(CP_ACP, static_cast<BYTE>(source[length])) ? 2 : 1;
        if (length + step > source_capacity || length + step > capacity - 1) break;
        length += step;
    }
    if (length) std::memmove(target, source, length);
    KV_ASSERT(length < capacity);
    target[length] = 0;
    return length;
}

size_t to_ansi(char* target, size_t capacity, const WCHAR* source, UINT code_page) {
    KV_ASSERT(target && capacity > 0);
    // Unit by unit, so that truncation falls between characters; a surrogate pair is one character.
    size_t length = 0;
    target[0] = 0;
    for (size_t units = 0; source && *source; source += units) {
        bool pair = source[0] >= 0xD800 && source[0] < 0xDC00 && source[1] >= 0xDC00 && source[1] < 0xE000;
        units = pair ? 2 : 1;
        char bytes[8];
        int count =
            WideCharToMultiByte(code_page, 0, source, static_cast<int>(units), bytes, sizeof bytes, nullptr, nullptr);
        if (count <= 0 || length + static_cast<size_t>(count) > capacity - 1) break;
        std::memcpy(target + length, bytes, static_cast<size_t>(count));
        length += static_cast<size_t>(count);
        target[length] = 0;
    }
    return length;
}

size_t to_wide(WCHAR* target, size_t capacity, const char* source, UINT code_page) {
    KV_ASSERT(target && capacity > 0);
    target[0] = 0;
    if (!source || !*source) return 0;
    int room = static_cast<int>(capacity - 1);
    for (int bytes = static_cast<int>(std::strlen(source)); bytes > 0 && room > 0; --bytes) {
        int count = MultiByteToWideChar(code_page, 0, source, bytes, target, room);
        if (count > 0) {
            target[count] = 0;
            return static_cast<size_t>(count);
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) break;
    }
    target[0] = 0;
    return 0;
}

}  // namespace kv

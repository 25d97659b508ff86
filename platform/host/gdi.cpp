// Rectangle and scaling arithmetic, character sets and stock objects.

#include "platform/host/win32/gdi.h"

#include <algorithm>
#include <cstring>

#include "platform/host/state.h"

int MulDiv(int value, int numerator, int denominator) {
    if (denominator == 0) return -1;
    int64_t product = int64_t{value} * numerator;
    int64_t divisor = denominator;
    if (divisor < 0) {
        product = -product;
        divisor = -divisor;
    }
    int64_t result = product < 0 ? (product - divisor / 2) / divisor : (product + divisor / 2) / divisor;
    return result > INT32_MAX || result < INT32_MIN ? -1 : static_cast<int>(result);
}

BOOL IsRectEmpty(const RECT* rect) { return rect->left >= rect->right || rect->top >= rect->bottom; }

BOOL IntersectRect(RECT* result, const RECT* a, const RECT* b) {
    RECT both{std::max(a->left, b->left), std::max(a->top, b->top), std::min(a->right, b->right),
              std::min(a->bottom, b->bottom)};
    *result = IsRectEmpty(a) || IsRectEmpty(b) || IsRectEmpty(&both) ? RECT{} : both;
    return !IsRectEmpty(result);
}

BOOL UnionRect(RECT* result, const RECT* a, const RECT* b) {
    if (IsRectEmpty(a)) {
        *result = IsRectEmpty(b) ? RECT{} : *b;
    } else if (IsRectEmpty(b)) {
        *result = *a;
    } else {
        *result = {std::min(a->left, b->left), std::min(a->top, b->top), std::max(a->right, b->right),
                   std::max(a->bottom, b->bottom)};
    }
    return !IsRectEmpty(result);
}

namespace {

struct Charset {
    UINT charset, code_page;
    WORD primary_language;
};
// Character sets by code page, with the primary languages written in them.
constexpr Charset kCharsets[] = {
    {0, 1252, 0x09},   {128, 932, 0x11},  {129, 949, 0x12},  {134, 936, 0x04}, {161, 1253, 0x08}, {162, 1254, 0x1F},
    {177, 1255, 0x0D}, {178, 1256, 0x01}, {204, 1251, 0x19}, {222, 874, 0x1E}, {238, 1250, 0x15}, {238, 1250, 0x05},
};
constexpr WORD kTraditionalChinese = 0x0404;

}  // namespace

BOOL TranslateCharsetInfo(DWORD* source, CHARSETINFO* info, DWORD flags) {
    *info = {};
    auto number = static_cast<DWORD>(reinterpret_cast<uintptr_t>(source));
    if (flags == TCI_SRCLOCALE) {
        info->ciCharset = 0;
        info->ciACP = 1252;
        if ((number & 0xFFFF) == kTraditionalChinese) {
            info->ciCharset = 136;
            info->ciACP = 950;
            return TRUE;
        }
        for (const Charset& entry : kCharsets) {
            if (entry.primary_language == (number & 0x3FF)) {
                info->ciCharset = entry.charset;
                info->ciACP = entry.code_page;
                break;
            }
        }
        return TRUE;
    }
    if (flags != TCI_SRCCHARSET) return kv::host::fail_with(ERROR_INVALID_PARAMETER);
    if (number == 136) {
        info->ciCharset = 136;
        info->ciACP = 950;
        return TRUE;
    }
    for (const Charset& entry : kCharsets) {
        if (entry.charset == number) {
            info->ciCharset = entry.charset;
            info->ciACP = entry.code_page;
            return TRUE;
        }
    }
    return kv::host::fail_with(ERROR_INVALID_PARAMETER);
}

HGDIOBJ GetStockObject(int number) {
    return number == static_cast<int>(DEFAULT_GUI_FONT) ? reinterpret_cast<HGDIOBJ>(uintptr_t{DEFAULT_GUI_FONT})
                                                        : nullptr;
}

int GetObjectW(HANDLE object, int capacity, LPVOID data) {
    if (object != GetStockObject(static_cast<int>(DEFAULT_GUI_FONT)) || capacity < static_cast<int>(sizeof(LOGFONTW))) {
        return 0;
    }
    LOGFONTW font = {};
    font.lfHeight = -11;
    font.lfWeight = 400;
    std::memcpy(data, &font, sizeof font);
    return sizeof font;
}

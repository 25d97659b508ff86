// Texts and code pages, one character at a time, so that an unrepresentable one becomes the default character and is
// reported. The C library's iconv does the converting. What it loads for that can fail to be had: not so UTF-8, which
// all paths are in.

#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <map>

#include "platform/host/state.h"
#include "platform/host/win32/system.h"

namespace kv::host {
namespace {

class Converter {
public:
    Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (valid()) iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    bool valid() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    // Bytes written, or -1 when the input is not one whole convertible sequence.
    int convert(const void* in, size_t in_size, void* out, size_t out_size) {
        char* source = static_cast<char*>(const_cast<void*>(in));
        char* target = static_cast<char*>(out);
        size_t left = out_size;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(handle_, &source, &in_size, &target, &left) != 0 || in_size != 0) return -1;
        if (iconv(handle_, nullptr, nullptr, &target, &left) != 0) return -1;
        return static_cast<int>(out_size - left);
    }

private:
    iconv_t handle_;
};

UINT resolved(UINT code_page) { return code_page == CP_ACP ? machine().ansi_code_page : code_page; }

std::string encoding_name(UINT code_page) {
    switch (code_page) {
        case CP_UTF8:
            return "UTF-8";
        case 1361:
            return "JOHAB";
        case 10000:
            return "MACINTOSH";
        case 950:
            return "BIG5";
        case 949:
            return "UHC";
        case 936:
            return "GBK";
        default:
            return "CP" + std::to_string(code_page);
    }
}

// One converter a code page, direction and thread. Null where there is none, or none could be had this time.
Converter* converter(UINT code_page, bool to_wide) {
    thread_local std::map<std::pair<UINT, bool>, std::unique_ptr<Converter>> known;
    auto& entry = known[{code_page, to_wide}];
    if (!entry || !entry->valid()) {
        std::string name = encoding_name(code_page);
        entry = to_wide ? std::make_unique<Converter>("UTF-16LE", name.c_str())
                        : std::make_unique<Converter>(name.c_str(), "UTF-16LE");
    }
    return entry->valid() ? entry.get() : nullptr;
}

size_t utf8_length(unsigned char lead) {
    if (lead < 0x80) return 1;
    return lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
}

// The same as Converter::convert, of one character.
int from_utf8_sequence(const char* in, size_t size, WCHAR* out) {
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};  // what needs so many bytes
    const auto lead = static_cast<BYTE>(*in);
    if (size < 2 || size != utf8_length(lead) || lead < 0xC0 || lead > 0xF7) return -1;
    uint32_t character = lead & (0x7Fu >> size);
    for (size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<BYTE>(in[i]);
        if ((byte & 0xC0) != 0x80) return -1;
        character = character << 6 | (byte & 0x3F);
    }
    if (character < kLeast[size] || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) return -1;
    if (character < 0x10000) {
        *out = static_cast<WCHAR>(character);
        return 2;
    }
    out[0] = static_cast<WCHAR>(0xD800 + ((character - 0x10000) >> 10));
    out[1] = static_cast<WCHAR>(0xDC00 + (character & 0x3FF));
    return 4;
}

int to_utf8_sequence(const WCHAR* in, bool pair, char* out) {
    uint32_t character = in[0];
    if (pair) character = 0x10000 + ((character - 0xD800) << 10) + (in[1] - 0xDC00u);
    if (character >= 0xD800 && character < 0xE000) return -1;
    const int size = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
    for (int i = size - 1; i > 0; --i, character >>= 6) out[i] = static_cast<char>(0x80 | (character & 0x3F));
    out[0] = static_cast<char>(size == 1 ? character : (0xF00u >> size & 0xFF) | character);
    return size;
}

size_t character_bytes(UINT code_page, LPCSTR at, size_t left) {
    auto lead = static_cast<BYTE>(*at);
    size_t bytes = code_page == CP_UTF8 ? utf8_length(lead) : IsDBCSLeadByteEx(code_page, lead) ? 2 : 1;
    return std::min(bytes, left);
}

// The code pages that begin with ASCII. Johab has a currency sign at 0x5C elsewhere, but not on Windows.
bool begins_with_ascii(UINT code_page) {
    switch (code_page) {
        case 874:
        case 932:
        case 936:
        case 949:
        case 950:
        case 1361:
        case 10000:
        case CP_UTF8:
            return true;
        default:
            return code_page >= 1250 && code_page <= 1258;
    }
}

// Windows maps the bytes that Windows-125x leaves undefined to the C1 controls of the same number.
bool is_windows_single_byte(UINT code_page) { return code_page >= 1250 && code_page <= 1258; }

}  // namespace

std::u16string lower_case(std::u16string text) {
    for (char16_t& unit : text) {
        if (unit < 0x80) {
            if (unit >= 'A' && unit <= 'Z') unit = static_cast<char16_t>(unit + 32);
        } else if (unit < 0xD800 || unit > 0xDFFF) {
            // Latin, Greek, Cyrillic and Armenian letters, whatever the host's locale.
            if ((unit >= 0xC0 && unit <= 0xDE && unit != 0xD7) || (unit >= 0x391 && unit <= 0x3A9) ||
                (unit >= 0x410 && unit <= 0x42F)) {
                unit = static_cast<char16_t>(unit + 32);
            } else if (unit >= 0x400 && unit <= 0x40F) {
                unit = static_cast<char16_t>(unit + 80);
            } else if (unit >= 0x531 && unit <= 0x556) {
                unit = static_cast<char16_t>(unit + 48);
            } else if ((unit >= 0x100 && unit <= 0x137) || (unit >= 0x14A && unit <= 0x177)) {
                unit = static_cast<char16_t>(unit | 1);
            }
        }
    }
    return text;
}

std::string to_utf8(const std::u16string& text) {
    std::string out(text.size() * 3 + 1, '\0');
    int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(),
                                   static_cast<int>(out.size()), nullptr, nullptr);
    out.resize(static_cast<size_t>(std::max(size, 0)));
    return out;
}

std::u16string from_utf8(const std::string& text) {
    std::u16string out(text.size() + 1, u'\0');
    int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(),
                                   static_cast<int>(out.size()));
    out.resize(static_cast<size_t>(std::max(size, 0)));
    return out;
}

}  // namespace kv::host

using namespace kv::host;

UINT GetACP() { return machine().ansi_code_page; }

BOOL IsDBCSLeadByteEx(UINT code_page, BYTE byte) {
    switch (resolved(code_page)) {
        case 932:
            return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
        case 936:
        case 949:
        case 950:
            return byte >= 0x81 && byte <= 0xFE;
        case 1361:
            return (byte >= 0x84 && byte <= 0xD3) || (byte >= 0xD8 && byte <= 0xDE) || (byte >= 0xE0 && byte <= 0xF9);
        default:
            return FALSE;
    }
}

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR source, int source_size, LPWSTR target, int capacity) {
    UINT page = resolved(code_page);
    Converter* from = page == CP_UTF8 ? nullptr : converter(page, true);
    if ((!from && page != CP_UTF8) || !source || source_size == 0) return fail_with(ERROR_INVALID_PARAMETER);
    const bool ascii = begins_with_ascii(page);
    size_t left = source_size < 0 ? std::strlen(source) + 1 : static_cast<size_t>(source_size);
    int count = 0;
    while (left > 0) {
        size_t bytes = character_bytes(page, source, left);
        WCHAR units[4];
        int size = 2;
        if (ascii && static_cast<BYTE>(*source) < 0x80) {
            units[0] = static_cast<WCHAR>(*source);
        } else {
            size = from ? from->convert(source, bytes, units, sizeof units) : from_utf8_sequence(source, bytes, units);
        }
        if (size < 0) {
            if (flags & MB_ERR_INVALID_CHARS) return fail_with(1113);  // ERROR_NO_UNICODE_TRANSLATION
            units[0] = is_windows_single_byte(page) ? static_cast<BYTE>(*source) : (page == CP_UTF8 ? 0xFFFD : u'?');
            size = 2;
            if (page == CP_UTF8) bytes = 1;
        }
        int wide = size / 2;
        if (capacity) {
            if (count + wide > capacity) return fail_with(ERROR_INSUFFICIENT_BUFFER);
            std::memcpy(target + count, units, static_cast<size_t>(size));
        }
        count += wide;
        source += bytes;
        left -= bytes;
    }
    return count;
}

int WideCharToMultiByte(UINT code_page, DWORD, LPCWSTR source, int source_length, LPSTR target, int capacity,
                        LPCSTR default_char, LPBOOL used_default) {
    UINT page = resolved(code_page);
    Converter* to = page == CP_UTF8 ? nullptr : converter(page, false);
    if ((!to && page != CP_UTF8) || !source || source_length == 0) return fail_with(ERROR_INVALID_PARAMETER);
    if (used_default) *used_default = FALSE;
    const bool ascii = begins_with_ascii(page);
    size_t left = source_length < 0 ? static_cast<size_t>(lstrlenW(source)) + 1 : static_cast<size_t>(source_length);
    int count = 0;
    while (left > 0) {
        bool pair = left > 1 && source[0] >= 0xD800 && source[0] < 0xDC00 && source[1] >= 0xDC00 && source[1] < 0xE000;
        size_t units = pair ? 2 : 1;
        char bytes[8];
        int size = 1;
        if (ascii && *source < 0x80) {
            bytes[0] = static_cast<char>(*source);
        } else {
            size = to ? to->convert(source, units * 2, bytes, sizeof bytes) : to_utf8_sequence(source, pair, bytes);
        }
        if (size < 0 && is_windows_single_byte(page) && *source >= 0x80 && *source < 0xA0) {
            WCHAR back = 0;
            bytes[0] = static_cast<char>(*source);
            size = MultiByteToWideChar(page, 0, bytes, 1, &back, 1) == 1 && back == *source ? 1 : -1;
        }
        if (size < 0) {
            const char* replacement = default_char ? default_char : page == CP_UTF8 ? "\xEF\xBF\xBD" : "?";
            size = static_cast<int>(std::strlen(replacement));
            std::memcpy(bytes, replacement, static_cast<size_t>(size));
            if (used_default) *used_default = TRUE;
        }
        if (capacity) {
            if (count + size > capacity) return fail_with(ERROR_INSUFFICIENT_BUFFER);
            std::memcpy(target + count, bytes, static_cast<size_t>(size));
        }
        count += size;
        source += units;
        left -= units;
    }
    return count;
}

int lstrlenW(LPCWSTR text) { return text ? static_cast<int>(std::char_traits<WCHAR>::length(text)) : 0; }

DWORD CharLowerBuffW(LPWSTR text, DWORD length) {
    std::u16string lower = lower_case(std::u16string(text, length));
    std::copy(lower.begin(), lower.end(), text);
    return length;
}

int LCMapStringW(LCID, DWORD flags, LPCWSTR source, int source_length, LPWSTR target, int capacity) {
    if (flags != LCMAP_UPPERCASE || source_length < 1 || capacity < source_length) {
        return fail_with(ERROR_INVALID_PARAMETER);
    }
    std::copy_n(source, source_length, target);
    CharUpperBuffW(target, static_cast<DWORD>(source_length));
    return source_length;
}

DWORD CharUpperBuffW(LPWSTR text, DWORD length) {
    // The inverse of the mapping above, found by trying: a capital is what becomes this letter.
    for (DWORD i = 0; i < length; ++i) {
        for (int distance : {32, 80, 48, 1}) {
            auto capital = static_cast<WCHAR>(text[i] - distance);
            if (text[i] > distance && lower_case(std::u16string(1, capital))[0] == text[i]) {
                text[i] = capital;
                break;
            }
        }
    }
    return length;
}

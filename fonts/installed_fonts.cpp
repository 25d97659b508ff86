#include "fonts/installed_fonts.h"

#include "fonts/ifi_metrics.h"
#include "support/assert.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr const WCHAR* kFontsKey = TEXT("Software\\Microsoft\\Windows NT\\CurrentVersion\\Fonts");
constexpr size_t kSuffixLength = 10;  // units of "(OpenType)" and "(TrueType)"

bool is_space(WCHAR unit) {
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n' || unit == 0xA0 || unit == 0x1680 ||
           (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F ||
           unit == 0x3000;
}

bool is_outline_font(const WCHAR* name, size_t length) {
    if (length <= kSuffixLength) return false;
    const WCHAR* suffix = name + length - kSuffixLength;
    return same_text_ignoring_case(suffix, TEXT("(OpenType)")) || same_text_ignoring_case(suffix, TEXT("(TrueType)"));
}

BOOL add_trimmed(TextList& list, const WCHAR* start, const WCHAR* end) {
    KV_ASSERT(start <= end);
    while (start < end && is_space(*start)) ++start;
    while (start < end && is_space(end[-1])) --end;
    return start == end || list.add(start, static_cast<size_t>(end - start));
}

// "Face & Face & Face": one file holds several faces.
BOOL add_faces(TextList& list, const WCHAR* start, const WCHAR* end) {
    constexpr const WCHAR* kSeparator = TEXT(" & ");
    constexpr size_t kSeparatorLength = 3;
    const WCHAR* from = start;
    for (const WCHAR* at = start; at + kSeparatorLength <= end; ++at) {
        if (!starts_with(at, kSeparator)) continue;
        if (!add_trimmed(list, from, at)) return FALSE;
        from = at + kSeparatorLength;
        at += kSeparatorLength - 1;
    }
    return add_trimmed(list, from, end);
}

}  // namespace

void CInstalledFonts::load() {
    CRegKey key;
    if (!key.Open(KEY_READ, HKEY_LOCAL_MACHINE, kFontsKey)) {
        KV_TRACE(Fonts, Warning, "the system lists no fonts");
        return;
    }
    DWORD index = 0;
    while (const WCHAR* value = key.EnumValueName(index++)) {
        const TextBuffer<1024> name(value);  // the key reuses its buffers
        const size_t length = name.length();
        if (!is_outline_font(name.c_str(), length)) continue;
        if (!add_faces(faces_, name.c_str(), name.c_str() + length - kSuffixLength)) return;
        const WCHAR* file = key.ReadString(name.c_str());
        if (file && !files_.contains(file) && !files_.add(file, text_length(file))) return;
    }
    KV_TRACE(Fonts, Info, "%u faces in %u files", static_cast<unsigned>(faces_.count()),
             static_cast<unsigned>(files_.count()));
}

bool CInstalledFonts::has_face(const WCHAR* name) const {
    if (name && *name == kVerticalPrefix) ++name;
    return faces_.contains(name);
}

}  // namespace kv

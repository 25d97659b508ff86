#include "settings/job_name.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "support/assert.h"
#include "support/memory.h"
#include "support/paths.h"
#include "support/reg_key.h"
#include "support/session.h"
#include "support/trace.h"

namespace kv {
namespace {

WCHAR lower(WCHAR unit) {
    CharLowerBuffW(&unit, 1);
    return unit;
}

// Keeps only what begins at a position inside the name.
void keep_from(PathText& name, const WCHAR* start) {
    KV_ASSERT(start >= name.c_str() && start <= name.c_str() + name.length());
    name.assign(start);
}

void drop_last(PathText& name, size_t units) {
    KV_ASSERT(units <= name.length());
    name.truncate(name.length() - units);
}

struct TitlePattern {
    const WCHAR* pattern;
    void (*apply)(PathText& name);
};

// What applications put around the names of their documents; the first pattern that matches applies.
constexpr TitlePattern kTitlePatterns[] = {
    {TEXT("Microsoft * - *"), [](PathText& name) { keep_from(name, find_text(name.c_str(), TEXT(" - ")) + 3); }},
    {TEXT("Visio-*"), [](PathText& name) { keep_from(name, name.c_str() + 6); }},
    {TEXT("* - Notepad"), [](PathText& name) { drop_last(name, 10); }},
    {TEXT("Lotus Organizer - [*]"),
     [](PathText& name) {
         keep_from(name, name.c_str() + 19);
         drop_last(name, 1);
     }},
};

bool is_web_address(const WCHAR* name) {
    return std::ranges::any_of(std::initializer_list<const WCHAR*>{TEXT("ftp://"), TEXT("http://"), TEXT("https://")},
                               [&](const WCHAR* scheme) { return starts_with_ignoring_case(name, scheme); });
}

void clean_address(PathText& name, bool strip_scheme) {
    if (const WCHAR* slashes = strip_scheme ? find_text(name.c_str(), TEXT("//")) : nullptr) {
        keep_from(name, slashes + 2);
    }
    const size_t length = name.length();
    if (length > 0 && name.c_str()[length - 1] == '/') name.truncate(length - 1);
}

bool has_text(HKEY root, const WCHAR* path, const WCHAR* value) {
    CRegKey key;
    const WCHAR* text = key.Open(KEY_READ, root, path) ? key.ReadString(value) : nullptr;
    return text && *text;
}

// The user's choice in the Explorer, or the class that is registered for the extension.
bool has_program(const WCHAR* extension) {
    constexpr const WCHAR* kChoice =
        TEXT("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\%s\\UserChoice");
    TextBuffer<512> choice, registered;
    format_text(choice.data(), choice.capacity(), kChoice, extension);
    format_text(registered.data(), registered.capacity(), TEXT("Software\\Classes\\%s"), extension);
    return std::ranges::any_of(std::initializer_list<HKEY>{HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, [&](HKEY root) {
        return has_text(root, choice.c_str(), TEXT("ProgId")) || has_text(root, registered.c_str(), TEXT(""));
    });
}

void drop_known_extension(PathText& name) {
    const WCHAR* extension = FindExtension(name.c_str());
    if (*extension && has_program(extension)) name.truncate(static_cast<size_t>(extension - name.c_str()));
}

// Takes the name that another component left for the next job of this session; it is used once.
BOOL take_prepared_name(const WCHAR* printer_name, PathText& name) {
    const DWORD session = current_session();
    CRegKey printer_key, names;
    if (session == kNoSession || !create_printer_key(printer_key, HKEY_CURRENT_USER, printer_name) ||
        !names.Open(KEY_READ | KEY_WRITE, printer_key.handle(), TEXT("JobNames"))) {
        return FALSE;
    }
    WCHAR value[9];
    format_text(value, std::size(value), TEXT("%08X"), session);
    if (!names.ValueExists(value)) return FALSE;
    const WCHAR* text = names.ReadString(value);
    PathText prepared(text ? GetFileNamePart(text) : TEXT(""));
    names.DeleteValue(value);
    if (prepared.empty()) return FALSE;
    name = prepared;
    return TRUE;
}

void ask_spooler(HANDLE printer, DWORD job_id, PathText& name) {
    constexpr DWORD kLevel = 2;
    DWORD needed = 0;
    HeapArray<BYTE> info;
    if (GetJobW(printer, job_id, kLevel, nullptr, 0, &needed) || GetLastError() != ERROR_INSUFFICIENT_BUFFER ||
        !info.alloc(needed, kQuietly) || !GetJobW(printer, job_id, kLevel, info.get(), needed, &needed)) {
        KV_FAIL(Settings, "the spooler does not name job %u", static_cast<unsigned>(job_id));
        return;
    }
    const WCHAR* document = reinterpret_cast<const JOB_INFO_2W*>(info.get())->pDocument;
    if (document) name.assign(document);
}

}  // namespace

bool WildcardMatch(const WCHAR* pattern, const WCHAR* text) {
    if (!pattern || !*pattern || !text || !*text) return false;
    [[maybe_unused]] const WCHAR* const start = text;
    // Where to go on when the text after the last "*" does not fit: that "*" takes one unit more. Earlier ones need
    // not give up theirs, for whatever they leave, the last one can take as well.
    const WCHAR *after_star = nullptr, *taken = nullptr;
    for (;;) {
        if (*pattern == '*') {
            if (!*text) return false;
            while (*pattern == '*') ++pattern;
            if (!*pattern) return true;
            after_star = pattern;
            taken = text;
        } else if (*pattern && *text && (*pattern == '?' || lower(*pattern) == lower(*text))) {
            ++pattern;
            ++text;
        } else if (!*pattern && !*text) {
            return true;
        } else {
            if (!after_star || !*taken) return false;
            KV_ASSERT(taken >= start && after_star[-1] == '*');
            pattern = after_star;
            text = ++taken;
        }
    }
}

void CleanJobName(PathText& name, bool strip_scheme, bool strip_extension) {
    if (name.empty()) return;
    constexpr size_t kFileScheme = 7;  // "file://"
    if (starts_with_ignoring_case(name.c_str(), TEXT("file://"))) {
        std::replace(name.data() + kFileScheme, name.data() + name.length(), WCHAR{'/'}, WCHAR{'\\'});
        clean_address(name, strip_scheme);
    } else if (is_web_address(name.c_str())) {
        strip_extension = false;
        clean_address(name, strip_scheme);
    } else {
        const auto* match = std::ranges::find_if(
            kTitlePatterns, [&](const TitlePattern& title) { return WildcardMatch(title.pattern, name.c_str()); });
        if (match != std::end(kTitlePatterns)) match->apply(name);
    }
    if (strip_extension) drop_known_extension(name);
    const WCHAR* file = GetFileNamePart(name.c_str());
    if (*file) keep_from(name, file);
}

BOOL GetJobName(const WCHAR* printer_name, HANDLE printer, DWORD job_id, const WCHAR* title, PathText& name) {
    name.assign(title ? title : TEXT(""));
    CleanJobName(name, false, true);
    if (printer_name && *printer_name && take_prepared_name(printer_name, name)) {
        CleanJobName(name, false, true);
        KV_TRACE(Settings, Info, "prepared for this session: %s", TraceText(name.c_str()).c_str());
        return TRUE;
    }
    const bool titled = !name.empty();
    if (!titled) {
        ask_spooler(printer, job_id, name);
        CleanJobName(name, false, true);
    }
    KV_TRACE(Settings, Info, "%s: %s", titled ? "of the title" : "of the spooler", TraceText(name.c_str()).c_str());
    return !name.empty();
}

}  // namespace kv

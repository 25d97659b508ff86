#include "dispatcher/safe_text.h"

#include <cstdio>

#include "support/text.h"

namespace kvdisp12 {
namespace {

// Control characters, line and paragraph separators, marks that turn the direction of text or join unseen.
bool is_harmful(WCHAR unit) {
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || unit == 0x061C || (unit >= 0x200B && unit <= 0x200F) ||
           (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2060 && unit <= 0x206F) || unit == 0xFEFF;
}

bool is_low_surrogate(WCHAR unit) { return (unit & 0xFC00) == 0xDC00; }

// Also those whose number is a raised digit.
bool is_device_name(TextView name) {
    Text stem(name.substr(0, name.find(TEXT('.'))));
    while (!stem.empty() && stem.back() == ' ') stem.pop_back();
    for (const WCHAR* device : {TEXT("con"), TEXT("prn"), TEXT("aux"), TEXT("nul"), TEXT("conin$"), TEXT("conout$")}) {
        if (kv::same_text_ignoring_case(stem.c_str(), device)) return true;
    }
    if (stem.size() != 4 || TextView(TEXT("0123456789\u00B9\u00B2\u00B3")).find(stem[3]) == TextView::npos)
        return false;
    return kv::starts_with_ignoring_case(stem.c_str(), TEXT("com")) ||
           kv::starts_with_ignoring_case(stem.c_str(), TEXT("lpt"));
}

// What Windows does not keep at the end of a name.
void drop_ends(Text& name) {
    while (!name.empty() && (name.back() == ' ' || name.back() == '.')) name.pop_back();
}

}  // namespace

std::string in_quotes(TextView text) {
    Text result = TEXT("\"");
    for (const WCHAR unit : text) {
        if (is_harmful(unit)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
            result += from_utf8(escape);
            continue;
        }
        if (unit == '"' || unit == '\\') result += TEXT('\\');
        result += unit;
    }
    return to_utf8(result) + '"';
}

std::string in_quotes(const std::string& utf8) { return in_quotes(TextView(from_utf8(utf8))); }

std::string without_controls(const std::string& utf8) {
    Text text = from_utf8(utf8);
    for (WCHAR& unit : text) {
        if (is_harmful(unit)) unit = ' ';
    }
    return to_utf8(text);
}

Text file_name_of(TextView document_name) {
    constexpr size_t kLongest = 200;  // bytes: with a number and the extension inside what file systems take
    Text name(document_name);
    for (WCHAR& unit : name) {
        if (is_harmful(unit) || TextView(TEXT("\\/:*?\"<>|")).find(unit) != TextView::npos) unit = '_';
    }
    drop_ends(name);
    if (name.empty()) return TEXT("Document");
    const bool hidden = name.front() == '.' || name.front() == '-' || name.front() == '~' || name.front() == ' ';
    if (hidden || is_device_name(name)) name.insert(name.begin(), '_');
    while (to_utf8(name).size() > kLongest) {
        name.resize(name.size() - (name.size() > 1 && is_low_surrogate(name.back()) ? 2 : 1));
    }
    drop_ends(name);
    return name;
}

}  // namespace kvdisp12

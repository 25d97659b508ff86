#include "dispatcher/windows/handles.h"

#include <algorithm>

namespace kvdisp12 {
namespace {

// What a token has of a class whose first member is a pointer to an identifier.
Sid identifier_in(HANDLE token, TOKEN_INFORMATION_CLASS what) {
    DWORD size = 0;
    GetTokenInformation(token, what, nullptr, 0, &size);
    std::vector<BYTE> information(size);
    if (size < sizeof(PSID) || !GetTokenInformation(token, what, information.data(), size, &size)) return {};
    const PSID sid = *reinterpret_cast<PSID*>(information.data());
    Sid copy(GetLengthSid(sid));
    CopySid(static_cast<DWORD>(copy.size()), copy.data(), sid);
    return copy;
}

}  // namespace

Text long_path(const std::string& utf8) {
    Text path = from_utf8(utf8);
    std::ranges::replace(path, TEXT('/'), TEXT('\\'));
    if (path.starts_with(TEXT("\\\\?\\"))) return path;
    if (path.starts_with(TEXT("\\\\"))) return TEXT("\\\\?\\UNC") + path.substr(1);
    return TEXT("\\\\?\\") + path;
}

std::string system_text(DWORD error) {
    WCHAR text[256] = {};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                                  static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && (text[length - 1] <= ' ' || text[length - 1] == '.')) --length;
    return to_utf8(TextView(text, length)) + " (" + std::to_string(error) + ')';
}

bool same(const Sid& sid, PSID other) {
    return !sid.empty() && other && EqualSid(const_cast<BYTE*>(sid.data()), other);
}

Sid user_of(HANDLE token) { return identifier_in(token, TokenUser); }
Sid owner_of(HANDLE token) { return identifier_in(token, TokenOwner); }

Handle own_token() {
    HANDLE token = nullptr;
    return Handle(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) ? token : nullptr);
}

Sid well_known(WELL_KNOWN_SID_TYPE type) {
    DWORD size = SECURITY_MAX_SID_SIZE;
    Sid sid(size);
    if (!CreateWellKnownSid(type, nullptr, sid.data(), &size)) return {};
    sid.resize(size);
    return sid;
}

std::string text_of(const Sid& sid) {
    WCHAR* text = nullptr;
    if (sid.empty() || !ConvertSidToStringSidW(const_cast<BYTE*>(sid.data()), &text)) return "";
    const std::string result = to_utf8(text);
    LocalFree(text);
    return result;
}

SECURITY_ATTRIBUTES* own_folder_security() {
    static SECURITY_ATTRIBUTES attributes = [] {
        const Text sddl = TEXT("D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;") +
                          from_utf8(text_of(user_of(own_token().get()))) + TEXT(")");
        SECURITY_ATTRIBUTES made = {sizeof made, nullptr, FALSE};
        ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &made.lpSecurityDescriptor,
                                                             nullptr);
        return made;
    }();
    return attributes.lpSecurityDescriptor ? &attributes : nullptr;
}

}  // namespace kvdisp12

// Tokens, SIDs, descriptors and sessions, as the simulated machine has them.

#include "platform/host/win32/security.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/host/state.h"
#include "platform/host/win32/memory.h"

using namespace kv::host;

namespace {

struct Token : Object {};

// The published binary form of a SID.
struct Sid {
    BYTE revision, count, authority[6];
    DWORD parts[8];
};
size_t sid_size(BYTE count) { return 8 + size_t{count} * 4; }

Sid make_sid(BYTE authority, std::initializer_list<DWORD> parts) {
    Sid sid{1, static_cast<BYTE>(parts.size()), {0, 0, 0, 0, 0, authority}, {}};
    std::copy(parts.begin(), parts.end(), sid.parts);
    return sid;
}

void* local_alloc(size_t bytes) {
    if (should_fail(CallKind::Allocation, "LocalAlloc")) return fail_with<void*>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
    ++counters().local_blocks;
    return std::calloc(1, bytes);
}

// One SID behind a head that points at it.
template <class Head>
BOOL put_with_sid(const Sid& sid, SID_AND_ATTRIBUTES Head::*member, DWORD attributes, LPVOID buffer, DWORD capacity,
                  LPDWORD needed) {
    size_t size = sizeof(Head) + sid_size(sid.count);
    *needed = static_cast<DWORD>(size);
    if (capacity < size) return fail_with(ERROR_INSUFFICIENT_BUFFER);
    auto* head = static_cast<Head*>(buffer);
    auto* copy = static_cast<BYTE*>(buffer) + sizeof(Head);
    std::memcpy(copy, &sid, sid_size(sid.count));
    (head->*member).Sid = copy;
    (head->*member).Attributes = attributes;
    return TRUE;
}

struct OneGroup {
    DWORD count;
    SID_AND_ATTRIBUTES group;
};
static_assert(sizeof(OneGroup) == sizeof(TOKEN_GROUPS));

}  // namespace

BOOL OpenThreadToken(HANDLE, DWORD, BOOL, HANDLE*) { return fail_with(ERROR_NO_TOKEN); }

BOOL OpenProcessToken(HANDLE, DWORD, HANDLE* token) {
    if (should_fail(CallKind::Process, "OpenProcessToken")) return fail_with(ERROR_ACCESS_DENIED);
    *token = make_handle(std::make_unique<Token>());
    return TRUE;
}

BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD capacity, LPDWORD needed) {
    if (should_fail(CallKind::Process, "GetTokenInformation")) return fail_with(ERROR_ACCESS_DENIED);
    if (!object_of<Token>(token)) return fail_with(ERROR_INVALID_HANDLE);
    if (kind == TokenIntegrityLevel) {
        if (machine().integrity == 0) return fail_with(ERROR_INVALID_PARAMETER);
        return put_with_sid(make_sid(16, {machine().integrity}), &TOKEN_MANDATORY_LABEL::Label, 0x20, buffer, capacity,
                            needed);
    }
    if (kind != TokenGroups) return fail_with(ERROR_INVALID_PARAMETER);
    Sid group = machine().administrator ? make_sid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS})
                                        : make_sid(5, {SECURITY_BUILTIN_DOMAIN_RID, 0x221});
    if (!put_with_sid(group, &OneGroup::group, 4, buffer, capacity, needed)) return FALSE;
    static_cast<OneGroup*>(buffer)->count = 1;
    return TRUE;
}

UCHAR* GetSidSubAuthorityCount(PSID sid) { return &static_cast<Sid*>(sid)->count; }
DWORD* GetSidSubAuthority(PSID sid, DWORD index) { return &static_cast<Sid*>(sid)->parts[index]; }

BOOL AllocateAndInitializeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD a0, DWORD a1, DWORD a2, DWORD a3,
                              DWORD a4, DWORD a5, DWORD a6, DWORD a7, PSID* sid) {
    if (count == 0 || count > 8) return fail_with(ERROR_INVALID_PARAMETER);
    auto* made = static_cast<Sid*>(local_alloc(sizeof(Sid)));
    if (!made) return FALSE;
    made->revision = 1;
    made->count = count;
    std::memcpy(made->authority, authority->Value, 6);
    const DWORD parts[] = {a0, a1, a2, a3, a4, a5, a6, a7};
    std::memcpy(made->parts, parts, sizeof parts);
    *sid = made;
    return TRUE;
}

PVOID FreeSid(PSID sid) {
    --counters().local_blocks;
    std::free(sid);
    return nullptr;
}

BOOL EqualSid(PSID a, PSID b) {
    BYTE count = static_cast<Sid*>(a)->count;
    return count == static_cast<Sid*>(b)->count && std::memcmp(a, b, sid_size(count)) == 0;
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
    if (revision != SECURITY_DESCRIPTOR_REVISION) return fail_with(ERROR_INVALID_PARAMETER);
    *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = {};
    return TRUE;
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL) {
    if (should_fail(CallKind::Process, "SetSecurityDescriptorDacl")) return fail_with(ERROR_INVALID_PARAMETER);
    auto* words = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->words;
    words[0] |= present ? 1u : 0u;
    words[1] = reinterpret_cast<ULONG_PTR>(dacl);
    return TRUE;
}

BOOL SetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL sacl, BOOL) {
    if (should_fail(CallKind::Process, "SetSecurityDescriptorSacl")) return fail_with(ERROR_INVALID_PARAMETER);
    auto* words = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->words;
    words[0] |= present ? 2u : 0u;
    words[2] = reinterpret_cast<ULONG_PTR>(sacl);
    return TRUE;
}

BOOL GetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* sacl, LPBOOL defaulted) {
    auto* words = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->words;
    *present = (words[0] & 2) != 0;
    *sacl = reinterpret_cast<PACL>(words[2]);
    *defaulted = FALSE;
    return TRUE;
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD, PSECURITY_DESCRIPTOR* descriptor,
                                                          ULONG* size) {
    if (should_fail(CallKind::Process, "ConvertStringSecurityDescriptorToSecurityDescriptorW") ||
        std::u16string(text) != u"S:(ML;;NW;;;LW)") {
        return fail_with(ERROR_INVALID_PARAMETER);
    }
    // The list stands behind the descriptor in one block: no write-up from low integrity.
    auto* made = static_cast<SECURITY_DESCRIPTOR*>(local_alloc(sizeof(SECURITY_DESCRIPTOR) + 8));
    if (!made) return FALSE;
    SetSecurityDescriptorSacl(made, TRUE, made + 1, FALSE);
    *descriptor = made;
    if (size) *size = sizeof(SECURITY_DESCRIPTOR) + 8;
    return TRUE;
}

BOOL GetUserNameW(LPWSTR name, LPDWORD capacity) {
    const std::u16string& user = machine().user;
    auto needed = static_cast<DWORD>(user.size() + 1);
    bool fits = *capacity >= needed;
    *capacity = needed;
    if (!fits) return fail_with(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(user.c_str(), needed, name);
    return TRUE;
}

BOOL WTSQuerySessionInformationW(HANDLE, DWORD session, WTS_INFO_CLASS kind, LPWSTR* buffer, DWORD* bytes) {
    if (should_fail(CallKind::Process, "WTSQuerySessionInformationW") || machine().session_query_fails) {
        return fail_with(ERROR_ACCESS_DENIED);
    }
    DWORD number = session == WTS_CURRENT_SESSION ? machine().session : session;
    if (kind == WTSSessionId) {
        auto* value = static_cast<DWORD*>(local_alloc(sizeof(DWORD)));
        if (!value) return FALSE;
        *value = number;
        *buffer = reinterpret_cast<LPWSTR>(value);
        *bytes = sizeof(DWORD);
        return TRUE;
    }
    auto found = machine().session_users.find(number);
    if (kind != WTSUserName || found == machine().session_users.end()) return fail_with(ERROR_FILE_NOT_FOUND);
    size_t size = (found->second.size() + 1) * sizeof(WCHAR);
    auto* text = static_cast<LPWSTR>(local_alloc(size));
    if (!text) return FALSE;
    std::memcpy(text, found->second.c_str(), size);
    *buffer = text;
    *bytes = static_cast<DWORD>(size);
    return TRUE;
}

BOOL WTSEnumerateSessionsW(HANDLE, DWORD, DWORD, WTS_SESSION_INFOW** sessions, DWORD* count) {
    if (should_fail(CallKind::Process, "WTSEnumerateSessionsW")) return fail_with(ERROR_ACCESS_DENIED);
    const auto& users = machine().session_users;
    auto* list = static_cast<WTS_SESSION_INFOW*>(local_alloc(sizeof(WTS_SESSION_INFOW) * (users.size() + 1)));
    if (!list) return FALSE;
    // In no particular order, as the system makes no promise: the highest number first.
    DWORD used = 0;
    for (auto at = users.rbegin(); at != users.rend(); ++at) list[used++] = {at->first, nullptr, WTSActive};
    *sessions = list;
    *count = used;
    return TRUE;
}

void WTSFreeMemory(PVOID block) { LocalFree(block); }
DWORD WTSGetActiveConsoleSessionId() { return machine().console_session; }

#include "support/token.h"

#include "support/assert.h"
#include "support/memory.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "support/trace.h"

namespace kv {
namespace {

class Token {
public:
    Token() {
        if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &handle_) &&
            !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &handle_)) {
            handle_ = nullptr;
            KV_FAIL(Support, "no token");
        }
    }
    ~Token() {
        if (handle_) CloseHandle(handle_);
    }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    // The information of one kind, or nothing.
    HeapArray<BYTE> query(TOKEN_INFORMATION_CLASS kind) const {
        HeapArray<BYTE> data;
        DWORD size = 0;
        if (!handle_ || GetTokenInformation(handle_, kind, nullptr, 0, &size) || !size) return data;
        if (data.alloc(size, kQuietly) && !GetTokenInformation(handle_, kind, data.get(), size, &size)) data.reset();
        return data;
    }

private:
    HANDLE handle_ = nullptr;
};

}  // namespace

bool is_administrator() {
    HeapArray<BYTE> data = Token().query(TokenGroups);
    if (!data) return false;
    SID_IDENTIFIER_AUTHORITY nt_authority = {{0, 0, 0, 0, 0, 5}};
    PSID administrators = nullptr;
    if (!AllocateAndInitializeSid(&nt_authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0,
                                  0, &administrators)) {
        return false;
    }
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(data.get());
    bool member = false;
    for (DWORD i = 0; i < groups->GroupCount && !member; ++i) {
        member = EqualSid(groups->Groups[i].Sid, administrators) != FALSE;
    }
    FreeSid(administrators);
    return member;
}

DWORD token_integrity_level() {
    if (process_state().os_level < kLevelVista) {
        return is_administrator() ? DWORD{kIntegrityHigh} : DWORD{kIntegrityUnknown};
    }
    HeapArray<BYTE> data = Token().query(TokenIntegrityLevel);
    if (!data) return kIntegrityUnknown;
    PSID label = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(data.get())->Label.Sid;
    KV_ASSERT(label);
    UCHAR parts = *GetSidSubAuthorityCount(label);
    if (parts) return *GetSidSubAuthority(label, parts - 1u);
    KV_TRACE(Support, Warning, "an integrity label without a level");
    return kIntegrityUnknown;
}

}  // namespace kv

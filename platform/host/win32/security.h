#pragma once
// Tokens, SIDs, integrity levels and security descriptors, and the sessions of the terminal services.

#include "platform/host/win32/types.h"

using PSID = void*;
using PSECURITY_DESCRIPTOR = void*;
using PACL = void*;

enum : DWORD {
    TOKEN_QUERY = 8,
    TOKEN_DUPLICATE = 2,
    SECURITY_BUILTIN_DOMAIN_RID = 0x20,
    DOMAIN_ALIAS_RID_ADMINS = 0x220,
    SECURITY_DESCRIPTOR_REVISION = 1,
    SDDL_REVISION_1 = 1,
};
enum TOKEN_INFORMATION_CLASS { TokenUser = 1, TokenGroups = 2, TokenIntegrityLevel = 25 };

struct SID_IDENTIFIER_AUTHORITY {
    BYTE Value[6];
};
struct SID_AND_ATTRIBUTES {
    PSID Sid;
    DWORD Attributes;
};
struct TOKEN_MANDATORY_LABEL {
    SID_AND_ATTRIBUTES Label;
};
struct TOKEN_GROUPS {
    DWORD GroupCount;
    SID_AND_ATTRIBUTES Groups[1];
};
// Large enough for an absolute descriptor on every system.
struct SECURITY_DESCRIPTOR {
    ULONG_PTR words[5];
};

BOOL OpenThreadToken(HANDLE thread, DWORD access, BOOL open_as_self, HANDLE* token);
BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token);
BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD capacity, LPDWORD needed);
UCHAR* GetSidSubAuthorityCount(PSID sid);
DWORD* GetSidSubAuthority(PSID sid, DWORD index);
BOOL AllocateAndInitializeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD a0, DWORD a1, DWORD a2, DWORD a3,
                              DWORD a4, DWORD a5, DWORD a6, DWORD a7, PSID* sid);
PVOID FreeSid(PSID sid);
BOOL EqualSid(PSID a, PSID b);
BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted);
BOOL SetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL sacl, BOOL defaulted);
BOOL GetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* sacl, LPBOOL defaulted);
BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                          PSECURITY_DESCRIPTOR* descriptor, ULONG* size);
BOOL GetUserNameW(LPWSTR name, LPDWORD capacity);

#define WTS_CURRENT_SERVER_HANDLE (static_cast<HANDLE>(nullptr))
enum : DWORD { WTS_CURRENT_SESSION = 0xFFFFFFFF };
enum WTS_INFO_CLASS { WTSSessionId = 4, WTSUserName = 5 };
enum WTS_CONNECTSTATE_CLASS { WTSActive, WTSConnected, WTSDisconnected = 4 };
struct WTS_SESSION_INFOW {
    DWORD SessionId;
    LPWSTR pWinStationName;
    WTS_CONNECTSTATE_CLASS State;
};
BOOL WTSQuerySessionInformationW(HANDLE server, DWORD session, WTS_INFO_CLASS kind, LPWSTR* buffer, DWORD* bytes);
BOOL WTSEnumerateSessionsW(HANDLE server, DWORD reserved, DWORD version, WTS_SESSION_INFOW** sessions, DWORD* count);
void WTSFreeMemory(PVOID block);
DWORD WTSGetActiveConsoleSessionId();

#include "support/os_level.h"

#include "support/assert.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

bool query_version(OSVERSIONINFOEXW& version) {
    version = {};
    version.dwOSVersionInfoSize = sizeof version;
    auto* plain = reinterpret_cast<OSVERSIONINFOW*>(&version);
    if (GetVersionExW(plain)) return true;
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
    version.wProductType = 0;
    return GetVersionExW(plain) || KV_FAIL(Support, "the system has no version");
}

bool product_type_says_server() {
    OSVERSIONINFOEXW wanted = {};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.wProductType = VER_NT_WORKSTATION;
    ULONGLONG equal = VerSetConditionMask(0, VER_PRODUCT_TYPE, VER_EQUAL);
    if (!VerifyVersionInfoW(&wanted, VER_PRODUCT_TYPE, equal)) return true;
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
        return version.wProductType == VER_NT_DOMAIN_CONTROLLER || version.wProductType == VER_NT_SERVER;
    }
    CRegKey key;
    if (!key.Open(KEY_READ, HKEY_LOCAL_MACHINE, TEXT("SYSTEM\\CurrentControlSet\\Control\\ProductOptions")))
        return false;
    const WCHAR* type = key.ReadString(TEXT("ProductType"));
    return type && same_text_ignoring_case(type, TEXT("ServerNt"));
}

// IsOS is asked only where the process has its library already, and is exported by number.
bool shell_says_server() {
    using IsOs = BOOL(WINAPI*)(DWORD);
    HMODULE shell = GetModuleHandleW(TEXT("shlwapi.dll"));
    if (!shell) return false;
    constexpr ULONG_PTR kOrdinalOfIsOs = 437;
    auto* address = reinterpret_cast<void*>(GetProcAddress(shell, reinterpret_cast<LPCSTR>(kOrdinalOfIsOs)));
    auto is_os = reinterpret_cast<IsOs>(address);
    if (!is_os) return false;
    for (DWORD kind : {29u, 23u, 22u, 32u, 31u, 9u, 10u}) {
        if (is_os(kind)) return true;
    }
    return false;
}

bool product_info_says_server() {
    using ProductInfo = BOOL(WINAPI*)(DWORD, DWORD, DWORD, DWORD, DWORD*);
    HMODULE kernel = GetModuleHandleW(TEXT("kernel32.dll"));
    if (!kernel) return false;
    auto get_product_info =
        reinterpret_cast<ProductInfo>(reinterpret_cast<void*>(GetProcAddress(kernel, "GetProductInfo")));
    DWORD product = 0;
    if (!get_product_info || !get_product_info(6, 3, 0, 0, &product)) return false;
    // The server editions among the published product types.
    static constexpr struct {
        DWORD first, last;
    } kServers[] = {{7, 10},  {12, 15}, {17, 25},   {29, 46},   {50, 57},   {59, 64},  {76, 77},
                    {79, 80}, {95, 96}, {109, 110}, {143, 148}, {159, 160}, {168, 169}};
    for (const auto& range : kServers) {
        if (product >= range.first && product <= range.last) return true;
    }
    return false;
}

int classify_windows_10(DWORD build, bool server) {
    if (!server) return build >= 22000 ? 12 : 11;
    if (build >= 20348) return 15;
    return build >= 17763 ? 14 : 13;
}

}  // namespace

bool IsServerOs() { return product_type_says_server() || shell_says_server() || product_info_says_server(); }

int classify_os(DWORD major, DWORD minor, DWORD build, bool server) {
    switch (major << 8 | (minor & 0xFF)) {
        case 0x500:
            return 2;
        case 0x501:
            return 3;
        case 0x502:
            return server ? 4 : 3;
        case 0x600:
            return server ? 6 : 5;
        case 0x601:
            return server ? 6 : 7;
        case 0x602:
            return server ? 10 : 8;
        case 0x603:
            return server ? 10 : 9;
        case 0x604:
            return build >= 22000 ? 12 : 11;
        case 0xA00:
            return classify_windows_10(build, server);
        default:
            return major > 4 ? 16 : 1;
    }
}

int GetOsLevel() {
    OSVERSIONINFOEXW version;
    if (!query_version(version) || version.dwPlatformId != VER_PLATFORM_WIN32_NT) return 0;
    KV_ASSERT(version.dwOSVersionInfoSize >= sizeof(OSVERSIONINFOW));
    return classify_os(version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber, IsServerOs());
}

}  // namespace kv

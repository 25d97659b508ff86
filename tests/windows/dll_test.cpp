// The built DLL in a process of its own: what it answers before any document, what others may have of its objects, and
// the library of texts.

#include <aclapi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>

#include "driver/pdevice.h"
#include "tests/scenes/scene.h"

namespace kv {
namespace {

TEST(DllTest, HasTheSizesOfTheInterface) {
    engine::Driver driver;
    DRVENABLEDATA data = {};
    HMODULE module = GetModuleHandleW(TEXT("kvgraph12.dll"));
    ASSERT_NE(module, nullptr);
    auto enable = reinterpret_cast<decltype(&DrvEnableDriver)>(
        reinterpret_cast<void*>(GetProcAddress(module, "DrvEnableDriver")));
    ASSERT_NE(enable, nullptr);
    EXPECT_FALSE(enable(0x1FFFF, sizeof data, &data));
    EXPECT_EQ(GetLastError(), 119u);
    EXPECT_FALSE(enable(0x20000, 11, &data));
    EXPECT_EQ(GetLastError(), 122u);
    ASSERT_TRUE(enable(0x20000, sizeof data, &data));
    EXPECT_EQ(data.iDriverVersion, 0x30000u);
    ASSERT_EQ(data.c, 31u);
    std::set<ULONG> indices;
    for (ULONG i = 0; i < data.c; ++i) indices.insert(data.pdrvfn[i].iFunc);
    EXPECT_EQ(indices.size(), 31u);
}

// Of this process, those that a child would get.
std::set<uintptr_t> inherited_handles() {
    constexpr uintptr_t kBeyond = 0x4000;
    std::set<uintptr_t> found;
    for (uintptr_t value = 4; value < kBeyond; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) && flags & HANDLE_FLAG_INHERIT)
            found.insert(value);
    }
    return found;
}

struct ProtectedDocument : testing::Test {
    ProtectedDocument() {
        DriverDevMode mode = scenes::device_mode(0);
        device = std::make_unique<engine::Device>(driver, nullptr, &mode, TEXT("P"));
    }
    const std::set<uintptr_t> inherited_before = inherited_handles();
    engine::Driver driver;
    std::unique_ptr<engine::Device> device;
};

TEST_F(ProtectedDocument, LeavesNothingToChildren) {
    ASSERT_TRUE(device->start_document(TEXT("Handles"), 3) && device->start_page());
    ASSERT_TRUE(reinterpret_cast<PDEVICE*>(device->handle())->job);
    EXPECT_EQ(inherited_handles(), inherited_before);
    EXPECT_TRUE(device->end_document(ED_ABORTDOC));
}

// The pipe is the user's and the system's, and nobody else's.
TEST_F(ProtectedDocument, IsAnnouncedWhereNobodyElseMayListen) {
    ASSERT_TRUE(device->start_document(TEXT("Rights"), 3));
    DWORD session = 0;
    WCHAR name[64] = L"\\\\.\\pipe\\KV12_Dispatcher";  // as it is where sessions are not known (wine)
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    if (!WaitNamedPipeW(name, 5000)) {
        swprintf(name + wcslen(name), 16, L"_%08X", static_cast<unsigned>(session));
        ASSERT_TRUE(WaitNamedPipeW(name, 5000));
    }
    HANDLE pipe = CreateFileW(name, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetSecurityInfo(pipe, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr,
                              &descriptor),
              DWORD{ERROR_SUCCESS});
    CloseHandle(pipe);
    ASSERT_NE(list, nullptr) << "everyone may open it";
    BYTE token_user[256];
    DWORD size = 0;
    HANDLE token = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) &&
                GetTokenInformation(token, TokenUser, token_user, sizeof token_user, &size));
    CloseHandle(token);
    for (DWORD i = 0; i < list->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* entry = nullptr;
        ASSERT_TRUE(GetAce(list, i, reinterpret_cast<void**>(&entry)));
        PSID who = &entry->SidStart;
        EXPECT_EQ(entry->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_TRUE(IsWellKnownSid(who, WinLocalSystemSid) ||
                    EqualSid(who, reinterpret_cast<TOKEN_USER*>(token_user)->User.Sid));
    }
    EXPECT_EQ(list->AceCount, 2);
    LocalFree(descriptor);
    EXPECT_TRUE(device->end_document(ED_ABORTDOC));
}

BOOL CALLBACK count_name(HMODULE, LPCWSTR, LPWSTR, LONG_PTR count) { return ++*reinterpret_cast<int*>(count) > 0; }

// The registry names a library beside the driver. It has another version, and leaves a file when it is run.
TEST(ResourceLibraryTest, HasItsTextsTakenAndNoCodeRun) {
    constexpr const WCHAR *kKey = TEXT("Software\\Velmora Software\\Karvo12"), *kLibrary = TEXT("entry_library.dll");
    WCHAR value[32] = TEXT("ResourceLibrary"), temporary[MAX_PATH];
    GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IDEFAULTLANGUAGE, value + wcslen(value), 8);
    GetTempPathW(MAX_PATH, temporary);
    const auto mark = std::filesystem::path(temporary) / "karvo-entry-point";
    const auto private_copies = [&] {
        return std::ranges::count_if(std::filesystem::directory_iterator(temporary), [](const auto& file) {
            return file.path().filename().wstring().starts_with(L"~KV") && file.path().extension() == L".tmp";
        });
    };
    HMODULE library = LoadLibraryW(kLibrary);
    ASSERT_TRUE(library && FreeLibrary(library) && std::filesystem::remove(mark)) << "it leaves no file at all";
    RegSetKeyValueW(HKEY_CURRENT_USER, kKey, value, REG_SZ, kLibrary, static_cast<DWORD>(wcslen(kLibrary) + 1) * 2);
    {
        engine::Driver driver;
        DriverDevMode mode = scenes::device_mode(0);
        engine::Device device(driver, nullptr, &mode, TEXT("P"));
        ASSERT_TRUE(device.is_open() && device.start_document(TEXT("Texts"), 3));
        const PDEVICE& recorded = *reinterpret_cast<PDEVICE*>(device.handle());
        const std::string content(reinterpret_cast<const char*>(recorded.tail.get()), recorded.tail_used);
        // The last byte of the document's header is the library's text 10060.
        EXPECT_NE(content.find(std::string("\x0E\0\0\xC0\x04\x0C\0\x4D", 8)), std::string::npos);
        EXPECT_EQ(private_copies(), 1);
        EXPECT_TRUE(device.end_document(ED_ABORTDOC));
    }
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, value);
    EXPECT_EQ(private_copies(), 0);

    library = LoadLibraryExW(kLibrary, nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    int tables = 0;
    EnumResourceNamesW(library, RT_STRING, count_name, reinterpret_cast<LONG_PTR>(&tables));
    EXPECT_EQ(tables, 2);
    HRSRC table = FindResourceW(library, MAKEINTRESOURCEW(1211), RT_RCDATA);
    ASSERT_EQ(SizeofResource(library, table), 5u);
    EXPECT_EQ(std::memcmp(LockResource(LoadResource(library, table)), "table", 5), 0);
    EXPECT_TRUE(FreeLibrary(library));
    EXPECT_FALSE(std::filesystem::exists(mark));
}

}  // namespace
}  // namespace kv

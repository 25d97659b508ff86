// The driver's modules on the system's own registry, files, processes, mutexes, pipes and message resources.

#include <aclapi.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "dispatch/dispatcher.h"
#include "dispatch/launch.h"
#include "dispatch/named_mutex.h"
#include "dispatch/open_security.h"
#include "dispatch/pipe.h"
#include "support/file.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/os_level.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/reg_key.h"
#include "support/token.h"

namespace {

struct Message {
    std::wstring text, title;
    UINT kind;
};
std::vector<Message> shown;

int WINAPI record_message(HWND, const WCHAR* text, const WCHAR* title, UINT kind) {
    shown.push_back({text, title, kind});
    return IDOK;
}

}  // namespace

// Stands in for the import, so that nobody has to press a button.
extern "C" decltype(&MessageBoxW) message_box asm(KV_MESSAGE_BOX);
decltype(&MessageBoxW) message_box = record_message;

namespace kv {
namespace {

using std::filesystem::path;

// This program once more, doing what a word says (main, below).
struct Child {
    explicit Child(const std::wstring& word) {
        std::wstring command = command_line(word);
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        EXPECT_TRUE(
            CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    }
    ~Child() {
        kill();
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    void kill() {
        TerminateProcess(process.hProcess, 1);
        WaitForSingleObject(process.hProcess, INFINITE);
    }
    static std::wstring command_line(const std::wstring& word) {
        PathText program;
        GetModuleFileName(nullptr, program);
        return L"\"" + std::wstring(program.c_str()) + L"\" " + word;
    }
    PROCESS_INFORMATION process = {};
};

struct SystemTest : testing::Test {
    void SetUp() override {
        process_state().os_level = GetOsLevel();
        process_state().resource_module = LoadLibraryExW(TEXT("kvres1232.dll"), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(process_state().resource_module, nullptr);
        shown.clear();
        PathText temporary;
        ASSERT_TRUE(GetTempFolder(temporary));
        folder = path(temporary.c_str()) / "karvo-system-test";
        std::filesystem::remove_all(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    static std::string content(const path& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static DWORD open_error(const path& file, DWORD access, DWORD share) {
        HANDLE handle = CreateFileW(file.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr);
        if (handle == INVALID_HANDLE_VALUE) return GetLastError();
        CloseHandle(handle);
        return 0;
    }
    path folder;
};

TEST_F(SystemTest, IsASystemOfThisCentury) {
    EXPECT_GE(GetOsLevel(), 5);
    EXPECT_FALSE(IsServerOs());
    EXPECT_NE(token_integrity_level(), DWORD{kIntegrityUnknown});
}

TEST_F(SystemTest, KeepsSettingsInTheRegistry) {
    constexpr const WCHAR* kPrinter = TEXT("\\\\server\\system test");
    {
        CRegKey key;
        ASSERT_TRUE(create_printer_key(key, HKEY_CURRENT_USER, kPrinter));
        EXPECT_TRUE(key.WriteDword(TEXT("Number"), 0xFFFFFFFE) && key.write_string(TEXT("Text"), TEXT("\u00FC\u4E2D")));
        EXPECT_TRUE(key.write(TEXT("Short"), REG_DWORD, "ab", 2));
    }
    CRegKey key;
    ASSERT_TRUE(open_printer_key(key, HKEY_CURRENT_USER, kPrinter));
    EXPECT_EQ(key.ReadDword(TEXT("Number"), 1), 0xFFFFFFFE);
    EXPECT_STREQ(key.ReadString(TEXT("Text")), TEXT("\u00FC\u4E2D"));
    EXPECT_EQ(key.ReadDword(TEXT("Short"), 1), 1u);
    EXPECT_EQ(key.ReadDword(TEXT("Text"), 1), 1u);
    EXPECT_EQ(key.ReadString(TEXT("Number")), nullptr);
    BYTE raw[5];
    DWORD size = 0;
    EXPECT_FALSE(key.read_raw(TEXT("Text"), raw, sizeof raw, &size));
    CRegKey all;
    ASSERT_TRUE(
        all.Open(kPrinterKeyRead, HKEY_CURRENT_USER, TEXT("Software\\Velmora Software\\Karvo12\\KarvoPrinters")));
    ASSERT_EQ(all.subkey_count(), 1u);
    EXPECT_STREQ(all.EnumSubkeyName(0), TEXT(",,server,system test"));
    EXPECT_EQ(all.EnumSubkeyName(1), nullptr);
    key.Close();
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER,
                            TEXT("Software\\Velmora Software\\Karvo12\\KarvoPrinters\\,,server,system test")),
              ERROR_SUCCESS);
    EXPECT_FALSE(open_printer_key(key, HKEY_CURRENT_USER, kPrinter));
}

TEST_F(SystemTest, WritesFilesThatOthersMayOnlyRead) {
    const path name = folder / "deep" / "\u00FC.kv";
    File* file = NewFile(name.c_str(), kFileCreate | kFileReadWrite);
    ASSERT_NE(file, nullptr);
    std::string data(100000, 'x');
    EXPECT_TRUE(file->Write(data.data(), 99999) && file->Write("y", 1));
    EXPECT_TRUE(file->push_position() && file->Seek(50000) && file->Write("patch", 5) && file->pop_position());
    EXPECT_TRUE(file->Write("end", 3) && file->Flush());
    data[99999] = 'y';
    data.replace(50000, 5, "patch");
    EXPECT_EQ(open_error(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(open_error(name, GENERIC_READ, FILE_SHARE_READ), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(open_error(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE), 0u);
    EXPECT_EQ(NewFile(name.c_str(), kFileReadWrite), nullptr) << "two writers";
    EXPECT_EQ(file->GetSize(), 100003);
    EXPECT_TRUE(file->Close());
    EXPECT_EQ(content(name), data + "end");
    SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(file->CloseAndDelete(FALSE));
    EXPECT_FALSE(FileExists(name.c_str()));
    destroy_object(file);
}

TEST_F(SystemTest, MakesTemporaryFilesOfTheirOwn) {
    PathText first, second, temporary;
    ASSERT_TRUE(CreateTempFile(nullptr, first) && CreateTempFile(nullptr, second) && GetTempFolder(temporary));
    EXPECT_STRNE(first.c_str(), second.c_str());
    for (const PathText* file : {&first, &second}) {
        EXPECT_EQ(std::filesystem::file_size(file->c_str()), 0u);
        EXPECT_EQ(path(file->c_str()).parent_path(), (path(temporary.c_str()) / "").parent_path());
        EXPECT_TRUE(DeleteFileW(file->c_str()));
    }
}

TEST_F(SystemTest, ShowsItsMessagesWithTheSystemsReasons) {
    SetLastError(77);
    EXPECT_EQ(NewFile((folder / "none").c_str(), 0), nullptr);
    report_message(12144, TEXT("SendDispatch failed."));
    report_message(9, nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND}) << "of the file";
    ASSERT_EQ(shown.size(), 3u);
    const std::wstring opening = L"Could not open the file " + (folder / "none").wstring() + L". ";
    EXPECT_EQ(shown[0].text.substr(0, opening.size()), opening);
    EXPECT_GT(shown[0].text.size(), opening.size() + 5) << "no reason given";
    EXPECT_EQ(shown[1].text, L"SendDispatch failed.");
    EXPECT_EQ(shown[2].text, L"An error of type 9 occurred.");
    for (const Message& message : shown) {
        EXPECT_EQ(message.title, L"Karvo");
        EXPECT_EQ(message.kind, UINT{MB_OK | MB_ICONERROR | MB_SETFOREGROUND});
    }
}

TEST_F(SystemTest, ComparesNamesUnitByUnit) {
    EXPECT_TRUE(same_text_ignoring_case(TEXT("\u00C4nn_Z9"), TEXT("\u00E4NN_z9")));
    EXPECT_FALSE(same_text_ignoring_case(TEXT("stra\u00DFe"), TEXT("strasse")));
    EXPECT_FALSE(same_text_ignoring_case(TEXT("co-op"), TEXT("co\u00ADop")));
}

TEST_F(SystemTest, WaitsForTheProgramsThatItRuns) {
    RunOptions options;
    options.wait = true;
    DWORD code = 0;
    EXPECT_TRUE(RunProcess(TEXT("cmd.exe /c exit 7"), options, &code));
    EXPECT_EQ(code, 7u);
    options.timeout = 100;
    const std::wstring sleeper = Child::command_line(L"sleep");
    EXPECT_TRUE(RunProcess(sleeper.c_str(), options, &code));
    EXPECT_EQ(code, DWORD{STILL_ACTIVE});
    // A request to quit ends the wait and is still there afterwards.
    options.timeout = 30000;
    PostQuitMessage(5);
    const DWORD start = GetTickCount();
    EXPECT_TRUE(RunProcess(sleeper.c_str(), options, &code));
    EXPECT_LT(GetTickCount() - start, 30000u);
    MSG message = {};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 5u);
    options.quiet = false;
    EXPECT_FALSE(RunProcess(TEXT("no-such-program.exe"), options, &code));
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].text.find(L"CreateProcess: "), 0u);
}

constexpr const WCHAR* kMutex = TEXT("Local\\KV12_LocalMutex_SystemTest");
constexpr const WCHAR* kHeld = TEXT("Local\\KV12_SystemTestHeld");

TEST_F(SystemTest, AMutexIsOneForAllProcesses) {
    HANDLE held = CreateEventW(nullptr, TRUE, FALSE, kHeld);
    CNamedMutex mutex(kMutex);
    EXPECT_TRUE(mutex.Acquire(0) && mutex.Acquire(0) && mutex.Release());
    HANDLE other = OpenMutexW(READ_CONTROL | SYNCHRONIZE, FALSE, kMutex);
    PACL list = reinterpret_cast<PACL>(this);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_EQ(GetSecurityInfo(other, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr,
                              &descriptor),
              DWORD{ERROR_SUCCESS});
    EXPECT_EQ(list, nullptr) << "programs of other users and of a low integrity level wait for it, too";
    LocalFree(descriptor);
    CloseHandle(other);
    Child child(L"hold-the-mutex");
    EXPECT_EQ(WaitForSingleObject(held, 200), DWORD{WAIT_TIMEOUT}) << "it is held here";
    EXPECT_TRUE(mutex.Release());
    ASSERT_EQ(WaitForSingleObject(held, 30000), DWORD{WAIT_OBJECT_0});
    EXPECT_FALSE(mutex.Acquire(0));
    child.kill();
    EXPECT_TRUE(mutex.Acquire(5000)) << "its owner died with it";
    CloseHandle(held);
}

// A dispatcher of one client that answers in turn.
struct Answers {
    Answers(const WCHAR* name, std::vector<std::string> replies) {
        OpenSecurity security;
        EXPECT_NE(security.attributes(), nullptr);
        pipe = CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 0, 0, 0,
                                security.attributes());
        EXPECT_NE(pipe, INVALID_HANDLE_VALUE);
        thread = std::thread([this, replies = std::move(replies)] {
            ConnectNamedPipe(pipe, nullptr);
            for (const std::string& reply : replies) {
                char request[600];
                DWORD size = 0;
                if (!ReadFile(pipe, request, sizeof request, &size, nullptr)) return;
                requests.emplace_back(request, size);
                WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &size, nullptr);
            }
        });
    }
    ~Answers() {
        if (thread.joinable()) thread.join();
        CloseHandle(pipe);
    }
    HANDLE pipe;
    std::vector<std::string> requests;
    std::thread thread;
};

TEST_F(SystemTest, SpeaksToTheDispatcherMessageByMessage) {
    constexpr DWORD kSession = 0xABCD;
    CDispatcher dispatcher(TEXT("SystemTest"), TEXT("SystemTest"));
    EXPECT_FALSE(ConnectDispatcher(dispatcher, 50, kSession)) << "nobody is there";
    Answers answers(TEXT("\\\\.\\pipe\\KV12_SystemTest_0000ABCD"), {std::string("\x2A\0\0\0", 4), "12345", "1234"});
    ASSERT_TRUE(ConnectDispatcher(dispatcher, 1000, kSession));
    HANDLE second = nullptr;
    const DWORD start = GetTickCount();
    EXPECT_FALSE(WaitForDispatcher(TEXT("SystemTest"), kSession, 300, &second)) << "the only instance is busy";
    EXPECT_GE(GetTickCount() - start, 290u);
    DispatchReply reply = 0;
    const std::span<BYTE> out(reinterpret_cast<BYTE*>(&reply), sizeof reply);
    const BYTE payload[] = {1, 2, 3};
    EXPECT_EQ(SendDispatch(kDispatchAbort, payload, out, dispatcher), DWORD{kDispatchDone});
    EXPECT_EQ(reply, 0x2Au);
    EXPECT_EQ(SendDispatch(kDispatchPrepare, {}, out, dispatcher), DWORD{kDispatchFailed}) << "5 bytes into 4";
    EXPECT_EQ(SendDispatch(kDispatchPrepare, {}, out, dispatcher), DWORD{kDispatchDone});
    EXPECT_EQ(reply, 0x34333231u) << "the rest of the reply before must not stand in front";
    answers.thread.join();
    ASSERT_EQ(answers.requests.size(), 3u);
    EXPECT_EQ(answers.requests[0], std::string("\x03\0\0\0\x01\x02\x03", 7));
    EXPECT_EQ(answers.requests[1], std::string("\xCD\0\0\0", 4));
}

void hold_the_mutex() {
    CNamedMutex mutex(kMutex);
    if (!mutex.Acquire(30000)) return;
    SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, kHeld));
    Sleep(60000);
}

}  // namespace
}  // namespace kv

// With a word, this program is the child of one of its tests.
int main(int argc, char** argv) {
    const std::string word = argc > 1 ? argv[1] : "";
    if (word == "sleep") return Sleep(3000), 0;
    if (word == "hold-the-mutex") return kv::hold_the_mutex(), 0;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

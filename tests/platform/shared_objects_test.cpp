// What processes of the host share by name: pipes and mutexes.

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "platform/host/message_socket.h"
#include "platform/host/state.h"
#include "tests/common/scripted_dispatcher.h"

namespace kv::test {
namespace {

constexpr const WCHAR* kPipe = TEXT("\\\\.\\PIPE\\kv12_DISPATCHER_00000001");  // of the dispatcher, in other letters

HANDLE open_client() {
    HANDLE pipe = CreateFileW(kPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (pipe != INVALID_HANDLE_VALUE) SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
    return pipe;
}

HANDLE open_server(DWORD instances = PIPE_UNLIMITED_INSTANCES, DWORD flags = 0) {
    return CreateNamedPipeW(kPipe, PIPE_ACCESS_DUPLEX | flags, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, instances, 0,
                            0, 0, nullptr);
}

struct SharedObjects : DispatchTest {};

TEST_F(SharedObjects, PipesKeepMessagesWhole) {
    serve({1, {{1, {}}, {2, from_hex("0102030405")}}, {}});
    HANDLE pipe = open_client();
    BYTE reply[3] = {9, 9, 9}, more[3];
    DWORD got = 7;
    EXPECT_TRUE(TransactNamedPipe(pipe, Bytes{1, 0, 0, 0}.data(), 4, reply, 3, &got, nullptr));
    EXPECT_EQ(got, 0u);  // an empty message is one
    EXPECT_FALSE(TransactNamedPipe(pipe, Bytes{2, 0, 0, 0}.data(), 4, reply, 3, &got, nullptr));
    EXPECT_TRUE(GetLastError() == ERROR_MORE_DATA && got == 3 && reply[2] == 3);
    EXPECT_FALSE(TransactNamedPipe(pipe, Bytes{2, 0, 0, 0}.data(), 4, reply, 3, &got, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_BUSY});  // the rest must be read first
    EXPECT_TRUE(ReadFile(pipe, more, 3, &got, nullptr));
    EXPECT_TRUE(got == 2 && more[1] == 5);
    EXPECT_EQ(codes(), (std::vector<DWORD>{1, 2}));
    DWORD mode = 0;
    SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
    EXPECT_FALSE(TransactNamedPipe(pipe, Bytes{1}.data(), 1, reply, 3, &got, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_PIPE});
    dispatcher->kill();
    EXPECT_FALSE(ReadFile(pipe, more, 3, &got, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BROKEN_PIPE});
    CloseHandle(pipe);
}

TEST_F(SharedObjects, APipeHasAsManyClientsAsInstances) {
    EXPECT_FALSE(WaitNamedPipeW(kPipe, 100));
    EXPECT_TRUE(GetLastError() == ERROR_FILE_NOT_FOUND && virtual_time() == 0);  // no wait without a pipe
    serve();
    EXPECT_TRUE(WaitNamedPipeW(kPipe, 100));
    HANDLE client = open_client();
    EXPECT_EQ(open_client(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_BUSY});
    EXPECT_FALSE(WaitNamedPipeW(kPipe, 100));
    EXPECT_TRUE(GetLastError() == ERROR_SEM_TIMEOUT && virtual_time() == 100);
    CloseHandle(client);

    EXPECT_EQ(open_server(), INVALID_HANDLE_VALUE);  // the name is the other process's
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    dispatcher->kill();
    EXPECT_FALSE(WaitNamedPipeW(kPipe, 100));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    HANDLE server = open_server(1, FILE_FLAG_FIRST_PIPE_INSTANCE);  // until it is dead
    ASSERT_NE(server, INVALID_HANDLE_VALUE);
    EXPECT_EQ(open_server(1), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_BUSY});
    client = open_client();  // before the server asks for one
    EXPECT_FALSE(ConnectNamedPipe(server, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PIPE_CONNECTED});
    DisconnectNamedPipe(server);
    EXPECT_EQ(open_client(), INVALID_HANDLE_VALUE);  // until it connects again
    CloseHandle(client);
    CloseHandle(server);
    EXPECT_FALSE(WaitNamedPipeW(kPipe, 100));
}

TEST_F(SharedObjects, SilentClientsOfAPipeKeepNobodyWaiting) {
    HANDLE server = open_server();
    sockaddr_un address;
    ASSERT_TRUE(host::make_address(host::shared_path("pipe", u"kv12_dispatcher_00000001"), address));
    std::vector<host::Descriptor> silent;
    for (int i = 0; i < 12; ++i) {
        silent.push_back(host::make_socket());
        ASSERT_EQ(connect(silent.back().get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    HANDLE client = open_client();
    EXPECT_NE(client, INVALID_HANDLE_VALUE);
    ConnectNamedPipe(server, nullptr);  // the client may know of it sooner than the server
    DWORD process = 0;
    EXPECT_TRUE(GetNamedPipeClientProcessId(server, &process));
    EXPECT_EQ(process, GetCurrentProcessId());
    CloseHandle(client);
    CloseHandle(server);
}

TEST_F(SharedObjects, LocalMutexesAreTheSessions) {
    for (const WCHAR* name : {TEXT("Local\\m"), TEXT("m"), TEXT("Global\\m")}) {
        MutexProbe other(name);
        HANDLE mutex = CreateMutexW(nullptr, TRUE, name);
        EXPECT_FALSE(other.can_take(1));
        EXPECT_EQ(other.can_take(2), name[0] != 'G');
        ReleaseMutex(mutex);
        EXPECT_TRUE(other.can_take(1));
        CloseHandle(mutex);
    }
}

TEST_F(SharedObjects, AWaitTakesItsTime) {
    OtherProcess other([](int socket) {
        CreateMutexW(nullptr, TRUE, TEXT("m"));
        OtherProcess::send(socket, OtherProcess::kReady);
        pause();
    });
    HANDLE mutex = CreateMutexW(nullptr, FALSE, TEXT("M"));
    EXPECT_EQ(WaitForSingleObject(mutex, 250), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(virtual_time(), 250u);
    host::at_virtual_time(100, [&] { other.kill(); });
    EXPECT_EQ(WaitForSingleObject(mutex, 250), DWORD{WAIT_ABANDONED});
    EXPECT_EQ(virtual_time(), 350u);
    EXPECT_EQ(WaitForSingleObject(mutex, 250), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(ReleaseMutex(mutex) && ReleaseMutex(mutex));
    EXPECT_FALSE(ReleaseMutex(mutex));
    CloseHandle(mutex);
}

// A folder that someone else could put objects into is not used.
TEST_F(SharedObjects, LieInAFolderThatIsTheUsersAlone) {
    const std::string open = shared + "/open", link = shared + "/link", made = shared + "/made";
    mkdir(open.c_str(), 0700);
    chmod(open.c_str(), 0750);
    std::filesystem::create_directory_symlink(shared, link);
    for (const std::string& folder : {open, link, shared + "/missing/folder"}) {
        host::set_shared_folder(folder);
        EXPECT_EQ(CreateMutexW(nullptr, FALSE, TEXT("m")), nullptr);
        EXPECT_EQ(open_server(), INVALID_HANDLE_VALUE);
        EXPECT_EQ(open_client(), INVALID_HANDLE_VALUE);
    }
    host::set_shared_folder(made);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, TEXT("m"));
    EXPECT_NE(mutex, nullptr);
    struct stat info;
    EXPECT_TRUE(stat(made.c_str(), &info) == 0 && (info.st_mode & 0777) == 0700);
    CloseHandle(mutex);
}

}  // namespace
}  // namespace kv::test

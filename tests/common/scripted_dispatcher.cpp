#include "tests/common/scripted_dispatcher.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include "dispatch/object_names.h"
#include "support/process_state.h"

namespace kv::test {
namespace {

constexpr DWORD kStartTick = 0xFFFFF000;  // the tick count wraps while a test waits

DWORD code_of(const Bytes& message) {
    DWORD code = 0;
    if (message.size() >= sizeof code) std::memcpy(&code, message.data(), sizeof code);
    return code;
}

void serve_client(HANDLE pipe, const DispatcherScript& script, int socket) {
    for (;;) {
        Bytes request(4096);
        DWORD got = 0, written = 0;
        if (!ReadFile(pipe, request.data(), static_cast<DWORD>(request.size()), &got, nullptr)) return;
        request.resize(got);
        OtherProcess::send(socket, request);
        const DWORD code = code_of(request);
        if (script.dies_of.contains(code)) _exit(0);
        const auto found = script.replies.find(code);
        const Bytes reply = found != script.replies.end() ? found->second : Bytes{0x2A, 0, 0, 0};
        WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &written, nullptr);
    }
}

void run_script(const DispatcherScript& script, int socket) {
    ObjectName name;
    MakePipeName(nullptr, TEXT("Dispatcher"), script.session, name);
    HANDLE pipe = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096,
                                   4096, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) return;
    OtherProcess::send(socket, OtherProcess::kReady);
    for (;;) {
        ConnectNamedPipe(pipe, nullptr);
        serve_client(pipe, script, socket);
        DisconnectNamedPipe(pipe);
    }
}

}  // namespace

OtherProcess::OtherProcess(const std::function<void(int)>& work) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair");
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        host::clear_failures();
        host::use_real_clock();
        work(ends[1]);
        _exit(1);
    }
    close(ends[1]);
    socket_ = ends[0];
    char ignored;
    ready_ = recv(socket_, &ignored, 1, 0) > 0;
}

OtherProcess::~OtherProcess() {
    kill();
    close(socket_);
}

void OtherProcess::kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

std::vector<Bytes> OtherProcess::received() {
    std::vector<Bytes> messages;
    for (;;) {
        Bytes message(4096);
        const ssize_t size = recv(socket_, message.data(), message.size(), MSG_DONTWAIT);
        if (size <= 0) return messages;
        message.resize(static_cast<size_t>(size));
        messages.push_back(std::move(message));
    }
}

void OtherProcess::send(int socket, const Bytes& message) {
    ::send(socket, message.data(), message.size(), MSG_NOSIGNAL);
}

Bytes OtherProcess::receive(int socket) {
    Bytes message(4096);
    const ssize_t size = recv(socket, message.data(), message.size(), 0);
    message.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return message;
}

Bytes OtherProcess::ask(const Bytes& message) {
    send(socket_, message);
    return receive(socket_);
}

MutexProbe::MutexProbe(const WCHAR* name)
    : OtherProcess([name](int socket) {
          send(socket, kReady);
          for (Bytes order = receive(socket); !order.empty(); order = receive(socket)) {
              if (order[0] > 0) host::machine().session = order[0];
              HANDLE mutex = CreateMutexW(nullptr, FALSE, name);
              const bool taken = WaitForSingleObject(mutex, 0) != WAIT_TIMEOUT;
              if (order[0] == 0) _exit(0);
              if (taken) ReleaseMutex(mutex);
              CloseHandle(mutex);
              send(socket, {BYTE{taken}});
          }
      }) {}

ScriptedDispatcher::ScriptedDispatcher(const DispatcherScript& script)
    : OtherProcess([&](int socket) { run_script(script, socket); }) {}

void DispatchTest::SetUp() {
    port = u"KARVO:";
    PrintTest::SetUp();
    process_state().os_level = 11;
    std::string folder = (std::filesystem::temp_directory_path() / "karvo-test-XXXXXX").string();
    ASSERT_TRUE(mkdtemp(folder.data()));
    shared = folder;
    host::set_shared_folder(shared);
    host::set_registry_string(HKEY_LOCAL_MACHINE, u"Software\\Velmora Software\\Karvo12", u"InstallLocation",
                              u"C:\\Program Files\\Karvo");
    install("/bin/true");
    host::use_virtual_clock(kStartTick);
    before = host::live_objects();
    shown_before_ = host::messages().size();
}

void DispatchTest::TearDown() {
    PrintTest::TearDown();
    dispatcher.reset();
    std::filesystem::remove_all(shared);
}

void DispatchTest::install(const std::string& host_program) {
    host::map_file(u"C:\\Program Files\\Karvo\\kvdisp12.exe", host_program);
}

std::vector<DWORD> DispatchTest::codes() {
    std::vector<DWORD> all;
    for (const Bytes& message : dispatcher->received()) all.push_back(code_of(message));
    return all;
}

std::vector<std::u16string> DispatchTest::messages() const {
    std::vector<std::u16string> texts;
    for (size_t i = shown_before_; i < host::messages().size(); ++i) texts.push_back(host::messages()[i].text);
    return texts;
}

BOOL DispatchTest::print(DWORD job_id, FLONG end_flags) {
    if (!device) open_device();
    const BOOL started = device->start_document(u"Title", job_id);
    if (started) {
        EXPECT_TRUE(device->start_page() && device->send_page());
    }
    EXPECT_TRUE(device->end_document(end_flags));
    return started;
}

DWORD DispatchTest::virtual_time() { return GetTickCount() - kStartTick; }

Bytes utf16(const std::u16string& text) {
    Bytes bytes;
    for (char16_t unit : text + u'\0') {
        bytes.push_back(static_cast<BYTE>(unit));
        bytes.push_back(static_cast<BYTE>(unit >> 8));
    }
    return bytes;
}

std::u16string text_at(const Bytes& message, size_t start) {
    std::u16string text;
    for (size_t at = start; at + 1 < message.size(); at += 2) {
        const auto unit = static_cast<char16_t>(message[at] | message[at + 1] << 8);
        if (unit == 0) break;
        text += unit;
    }
    return text;
}

}  // namespace kv::test

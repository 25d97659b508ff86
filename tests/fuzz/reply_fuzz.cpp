// Any replies of a dispatcher to the driver: of any length, none, or the end of the connection.

#include <unistd.h>

#include <deque>
#include <mutex>
#include <thread>

#include "dispatch/dispatcher.h"
#include "tests/common/scripted_dispatcher.h"
#include "tests/common/workspace.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {
namespace {

// Serves the pipe of session 1. Where no reply is left, the client is left.
class Pipe {
public:
    Pipe() {
        ObjectName name;
        MakePipeName(nullptr, TEXT("Fuzzed"), 1, name);
        pipe_ = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096,
                                 4096, 0, nullptr);
        require(pipe_ != INVALID_HANDLE_VALUE);
    }
    [[noreturn]] void serve() {
        for (;;) {
            ConnectNamedPipe(pipe_, nullptr);
            while (answer()) {
            }
            DisconnectNamedPipe(pipe_);
        }
    }
    void reply_with(FuzzInput in) {
        const std::lock_guard guard(lock_);
        replies_.clear();
        while (!in.empty() && replies_.size() < 8) {
            const DWORD size = in.u8();
            replies_.push_back(in.bytes(size < 0xE0 ? size % 8 : size * 3));
        }
    }

private:
    bool answer() {
        std::vector<BYTE> request(4096);
        DWORD got = 0, written = 0;
        if (!ReadFile(pipe_, request.data(), static_cast<DWORD>(request.size()), &got, nullptr)) return false;
        const std::lock_guard guard(lock_);
        if (replies_.empty()) return false;
        const std::vector<BYTE> reply = std::move(replies_.front());
        replies_.pop_front();
        return WriteFile(pipe_, reply.data(), static_cast<DWORD>(reply.size()), &written, nullptr);
    }

    HANDLE pipe_;
    std::mutex lock_;
    std::deque<std::vector<BYTE>> replies_;
};

// The dispatcher is a process of its own, which is told what to reply.
void serve_pipe(int socket) {
    static Pipe pipe;
    std::thread([] { pipe.serve(); }).detach();
    test::OtherProcess::send(socket, test::OtherProcess::kReady);
    for (;;) {
        const test::Bytes bytes = test::OtherProcess::receive(socket);
        if (bytes.empty()) _exit(0);
        pipe.reply_with(FuzzInput(bytes.data() + 1, bytes.size() - 1));
        test::OtherProcess::send(socket, test::OtherProcess::kReady);
    }
}

test::OtherProcess& dispatcher_process() {
    static const test::Workspace folder;
    host::set_shared_folder(folder.path("shared"));
    host::machine().session = 1;
    static test::OtherProcess process(serve_pipe);
    return process;
}

void run(FuzzInput& in) {
    constexpr size_t kMostReplies = 4000;  // bytes: one message to the process
    const DWORD options = in.u8();
    std::vector<BYTE> replies = in.bytes(kMostReplies);
    replies.insert(replies.begin(), 1);  // a message is not empty
    dispatcher_process().ask(replies);
    static const DriverDevMode settings = [] {
        DriverDevMode mode;
        InitDefaultDevMode(TEXT("P"), mode);
        return mode;
    }();
    CDispatcher dispatcher(TEXT("Fuzzed"), TEXT("FuzzedMutex"));
    const DocumentInfo document = {nullptr, TEXT("P"), settings, options % 4, TEXT("Title")};
    dispatcher.StartDoc(document, false);
    PathText path;
    if (options & 4) require(dispatcher.GetJobPath(path) == !path.empty() && path.length() < kPathCapacity);
    BYTE reply[8];
    if (options & 8) SendDispatch(kDispatchPrepare, {}, std::span(reply).first(options % 8), dispatcher);
    const bool had_job = dispatcher.has_job();
    if (options & 16) require(!dispatcher.EndDoc(TEXT("C:\\a.kv")) || !dispatcher.has_job());
    require(had_job || !dispatcher.has_job());
    dispatcher.Abort();
    require(!dispatcher.has_job());
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}

// Any replies of a dispatcher to the driver: of any length, none, or the end of the connection.

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>

#include "dispatch/dispatcher.h"
#include "tests/common/workspace.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {
namespace {

// Serves the pipe of session 1 in a thread of this process. Where no reply is left, the client is left.
class Server {
public:
    Server() {
        host::set_shared_folder(folder_.path("shared"));
        host::machine().session = 1;
        ObjectName name;
        MakePipeName(nullptr, TEXT("Fuzzed"), 1, name);
        pipe_ = CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096,
                                 4096, 0, nullptr);
        require(pipe_ != INVALID_HANDLE_VALUE);
        thread_ = std::thread([this] { serve(); });
    }
    ~Server() {
        ending_ = true;
        CDispatcher last(TEXT("Fuzzed"), TEXT("FuzzedMutex"));
        while (!ConnectDispatcher(last, 1000, 1)) {
        }
        reply_with({});
        SendDispatch(kDispatchPrepare, {}, {}, last);  // left without a reply
        thread_.join();
        CloseHandle(pipe_);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    void reply_with(std::deque<std::vector<BYTE>> replies) {
        const std::lock_guard guard(lock_);
        replies_ = std::move(replies);
    }

private:
    void serve() {
        while (!ending_) {
            ConnectNamedPipe(pipe_, nullptr);
            while (answer()) {
            }
            DisconnectNamedPipe(pipe_);
        }
    }
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

    test::Workspace folder_;
    HANDLE pipe_ = nullptr;
    std::thread thread_;
    std::atomic<bool> ending_ = false;
    std::mutex lock_;
    std::deque<std::vector<BYTE>> replies_;
};

void run(FuzzInput& in) {
    static Server server;
    const DWORD options = in.u8();
    std::deque<std::vector<BYTE>> replies;
    while (!in.empty() && replies.size() < 8) {
        const DWORD size = in.u8();
        replies.push_back(in.bytes(size < 0xE0 ? size % 8 : size * 3));
    }
    server.reply_with(std::move(replies));
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

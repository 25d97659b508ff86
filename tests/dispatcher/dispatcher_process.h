#pragma once
// A dispatcher as a process of a user of its own, and clients that speak to it byte by byte.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

#include "tests/common/fault_test.h"
#include "tests/common/pdf_text.h"
#include "tests/common/scripted_dispatcher.h"
#include "tests/common/workspace.h"

extern char** environ;

namespace kv::test {
namespace fs = std::filesystem;

inline const std::string kPrograms = KV_BIN_DIR "/";
inline constexpr const WCHAR* kPipe = u"\\\\.\\pipe\\KV12_Dispatcher_00000001";
inline bool is_served() { return WaitNamedPipeW(kPipe, 1); }
inline HANDLE open_pipe() {
    return CreateFileW(kPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

// A user of their own: data, runtime folder and log are the test's.
struct DispatcherTest : DispatchTest {
    void SetUp() override {
        DispatchTest::SetUp();
        host::use_real_clock();
        install(kPrograms + "kvdisp12");
        fs::create_directory(shared + "/run");
        fs::permissions(shared + "/run", fs::perms::owner_all);
        setenv("XDG_DATA_HOME", (shared + "/data").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", (shared + "/run").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (shared + "/config").c_str(), 1);
        setenv("TMPDIR", shared.c_str(), 1);
        host::set_shared_folder(shared + "/run/karvo");
        configure("");
    }
    void TearDown() override {
        for (const pid_t process : started()) kill(process, SIGKILL);
        for (const pid_t process : own_) waitpid(process, nullptr, 0);
        DispatchTest::TearDown();
        unsetenv("XDG_DATA_HOME");
        for (const char* variable : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "TMPDIR"}) unsetenv(variable);
    }

    // Lines of the dispatcher's settings, beside the log's place.
    void configure(const std::string& lines) const {
        fs::create_directories(shared + "/config/karvo");
        write_file(shared + "/config/karvo/kvdisp12.conf", "log = " + shared + "/data/karvo/kvdisp12.log\n" + lines);
    }
    pid_t start(const std::string& program, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), kPrograms + program);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const int flags = O_WRONLY | O_CREAT | O_APPEND;
        for (int stream : {STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions, stream, (shared + "/output").c_str(), flags, 0600);
        }
        pid_t process = -1;
        EXPECT_EQ(posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        own_.push_back(process);
        return process;
    }
    int end_of(pid_t process) {
        int status = 0;
        waitpid(process, &status, 0);
        std::erase(own_, process);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int run(const std::string& program, const std::vector<std::string>& arguments) {
        return end_of(start(program, arguments));
    }
    // A dispatcher that serves this test's drive, started by hand.
    pid_t start_dispatcher(std::vector<std::string> arguments = {}) {
        setenv("KARVO_DRIVE", host::host_path(u"C:\\").c_str(), 1);
        const pid_t process = start("kvdisp12", std::move(arguments));
        unsetenv("KARVO_DRIVE");
        wait_until([&] {
            siginfo_t info = {};
            waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT);
            return info.si_pid != 0 || is_served();
        });
        return process;
    }
    static void wait_until(const std::function<bool()>& done) {
        bool reached = done();
        for (int i = 0; i < 20000 && !reached; ++i) {
            usleep(1000);
            reached = done();
        }
        EXPECT_TRUE(reached);
    }

    std::string file(const std::string& path) const { return read_file(shared + "/" + path); }
    std::string log() const { return file("data/karvo/kvdisp12.log"); }
    size_t logged(const std::string& part) const {
        size_t count = 0;
        const std::string text = log();
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
        return count;
    }
    // The dispatchers that wrote the log.
    std::vector<pid_t> started() const {
        std::vector<pid_t> processes;
        std::istringstream lines(log());
        for (std::string line, date, time; std::getline(lines, line);) {
            pid_t process = 0;
            std::istringstream words(line);
            if (words >> date >> time >> process && line.find(" Start source ") != std::string::npos) {
                processes.push_back(process);
            }
        }
        return processes;
    }
    std::vector<std::string> outbox() const {
        std::vector<std::string> names;
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(shared + "/data/karvo/outbox", none)) {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }
    Bytes job_named(const std::string& name) const { return read_bytes(shared + "/data/karvo/outbox/" + name); }

private:
    std::vector<pid_t> own_;
};

// A client that speaks byte by byte.
class Client {
public:
    Client() {
        DWORD mode = PIPE_READMODE_MESSAGE;
        pipe_ = open_pipe();
        SetNamedPipeHandleState(pipe_, &mode, nullptr, nullptr);
    }
    ~Client() { CloseHandle(pipe_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    Bytes ask(Bytes request) {
        Bytes reply(600);
        DWORD got = 0;
        EXPECT_TRUE(TransactNamedPipe(pipe_, request.data(), static_cast<DWORD>(request.size()), reply.data(), 600,
                                      &got, nullptr));
        reply.resize(got);
        return reply;
    }
    Bytes start(const std::u16string& name, const std::string& job_id = "01000000") {
        BytesBuilder request;
        request.hex("01000000 0200040C " + job_id + " 01000100 00000000 0000").add(utf16(name));
        return ask(request.add(utf16(u"P")).add(utf16(u"kvui12.dll")));
    }
    Bytes end(const std::u16string& path, const std::string& job_id = "01000000") {
        return ask(BytesBuilder().hex("02000000 0200040C " + job_id + " 01000000 01000000").add(utf16(path)));
    }

private:
    HANDLE pipe_;
};

inline const Bytes kRefused = {0, 0, 0, 0};

struct ProtocolTest : DispatcherTest {
    void TearDown() override {
        fs::remove_all(temp());
        fs::create_directory(temp());
        DispatcherTest::TearDown();
    }
    static std::string temp() { return host::host_path(u"C:\\Windows\\Temp"); }
    // A job of nothing but its magic and a mark.
    static std::u16string make_job(const std::string& mark, const std::string& magic = "KARV") {
        const std::u16string path = u"C:\\Windows\\Temp\\~KV" + std::u16string(mark.begin(), mark.end()) + u".kv";
        write_file(host::host_path(path), magic + mark);
        return path;
    }
};

}  // namespace kv::test

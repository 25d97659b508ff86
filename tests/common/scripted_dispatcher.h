#pragma once
// A dispatcher of a few words in a process of its own: it serves the pipe of a session, notes what it receives and
// answers as it is told. And documents printed to it.

#include <sys/types.h>

#include <map>
#include <set>

#include "dispatch/dispatcher.h"
#include "tests/common/print_test.h"

namespace kv::test {

struct DispatcherScript {
    DWORD session = 1;
    std::map<DWORD, Bytes> replies;  // by message code; the others get 2A 00 00 00
    std::set<DWORD> dies_of;         // ends without a reply to these
};

// A process with one end of a socket that keeps messages apart; killed with its object.
class OtherProcess {
public:
    static inline const Bytes kReady = {0};

    // Runs `work` there, given its end, until that sends kReady or ends.
    explicit OtherProcess(const std::function<void(int socket)>& work);
    ~OtherProcess();
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // Whether it came so far.
    bool is_ready() const { return ready_; }
    void kill();
    // What it sent since the last call. Never waits.
    std::vector<Bytes> received();
    // Sends a message, not empty, and waits for the answer; empty when the process is gone.
    Bytes ask(const Bytes& message);
    // The same for the other side.
    static void send(int socket, const Bytes& message);
    static Bytes receive(int socket);

private:
    pid_t process_ = -1;
    int socket_ = -1;
    bool ready_ = false;
};

// Tries to take a mutex at once; a process that exists before this one opens the mutex shares nothing of it but the
// name.
class MutexProbe : public OtherProcess {
public:
    explicit MutexProbe(const WCHAR* name);
    // In a session of that number. Gives it back.
    bool can_take(BYTE session = 1) { return ask({session}) == Bytes{1}; }
    // Takes it and dies with it.
    void take_and_die() {
        ask({0});
        kill();
    }
};

// Serves one client at a time.
class ScriptedDispatcher : public OtherProcess {
public:
    explicit ScriptedDispatcher(const DispatcherScript& script = {});
};

// A machine where the dispatcher is installed, and what processes share is the test's alone. The clock is virtual.
class DispatchTest : public PrintTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // The program that stands for the dispatcher's when the driver starts it; by default one that does nothing.
    void install(const std::string& host_program);
    void serve(const DispatcherScript& script = {}) { dispatcher = std::make_unique<ScriptedDispatcher>(script); }
    // Message codes since the last call.
    std::vector<DWORD> codes();
    // Shown to the user since the test began.
    std::vector<std::u16string> messages() const;
    // A document of one empty page.
    BOOL print(DWORD job_id = 7, FLONG end_flags = 0);
    static DWORD virtual_time();  // milliseconds since the test began

    std::unique_ptr<ScriptedDispatcher> dispatcher;
    std::string shared;  // the folder, on the host

private:
    size_t shown_before_ = 0;
};

// A text with its terminating 0.
Bytes utf16(const std::u16string& text);
// UTF-16 behind the first `start` bytes of a message, up to its 0.
std::u16string text_at(const Bytes& message, size_t start);

}  // namespace kv::test

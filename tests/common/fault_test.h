#pragma once
// Makes each call of a printed document fail in its turn, until a run comes through without a failing one: the call
// alone, all calls of its kind from it on, or it and one of the twenty calls behind it. After each run nothing is held,
// no job file is left, and what reached the spooler is a sound job or nothing.

#include <functional>
#include <set>

#include "tests/common/print_test.h"

namespace kv::test {

// What the hooks of one run answered.
class Answers {
public:
    // Takes the answer of a hook that moves the document on or draws.
    void operator()(BOOL answer);
    // The first answer that was no success, and the last error behind it.
    bool refused() const { return refused_; }
    DWORD error() const { return error_; }

private:
    bool refused_ = false;
    DWORD error_ = 0;
};

struct Fault {
    host::CallKind kind;
    uint64_t call;  // its number among the calls of the kind; 1 is the first
    bool lasting = false;
    uint64_t another = 0;  // the call behind it that fails too; 0: none

    void arm() const;
};

struct FaultRun : Fault {
    std::set<std::string> functions;  // the ones that failed; none when the run needs fewer calls
    bool opened = false;              // the device and its surface
    bool port_known = false;
    DWORD open_error = 0;
    Answers answers;
    Bytes job;  // what the spooler was sent
};

class FaultTest : public PrintTest {
protected:
    // Prints a whole document; every hook is called whatever the one before it answered.
    using Script = std::function<void(engine::Device&, Answers&)>;
    using Check = std::function<void(const FaultRun&)>;

    // Every call of every kind, from the opening of the device to its closing. `check` sees each run besides.
    void fail_each_call(const Script& script, const Check& check = {});
    // The calls of one kind; `prepare` runs before each document.
    void fail_each_call_of(host::CallKind kind, const Script& script, const Check& check);

    // Without memory for buffers, so that each write of the document is a call that can fail.
    void fail_each_write(const Script& script);

    const DEVMODEW* mode = nullptr;  // the application's
    // What the test made fail: calls alone, calls with all behind them, pairs.
    uint64_t failed_calls = 0, lasting_failures = 0, failed_pairs = 0;

private:
    FaultRun run_once(const Fault& fault, const Script& script);
    void fail_lasting_and_in_pairs(host::CallKind kind, uint64_t calls, const Script& script);
    void run_and_expect_sound(const Fault& fault, const Script& script);
    void expect_sound(const FaultRun& run);
    void expect_next_document(const FaultRun& run, const Script& script);
    void take_away_what_could_not_be_deleted(const FaultRun& run);

    uint64_t pairs_ = 0;  // that could be tried
};

// The faults of a job, one a line; empty for a sound one.
std::string faults_of(const Bytes& job);

}  // namespace kv::test

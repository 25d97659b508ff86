#pragma once
// Makes each call of a printed document fail in its turn, one at a time, until a run comes through without one. After
// each run nothing is held, no job file is left, and what reached the spooler is a sound job or nothing.

#include <functional>

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

struct FaultRun {
    host::CallKind kind;
    uint64_t call;         // its number among the calls of the kind; 1 is the first
    std::string function;  // the one that failed; empty when the run needs fewer calls
    bool opened = false;   // the device and its surface
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

    const DEVMODEW* mode = nullptr;  // the application's
    // Of the last fail_each_call: the calls that were made to fail.
    uint64_t failed_calls = 0;

private:
    FaultRun run_once(host::CallKind kind, uint64_t call, const Script& script);
    void expect_sound(const FaultRun& run);
    void expect_next_document(const FaultRun& run, const Script& script);
    void take_away_what_could_not_be_deleted();
};

// The faults of a job, one a line; empty for a sound one.
std::string faults_of(const Bytes& job);

}  // namespace kv::test

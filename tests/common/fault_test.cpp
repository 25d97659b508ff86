#include "tests/common/fault_test.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "reader/checker.h"

namespace kv::test {
namespace {

constexpr uint64_t kMostCalls = 20000;  // of one kind in one document
constexpr uint64_t kBehind = 20;        // calls behind a failure in which another one is tried

// One in so many of the calls fails with all behind it, and one in so many of the pairs of calls.
struct Sampling {
    uint64_t lasting = 17, pairs = 289;
};

// KV_FAULTS: each call, and one in so many of the pairs; "all" of them.
Sampling sampling() {
    const char* faults = std::getenv("KV_FAULTS");
    if (!faults) return {};
    return {1, std::max<uint64_t>(1, std::strtoull(faults, nullptr, 10))};
}

// The engine draws itself on a surface whose hooks it was not told.
bool leaves_hooks_uncalled(const FaultRun& run) { return run.functions.contains("EngAssociateSurface"); }

// The copy for the spooler goes on behind a piece that cannot be read or sent.
bool leaves_a_gap(const FaultRun& run) {
    return run.functions.contains("ReadFile") || run.functions.contains("WritePrinter");
}

std::string trace(const FaultRun& run) {
    std::string text = "call " + std::to_string(run.call) + " of kind " + std::to_string(static_cast<int>(run.kind));
    if (run.lasting) text += " and all behind it";
    if (run.another) text += " and the " + std::to_string(run.another) + ". call behind it";
    for (const std::string& function : run.functions) text += ", " + function;
    return text;
}

}  // namespace

void Fault::arm() const {
    if (lasting) return host::fail_calls_from(kind, call);
    host::fail_call(kind, call);
    host::fail_another_call(another);
}

void Answers::operator()(BOOL answer) {
    if (answer == TRUE || refused_) return;
    refused_ = true;
    error_ = GetLastError();
}

std::string faults_of(const Bytes& job) {
    std::string faults;
    for (const kvjob::Finding& finding : kvjob::check_job(job, 5)) {
        faults += std::to_string(finding.offset) + ": " + finding.message + "\n";
    }
    return faults;
}

void FaultTest::fail_each_call(const Script& script, const Check& check) {
    for (int kind = 0; kind < static_cast<int>(host::CallKind::Count); ++kind) {
        fail_each_call_of(static_cast<host::CallKind>(kind), script, check);
    }
}

void FaultTest::fail_each_call_of(host::CallKind kind, const Script& script, const Check& check) {
    for (uint64_t call = 1; call < kMostCalls; ++call) {
        const FaultRun run = run_once({kind, call}, script);
        SCOPED_TRACE(trace(run));
        expect_sound(run);
        if (check) check(run);
        if (HasFailure()) return;
        if (run.functions.empty()) return fail_lasting_and_in_pairs(kind, call - 1, script);
        ++failed_calls;
    }
    FAIL() << "no run without a failing call";
}

void FaultTest::fail_each_write(const Script& script) {
    host::machine().refused_blocks = {256 * 1024, 32 * 1024};  // a job's tail and its file's buffer
    fail_each_call_of(host::CallKind::File, script, {});
}

void FaultTest::fail_lasting_and_in_pairs(host::CallKind kind, uint64_t calls, const Script& script) {
    const Sampling one_in = sampling();
    for (uint64_t call = 1; call <= calls && !HasFailure(); ++call) {
        if (call % one_in.lasting == 1 % one_in.lasting) {
            run_and_expect_sound({kind, call, true}, script);
            ++lasting_failures;
        }
        for (uint64_t another = 1; another <= kBehind; ++another) {
            if (++pairs_ % one_in.pairs != 1 % one_in.pairs) continue;
            run_and_expect_sound({kind, call, false, another}, script);
            ++failed_pairs;
        }
    }
    // For whoever counts (campaign/faults).
    RecordProperty("failed_calls", static_cast<int>(failed_calls));
    RecordProperty("lasting_failures", static_cast<int>(lasting_failures));
    RecordProperty("failed_pairs", static_cast<int>(failed_pairs));
}

void FaultTest::run_and_expect_sound(const Fault& fault, const Script& script) {
    const FaultRun run = run_once(fault, script);
    SCOPED_TRACE(trace(run));
    expect_sound(run);
}

FaultRun FaultTest::run_once(const Fault& fault, const Script& script) {
    FaultRun run = {};
    static_cast<Fault&>(run) = fault;
    host::printer(printer).output.clear();
    host::clear_failures();
    fault.arm();
    open_device(mode);
    run.opened = device->is_open();
    run.open_error = GetLastError();
    run.port_known = run.opened && !pdevice().port_name.empty();
    if (run.opened) script(*device, run.answers);
    run.job = job();
    run.functions = host::failed_functions();
    host::clear_failures();
    if (run.functions.contains("DeleteFileW")) take_away_what_could_not_be_deleted(run);
    if (device->is_open() && !leaves_hooks_uncalled(run)) expect_next_document(run, script);
    fault.arm();  // closing may not need what it asks for
    close_device();
    host::clear_failures();
    return run;
}

void FaultTest::expect_sound(const FaultRun& run) {
    EXPECT_EQ(host::live_objects(), before);
    EXPECT_EQ(engine::live_handles(), engine::LiveHandles{});
    EXPECT_TRUE(temporary_files().empty());
    if (!run.opened) {
        EXPECT_TRUE(run.job.empty());
        EXPECT_TRUE(run.open_error == ERROR_NOT_ENOUGH_MEMORY || run.open_error == ERROR_GEN_FAILURE);
    }
    if (run.answers.refused() && !leaves_hooks_uncalled(run)) {
        EXPECT_TRUE(run.job.empty()) << "a document that failed was sent";
    }
    if (!run.job.empty() && !leaves_a_gap(run)) {
        EXPECT_EQ(faults_of(run.job), "");
    }
    if (run.functions.empty()) {
        EXPECT_FALSE(run.answers.refused() || run.job.empty());
    }
}

// A failure is over when its document is: the device takes the next one.
void FaultTest::expect_next_document(const FaultRun& run, const Script& script) {
    SCOPED_TRACE("the next document after " + trace(run));
    if (pdevice().port_name.empty()) return;  // the spooler did not name the port, so that no copy is asked for
    host::printer(printer).output.clear();
    Answers answers;
    script(*device, answers);
    EXPECT_FALSE(answers.refused());
    EXPECT_FALSE(job().empty());
    EXPECT_EQ(faults_of(job()), "");
}

void FaultTest::take_away_what_could_not_be_deleted(const FaultRun& run) {
    if (!run.lasting) {
        EXPECT_LE(temporary_files().size(), 1u + (run.another != 0));
    }
    const auto& shown = host::messages();
    const bool told = std::any_of(shown.begin(), shown.end(), [](const host::Message& message) {
        return message.text.starts_with(u"Could not delete the file");
    });
    for (const std::string& name : temporary_files()) {
        const std::string path = host::host_path(u"C:\\Windows\\Temp") + "/" + name;
        // A file that never came to be the document's, as the first failure says, is left without another message.
        EXPECT_TRUE(told || (run.another != 0 && std::filesystem::file_size(path) == 0)) << trace(run);
        std::filesystem::remove(path);
    }
}

}  // namespace kv::test

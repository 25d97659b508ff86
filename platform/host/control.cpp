#include "platform/host/control.h"

#include <array>
#include <unordered_map>

#include "platform/host/state.h"

namespace kv::host {
namespace {

thread_local DWORD last_error = 0;

struct Failures {
    std::array<std::atomic<uint64_t>, static_cast<size_t>(CallKind::Count)> made{}, failing{};
    std::atomic<bool> lasting = false;
    std::atomic<uint64_t> calls_to_another = 0;  // counted from the first failure on
    std::mutex lock;
    bool logging = false;
    std::vector<std::string> log;
    std::string failed, broken;
    std::set<std::string> all_failed;

    bool is_due(size_t kind, uint64_t call) const {
        return call == failing[kind] || (lasting && failing[kind] && call > failing[kind]);
    }
    bool is_another_due() { return !all_failed.empty() && calls_to_another && --calls_to_another == 0; }
    void forget_failed() {
        failed.clear();
        all_failed.clear();
        lasting = false;
        calls_to_another = 0;
    }
};
Failures& failures() {
    static Failures state;
    return state;
}

struct Handles {
    std::mutex lock;
    std::unordered_map<uintptr_t, std::unique_ptr<Object>> objects;
    uintptr_t next = 0x100;
};
Handles& handles() {
    static Handles state;
    return state;
}

}  // namespace

void fail_call(CallKind kind, uint64_t n) {
    auto& state = failures();
    state.forget_failed();
    state.failing[static_cast<size_t>(kind)] = n ? state.made[static_cast<size_t>(kind)] + n : 0;
}

void fail_another_call(uint64_t n) { failures().calls_to_another = n; }

void fail_calls_from(CallKind kind, uint64_t n) {
    fail_call(kind, n);
    failures().lasting = true;
}

void fail_function(const std::string& name) { failures().broken = name; }

void clear_failures() {
    auto& state = failures();
    for (auto& made : state.made) made = 0;
    for (auto& failing : state.failing) failing = 0;
    state.forget_failed();
    state.broken.clear();
}

const std::string& failed_function() { return failures().failed; }
const std::set<std::string>& failed_functions() { return failures().all_failed; }

uint64_t calls_made(CallKind kind) { return failures().made[static_cast<size_t>(kind)]; }

bool should_fail(CallKind kind, const char* function) {
    auto& state = failures();
    uint64_t call = ++state.made[static_cast<size_t>(kind)];
    if (state.logging) {
        std::lock_guard guard(state.lock);
        state.log.emplace_back(function);
    }
    const bool another = state.is_another_due();
    if (!another && !state.is_due(static_cast<size_t>(kind), call) && state.broken != function) return false;
    std::lock_guard guard(state.lock);
    state.failed = function;
    state.all_failed.insert(function);
    return true;
}

void set_call_log(bool on) {
    failures().logging = on;
    failures().log.clear();
}

const std::vector<std::string>& call_log() { return failures().log; }

Counters& counters() {
    static Counters state;
    return state;
}

LiveObjects live_objects() {
    auto& live = counters();
    std::lock_guard guard(handles().lock);
    return {live.heap_blocks, live.global_blocks, live.local_blocks,
            live.files,       live.keys,          handles().objects.size() - live.files};
}

HANDLE make_handle(std::unique_ptr<Object> object) {
    auto& state = handles();
    std::lock_guard guard(state.lock);
    uintptr_t number = state.next += 4;
    state.objects.emplace(number, std::move(object));
    return reinterpret_cast<HANDLE>(number);
}

Object* find_object(HANDLE handle) {
    auto& state = handles();
    std::lock_guard guard(state.lock);
    auto found = state.objects.find(reinterpret_cast<uintptr_t>(handle));
    return found == state.objects.end() ? nullptr : found->second.get();
}

Machine& machine() {
    static Machine state;
    return state;
}

void reset_all() {
    clear_failures();
    set_call_log(false);
    machine() = Machine{};
    reset_clock();
    reset_registry();
    reset_messages();
    reset_modules();
    reset_printers();
    reset_files();
    reset_shared_folder();
    last_error = 0;
}

}  // namespace kv::host

DWORD GetLastError() { return kv::host::last_error; }
void SetLastError(DWORD error) { kv::host::last_error = error; }

BOOL CloseHandle(HANDLE handle) {
    auto& state = kv::host::handles();
    std::unique_ptr<kv::host::Object> doomed;
    {
        std::lock_guard guard(state.lock);
        auto found = state.objects.find(reinterpret_cast<uintptr_t>(handle));
        if (found == state.objects.end()) return kv::host::fail_with(ERROR_INVALID_HANDLE);
        doomed = std::move(found->second);
        state.objects.erase(found);
    }
    return TRUE;
}

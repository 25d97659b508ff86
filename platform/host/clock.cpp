// The clock, real or virtual, and critical sections.

#include <time.h>

#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <thread>

#include "platform/host/state.h"
#include "platform/host/win32/process.h"

namespace kv::host {
namespace {

struct Clock {
    std::atomic<bool> is_virtual{false};
    std::atomic<uint32_t> tick{0};
    std::vector<uint32_t> sleeps;
    std::multimap<uint64_t, std::function<void()>> alarms;  // by the time passed since the virtual clock began
    uint64_t passed = 0;
};
Clock& clock_state() {
    static Clock state;
    return state;
}

void forget(Clock& clock) {
    clock.sleeps.clear();
    clock.alarms.clear();
    clock.passed = 0;
}

}  // namespace

void use_virtual_clock(uint32_t start_tick) {
    clock_state().tick = start_tick;
    clock_state().is_virtual = true;
    forget(clock_state());
}
void use_real_clock() { clock_state().is_virtual = false; }
void advance_clock(uint32_t milliseconds) {
    Clock& clock = clock_state();
    const uint64_t end = clock.passed + milliseconds;
    while (!clock.alarms.empty() && clock.alarms.begin()->first <= end) {
        auto due = clock.alarms.extract(clock.alarms.begin());
        clock.tick += static_cast<uint32_t>(due.key() - clock.passed);
        clock.passed = due.key();
        due.mapped()();
    }
    clock.tick += static_cast<uint32_t>(end - clock.passed);
    clock.passed = end;
}
void at_virtual_time(uint32_t milliseconds_from_now, std::function<void()> call) {
    clock_state().alarms.emplace(clock_state().passed + milliseconds_from_now, std::move(call));
}
void pass_time(uint32_t milliseconds) {
    if (clock_state().is_virtual) {
        advance_clock(milliseconds);
    } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
}
const std::vector<uint32_t>& sleeps() { return clock_state().sleeps; }
void reset_clock() {
    use_real_clock();
    forget(clock_state());
}

}  // namespace kv::host

using kv::host::clock_state;

DWORD GetTickCount() {
    if (clock_state().is_virtual) return clock_state().tick;
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void Sleep(DWORD milliseconds) { SleepEx(milliseconds, FALSE); }

DWORD SleepEx(DWORD milliseconds, BOOL) {
    if (clock_state().is_virtual) clock_state().sleeps.push_back(milliseconds);
    kv::host::pass_time(milliseconds);
    return 0;
}

void GetLocalTime(SYSTEMTIME* time) {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm local;
    localtime_r(&now.tv_sec, &local);
    auto word = [](long value) { return static_cast<WORD>(value); };
    *time = {word(local.tm_year + 1900), word(local.tm_mon + 1), word(local.tm_wday), word(local.tm_mday),
             word(local.tm_hour),        word(local.tm_min),     word(local.tm_sec),  word(now.tv_nsec / 1000000)};
}

namespace {

std::recursive_mutex* mutex_of(CRITICAL_SECTION* section) {
    static_assert(sizeof(std::recursive_mutex) <= sizeof section->storage);
    return std::launder(reinterpret_cast<std::recursive_mutex*>(section->storage));
}

}  // namespace

void InitializeCriticalSection(CRITICAL_SECTION* section) { new (section->storage) std::recursive_mutex; }
void DeleteCriticalSection(CRITICAL_SECTION* section) { mutex_of(section)->~recursive_mutex(); }
void EnterCriticalSection(CRITICAL_SECTION* section) { mutex_of(section)->lock(); }
void LeaveCriticalSection(CRITICAL_SECTION* section) { mutex_of(section)->unlock(); }
LONG InterlockedExchange(LONG volatile* target, LONG value) {
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

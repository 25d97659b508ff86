#pragma once
// A critical section that lives as long as what it guards, and its holding for a scope.

#include "platform/win32.h"

namespace kv {

class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&section_); }
    ~CriticalSection() { DeleteCriticalSection(&section_); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void enter() { EnterCriticalSection(&section_); }
    void leave() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

class Holding {
public:
    explicit Holding(CriticalSection& section) : section_(section) { section_.enter(); }
    ~Holding() { section_.leave(); }
    Holding(const Holding&) = delete;
    Holding& operator=(const Holding&) = delete;

private:
    CriticalSection& section_;
};

}  // namespace kv

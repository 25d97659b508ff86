#pragma once
// What the files of the host platform share: objects behind handles, and leak accounting.

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "platform/host/control.h"

namespace kv::host {

// Anything behind a HANDLE. CloseHandle deletes it; registry keys are closed by RegCloseKey instead.
struct Object {
    virtual ~Object() = default;
};

HANDLE make_handle(std::unique_ptr<Object> object);
// Null when the handle is not a live object of this kind.
Object* find_object(HANDLE handle);
template <class T>
T* object_of(HANDLE handle) {
    return dynamic_cast<T*>(find_object(handle));
}

struct Counters {
    std::atomic<size_t> heap_blocks{0}, global_blocks{0}, local_blocks{0}, files{0}, keys{0};
};
Counters& counters();

// Sets the last error and returns FALSE, or the value.
inline BOOL fail_with(DWORD error) {
    SetLastError(error);
    return FALSE;
}
template <class T>
T fail_with(DWORD error, T result) {
    SetLastError(error);
    return result;
}

std::u16string lower_case(std::u16string text);
std::string to_utf8(const std::u16string& text);
std::u16string from_utf8(const std::string& text);

void reset_registry();
void reset_messages();
void reset_modules();
void reset_printers();
void reset_clock();
void reset_files();

}  // namespace kv::host

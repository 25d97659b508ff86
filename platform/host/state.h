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

// What a handle can be waited for.
struct Waitable : Object {
    // WAIT_OBJECT_0 or WAIT_ABANDONED, and the object is taken where it can be taken; else WAIT_TIMEOUT.
    virtual DWORD poll() = 0;
};

// One end of a pipe behind a handle: read and written a message at a time.
struct Channel : Object {
    virtual BOOL read(LPVOID buffer, DWORD bytes, LPDWORD got) = 0;
    virtual BOOL write(LPCVOID buffer, DWORD bytes) = 0;
};
bool is_pipe_name(const std::u16string& path);
HANDLE open_pipe(const std::u16string& path);

// Lets time go by on either clock.
void pass_time(uint32_t milliseconds);

// The path of an object of a kind and name below shared_folder(), by way of the folder's descriptor and so short enough
// for a socket's address. Empty, with the last error set, when there is no such folder.
std::string shared_path(const std::string& kind, const std::u16string& name);

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

// What a process tells those that it starts.
inline constexpr const char* kDriveVariable = "KARVO_DRIVE";
inline constexpr const char* kSharedVariable = "KARVO_SHARED";
inline constexpr const char* kSessionVariable = "KARVO_SESSION";
// Empty where the variable is not set.
std::string environment(const char* variable);

std::u16string lower_case(std::u16string text);
std::string to_utf8(const std::u16string& text);
std::u16string from_utf8(const std::string& text);

void reset_registry();
void reset_messages();
void reset_modules();
// A copy of a module's file is a module too.
void copy_module(const std::u16string& from, const std::u16string& to);
void reset_printers();
void reset_clock();
void reset_files();
void reset_shared_folder();

}  // namespace kv::host

#pragma once
// Functions of libraries that the system does not keep mapped for all processes: an import of them would be looked for
// in the folder of the program first, where others may have put a file of that name. They are loaded at their first
// use, by their full path in the system's folder, and stay loaded as long as the process runs.

#include "platform/win32.h"

namespace kv {

// `library` is a file's name. Null, with the system's last error, when there is no such library or function.
FARPROC find_system_function(const WCHAR* library, const char* name);

// One function, looked up once. As long as the lookup fails calls of it answer 0 with ERROR_PROC_NOT_FOUND.
template <class Function>
class SystemFunction;

template <class Result, class... Arguments>
class SystemFunction<Result WINAPI(Arguments...)> {
public:
    constexpr SystemFunction(const WCHAR* library, const char* name) : library_(library), name_(name) {}

    Result operator()(Arguments... arguments) {
        if (!function_) {
            function_ = reinterpret_cast<Function>(reinterpret_cast<void*>(find_system_function(library_, name_)));
        }
        if (function_) return function_(arguments...);
        SetLastError(ERROR_PROC_NOT_FOUND);
        return Result();
    }

private:
    using Function = Result(WINAPI*)(Arguments...);
    const WCHAR* library_;
    const char* name_;
    Function volatile function_ = nullptr;  // threads that come first at once find the same
};

}  // namespace kv

// Defines the function under its own name, in place of an import library's: KV_SYSTEM_FUNCTION(TEXT("version.dll"),
// BOOL, VerQueryValueW, (parameters with names), (their names)).
#define KV_SYSTEM_FUNCTION(library, result, name, parameters, arguments)              \
    extern "C" result WINAPI name parameters {                                        \
        static constinit kv::SystemFunction<decltype(name)> function(library, #name); \
        return function arguments;                                                    \
    }

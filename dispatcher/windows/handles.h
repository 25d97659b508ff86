#pragma once
// Handles that close themselves, long paths, and who this process's user is.

#include <string>
#include <utility>
#include <vector>

#include "dispatcher/text.h"

namespace kvdisp12 {

class Handle {
public:
    explicit Handle(HANDLE value = INVALID_HANDLE_VALUE) : value_(value == nullptr ? INVALID_HANDLE_VALUE : value) {}
    Handle(Handle&& other) noexcept : value_(std::exchange(other.value_, INVALID_HANDLE_VALUE)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Handle() {
        if (value_ != INVALID_HANDLE_VALUE) CloseHandle(value_);
    }
    HANDLE get() const { return value_; }
    explicit operator bool() const { return value_ != INVALID_HANDLE_VALUE; }

private:
    HANDLE value_;
};

// "Access is denied (5)".
std::string system_text(DWORD error);

// A full path in the form that has no limit of 260 units.
Text long_path(const std::string& utf8);

// A security identifier, owned; empty where it could not be had.
using Sid = std::vector<BYTE>;
bool same(const Sid& sid, PSID other);
// The user of a token, and the owner that its new objects get (administrators' are their group's).
Sid user_of(HANDLE token);
Sid owner_of(HANDLE token);
// Of this process.
Handle own_token();
Sid well_known(WELL_KNOWN_SID_TYPE type);
std::string text_of(const Sid& sid);

// SYSTEM, administrators and this user, for what folders get that are made here.
SECURITY_ATTRIBUTES* own_folder_security();

}  // namespace kvdisp12

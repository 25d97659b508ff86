#include "dispatch/named_mutex.h"

#include "support/process_state.h"

namespace kv {

OpenSecurity::OpenSecurity() : descriptor_{}, attributes_{} {
    constexpr int kFirstLevelWithLabels = 5;
    usable_ = InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
              SetSecurityDescriptorDacl(&descriptor_, TRUE, nullptr, FALSE);
    BOOL present = FALSE, defaulted = FALSE;
    PACL list = nullptr;
    if (usable_ && process_state().os_level >= kFirstLevelWithLabels &&
        ConvertStringSecurityDescriptorToSecurityDescriptorW(TEXT("S:(ML;;NW;;;LW)"), SDDL_REVISION_1, &label_,
                                                             nullptr) &&
        GetSecurityDescriptorSacl(label_, &present, &list, &defaulted) && present) {
        SetSecurityDescriptorSacl(&descriptor_, TRUE, list, FALSE);
    }
    attributes_.nLength = sizeof attributes_;
    attributes_.lpSecurityDescriptor = &descriptor_;
    attributes_.bInheritHandle = TRUE;
}

OpenSecurity::~OpenSecurity() {
    if (label_) LocalFree(label_);
}

CNamedMutex::~CNamedMutex() {
    while (count_ > 0 && Release()) {
    }
    if (handle_) CloseHandle(handle_);
}

BOOL CNamedMutex::Acquire(DWORD milliseconds) {
    if (!handle_) {
        OpenSecurity security;
        handle_ = CreateMutexW(security.attributes(), FALSE, name_.c_str());
        if (!handle_) return FALSE;
    }
    const DWORD result = WaitForSingleObject(handle_, milliseconds);
    if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) return FALSE;
    owner_ = GetCurrentThreadId();
    ++count_;
    return TRUE;
}

BOOL CNamedMutex::Release() {
    if (count_ <= 0 || owner_ != GetCurrentThreadId() || !ReleaseMutex(handle_)) return FALSE;
    if (--count_ == 0) owner_ = 0;
    return TRUE;
}

}  // namespace kv

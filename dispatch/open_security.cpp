#include "dispatch/open_security.h"

#include "support/os_level.h"
#include "support/process_state.h"
#include "support/trace.h"

namespace kv {

OpenSecurity::OpenSecurity() : descriptor_{}, attributes_{} {
    usable_ = InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
              SetSecurityDescriptorDacl(&descriptor_, TRUE, nullptr, FALSE);
    BOOL present = FALSE, defaulted = FALSE;
    PACL list = nullptr;
    if (usable_ && process_state().os_level >= kLevelVista &&
        ConvertStringSecurityDescriptorToSecurityDescriptorW(TEXT("S:(ML;;NW;;;LW)"), SDDL_REVISION_1, &label_,
                                                             nullptr) &&
        GetSecurityDescriptorSacl(label_, &present, &list, &defaulted) && present) {
        SetSecurityDescriptorSacl(&descriptor_, TRUE, list, FALSE);
    }
    if (!usable_) KV_FAIL(Dispatch, "no security for shared objects");
    attributes_.nLength = sizeof attributes_;
    attributes_.lpSecurityDescriptor = &descriptor_;
    attributes_.bInheritHandle = TRUE;
}

OpenSecurity::~OpenSecurity() {
    if (label_) LocalFree(label_);
}

}  // namespace kv

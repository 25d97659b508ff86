#pragma once
// Security of objects that everyone may open.

#include "platform/win32.h"

namespace kv {

// No access list, and from Windows Vista on a label that processes of low integrity pass.
class OpenSecurity {
public:
    OpenSecurity();
    ~OpenSecurity();
    OpenSecurity(const OpenSecurity&) = delete;
    OpenSecurity& operator=(const OpenSecurity&) = delete;

    // For an object whose handle may be inherited, as long as this lives; null when the system refused to make them.
    SECURITY_ATTRIBUTES* attributes() { return usable_ ? &attributes_ : nullptr; }

private:
    SECURITY_DESCRIPTOR descriptor_;
    SECURITY_ATTRIBUTES attributes_;
    PSECURITY_DESCRIPTOR label_ = nullptr;  // owns the list that descriptor_ refers to
    bool usable_ = false;
};

}  // namespace kv

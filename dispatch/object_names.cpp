#include "dispatch/object_names.h"

#include <iterator>

#include "support/assert.h"
#include "support/session.h"

namespace kv {
namespace {

constexpr int kMajorVersion = 12;  // of the product: versions side by side share nothing

// The product's prefix and major version stand before every name.
TextBuffer<16> prefix() {
    TextBuffer<16> text;
    format_text(text.data(), text.capacity(), TEXT("%s%d"), TEXT("KV"), kMajorVersion);
    return text;
}

// The name, or a text that no other object has.
PathText given_or_unique(const WCHAR* name) {
    PathText text(name);
    if (text.empty()) {
        format_text(text.data(), text.capacity(), TEXT("%08X_%08X"), GetCurrentThreadId(), GetTickCount());
    }
    return text;
}

}  // namespace

void MakeObjectName(ObjectScope scope, const WCHAR* kind, const WCHAR* name, ObjectName& object) {
    const WCHAR* scope_name = scope == ObjectScope::Global ? TEXT("Global") : TEXT("Local");
    format_text(object.data(), object.capacity(), TEXT("%s\\%s_%s%s_%s"), scope_name, prefix().c_str(), scope_name,
                kind, given_or_unique(name).c_str());
}

void MakePipeName(const WCHAR* server, const WCHAR* name, DWORD session, ObjectName& pipe) {
    format_text(pipe.data(), pipe.capacity(), TEXT("\\\\%s\\%s\\%s_%s"), server && *server ? server : TEXT("."),
                TEXT("pipe"), prefix().c_str(), given_or_unique(name).c_str());
    if (session == kOwnSession) session = current_session();
    if (session == kNoSession || session == kNoSessionSuffix) return;
    WCHAR suffix[10];
    format_text(suffix, std::size(suffix), TEXT("_%08X"), session);
    pipe.append(suffix);
    KV_ASSERT(pipe.length() + 1 < pipe.capacity());
}

}  // namespace kv

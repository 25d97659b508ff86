#include "dispatch/session_choice.h"

#include <algorithm>
#include <span>

#include "support/assert.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "support/session.h"
#include "support/text.h"
#include "support/trace.h"

namespace kv {
namespace {

using UserName = TextBuffer<257>;  // the system's limit

UserName thread_user() {
    UserName user;
    DWORD capacity = static_cast<DWORD>(user.capacity());
    if (!GetUserNameW(user.data(), &capacity)) user.clear();
    return user;
}

bool is_session_of(DWORD session, const WCHAR* user) {
    LPWSTR name = nullptr;
    DWORD bytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, WTSUserName, &name, &bytes) || !name) {
        return false;
    }
    const bool same = same_text_ignoring_case(name, user);
    WTSFreeMemory(name);
    return same;
}

// The lowest session that the user is logged on in.
DWORD session_of_user(const WCHAR* user) {
    WTS_SESSION_INFOW* list = nullptr;
    DWORD count = 0, found = kNoSession;
    if (!WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &list, &count)) {
        KV_FAIL(Dispatch, "no list of sessions");
        return kNoSession;
    }
    std::span<WTS_SESSION_INFOW> sessions(list, count);
    KV_ASSERT(list || count == 0);
    std::ranges::sort(sessions, {}, &WTS_SESSION_INFOW::SessionId);
    const auto at = std::ranges::find_if(
        sessions, [&](const WTS_SESSION_INFOW& session) { return is_session_of(session.SessionId, user); });
    if (at != sessions.end()) found = at->SessionId;
    WTSFreeMemory(list);
    return found;
}

}  // namespace

DWORD choose_session() {
    const DWORD session = current_session();
    if (process_state().os_level < kLevelVista || session != 0) return session;
    const UserName user = thread_user();
    if (!user.empty() && !same_text_ignoring_case(user.c_str(), TEXT("SYSTEM"))) {
        const DWORD of_user = session_of_user(user.c_str());
        KV_TRACE(Dispatch, Info, "session %d of %s", static_cast<int>(of_user), TraceText(user.c_str()).c_str());
        if (of_user != kNoSession) return of_user;
    }
    const DWORD other = GetSystemMetrics(SM_REMOTESESSION) ? session : WTSGetActiveConsoleSessionId();
    KV_TRACE(Dispatch, Info, "session %d, as the user has none", static_cast<int>(other));
    return other;
}

}  // namespace kv

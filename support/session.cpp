#include "support/session.h"

#include <cstring>

#include "support/trace.h"

namespace kv {

DWORD current_session() {
    LPWSTR data = nullptr;
    DWORD bytes = 0, session = kNoSession;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTS_CURRENT_SESSION, WTSSessionId, &data, &bytes)) {
        KV_FAIL(Support, "the process has no session");
        return kNoSession;
    }
    if (data && bytes >= sizeof session) std::memcpy(&session, data, sizeof session);
    if (data) WTSFreeMemory(data);
    return session;
}

}  // namespace kv

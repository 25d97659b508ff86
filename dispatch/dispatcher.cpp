#include "dispatch/dispatcher.h"

#include <cstring>
#include <utility>

#include "dispatch/launch.h"
#include "dispatch/named_mutex.h"
#include "dispatch/pipe.h"
#include "dispatch/session_choice.h"
#include "settings/device_settings.h"
#include "support/assert.h"
#include "support/little_endian.h"
#include "support/message.h"
#include "support/process_state.h"
#include "support/record_buffer.h"
#include "support/session.h"
#include "support/trace.h"

namespace kv {
namespace {

// Milliseconds: to find out whether a dispatcher is there, to reach one that must be there, and one that is starting.
constexpr DWORD kProbeBudget = 50, kReachBudget = 1000, kLaunchBudget = 30000;
static_assert(kProbeBudget < kReachBudget && kReachBudget < kLaunchBudget);

std::span<const BYTE> bytes_of(const CRecordBuffer& buffer) { return {buffer.data(), buffer.size()}; }

// A source name that is too long is cut: what follows it says whom the dispatcher serves.
DispatcherArguments launch_arguments(const WCHAR* source_name, DWORD job_id, DWORD session, bool minimal) {
    TextBuffer<24> of_session;
    if (session != kNoSession) {
        format_text(of_session.data(), of_session.capacity(), TEXT("/session=%d "), static_cast<int>(session));
    }
    TextBuffer<100> others;
    format_text(others.data(), others.capacity(), TEXT("%s/job=%d /autoexit=1 /housekeeping=%s"), of_session.c_str(),
                static_cast<int>(job_id), minimal ? TEXT("minimal") : TEXT("none"));
    DispatcherArguments arguments;
    if (*source_name) {
        format_text(arguments.data(), arguments.capacity(), TEXT("/source=%s"), source_name);
        arguments.truncate(arguments.capacity() - 1 - others.length() - 1);
        arguments.append(TEXT(" "));
    }
    arguments.append(others.c_str());
    KV_ASSERT(starts_with(arguments.c_str() + arguments.length() - others.length(), others.c_str()));
    return arguments;
}

// What the dispatcher is told when a document starts. The settings are those of this moment, which may have changed
// since the device was opened.
BOOL make_announcement(const DocumentInfo& document, CRecordBuffer& announcement) {
    constexpr const WCHAR* kInterfaceLibrary = TEXT("kvui12.dll");
    DriverDevMode settings;
    LoadDeviceSettings(document.printer, nullptr, document.printer_name, &document.settings, settings);
    const StartDocHeader header = {kDispatchFormat,     document.job_id,
                                   kProductFamily,      process_state().product_number,
                                   settings.kv.ShowDlg, settings.kv.KvAction};
    return announcement.append(&header, sizeof header) && announcement.append_text(document.document_name, true) &&
           announcement.append_text(document.printer_name, true) && announcement.append_text(kInterfaceLibrary, true);
}

// What is left of a reply that was too long would stand in front of the next one.
void discard_rest(HANDLE pipe) {
    BYTE rest[512];
    DWORD got = 0;
    while (!ReadFile(pipe, rest, sizeof rest, &got, nullptr) && GetLastError() == ERROR_MORE_DATA) {
    }
}

BOOL report_launch_failure(CNamedMutex* held) {
    if (held) held->Release();
    report_message(kMessageText, TEXT("PrepareDispatcher was unable to launch the dispatcher."));
    return FALSE;
}

}  // namespace

BOOL PrepareDispatcher(CDispatcher& dispatcher, const WCHAR* source_name, DWORD job_id, DWORD session, int,
                       CNamedMutex* held) {
    constexpr DWORD kStartPause = 50;  // milliseconds: no program opens its pipe sooner
    if (ConnectDispatcher(dispatcher, kProbeBudget, session)) {
        SendDispatch(kDispatchPrepare, {}, {}, dispatcher);
        return TRUE;
    }
    KV_TRACE(Dispatch, Info, "nobody answers for session %d: to be started", static_cast<int>(session));
    // Before the document itself has begun, the dispatcher only starts and nobody waits for it.
    const bool only_start = find_text(source_name, TEXT("DOCUMENTEVENT_STARTDOCPRE")) != nullptr;
    if (!LaunchDispatcher(launch_arguments(source_name, job_id, session, !only_start).c_str())) {
        return report_launch_failure(held);
    }
    if (only_start) return TRUE;
    SleepEx(kStartPause, TRUE);
    return ConnectDispatcher(dispatcher, kLaunchBudget, session) ? TRUE : report_launch_failure(held);
}

BOOL ConnectDispatcher(CDispatcher& dispatcher, DWORD budget, DWORD session) {
    return dispatcher.pipe_ || WaitForDispatcher(dispatcher.pipe_name_.c_str(), session, budget, &dispatcher.pipe_);
}

DWORD SendDispatch(DWORD code, std::span<const BYTE> payload, std::span<BYTE> reply, CDispatcher& dispatcher) {
    if (!dispatcher.pipe_) {
        report_message(kMessageText, TEXT("SendDispatch failed."));
        return kDispatchNotConnected;
    }
    BYTE ignored[sizeof(DispatchReply)];
    if (reply.empty()) reply = ignored;
    CRecordBuffer request;
    if (!request.append(&code, sizeof code) || !request.append(payload.data(), static_cast<DWORD>(payload.size()))) {
        return kDispatchFailed;
    }
    DWORD received = 0;
    if (TransactNamedPipe(dispatcher.pipe_, const_cast<BYTE*>(request.data()), request.size(), reply.data(),
                          static_cast<DWORD>(reply.size()), &received, nullptr)) {
        KV_ASSERT(received <= reply.size());
        return kDispatchDone;
    }
    KV_FAIL(Dispatch, "message %u is not answered", static_cast<unsigned>(code));
    if (GetLastError() == ERROR_MORE_DATA) discard_rest(dispatcher.pipe_);
    return kDispatchFailed;
}

CDispatcher::~CDispatcher() {
    Abort();
    disconnect();
    KV_ASSERT(!pipe_ && !has_job());
}

BOOL CDispatcher::StartDoc(const DocumentInfo& document, bool launch_allowed) {
    // Made first, so that nobody is kept waiting or started for a document that cannot be announced.
    CRecordBuffer announcement;
    if (!make_announcement(document, announcement)) return FALSE;
    if (reach(choose_session(), document.job_id, launch_allowed) && announce(document.job_id, bytes_of(announcement))) {
        return TRUE;
    }
    disconnect();  // nothing more is said of this document, and the next one asks anew
    return FALSE;
}

BOOL CDispatcher::reach(DWORD session, DWORD job_id, bool launch_allowed) {
    if (launch_allowed) {
        if (ConnectDispatcher(*this, kProbeBudget, session)) return TRUE;
        TextBuffer<kPathCapacity> name(TEXT("Launch"));
        name.append(mutex_name_.c_str());
        ObjectName object;
        MakeObjectName(ObjectScope::Local, TEXT("Mutex"), name.c_str(), object);
        CNamedMutex mutex(object.c_str());
        if (mutex.Acquire(0)) {
            PathText source;
            make_source_name(source);
            return PrepareDispatcher(*this, source.c_str(), job_id, session, -1, &mutex);
        }
    }
    // Allowed to launch, another process is just doing so.
    if (ConnectDispatcher(*this, launch_allowed ? kLaunchBudget : kReachBudget, session)) return TRUE;
    report_message(kMessageText, TEXT("CDispatcher::StartDoc could not communicate with the dispatcher."));
    return FALSE;
}

BOOL CDispatcher::announce(DWORD job_id, std::span<const BYTE> announcement) {
    KV_ASSERT(pipe_ && announcement.size() > sizeof(StartDocHeader));
    BYTE reply[sizeof(DispatchReply)] = {};
    if (SendDispatch(kDispatchStartDoc, announcement, reply, *this) != kDispatchDone) return FALSE;
    const DWORD accepted = load_u32(reply);
    if (accepted == 0) {
        SetLastError(ERROR_GEN_FAILURE);
        return KV_FAIL(Dispatch, "the dispatcher refuses job %u", static_cast<unsigned>(job_id));
    }
    job_id_ = job_id ? job_id : accepted;
    KV_TRACE(Dispatch, Info, "job %u is announced as %u", static_cast<unsigned>(job_id),
             static_cast<unsigned>(accepted));
    return TRUE;
}

BOOL CDispatcher::EndDoc(const WCHAR* job_path) {
    if (!has_job()) return TRUE;
    if (job_path) {
        const EndDocHeader header = {kDispatchFormat, job_id_, 1, 1};
        CRecordBuffer payload;
        if (payload.append(&header, sizeof header) && payload.append_text(job_path, true) &&
            SendDispatch(kDispatchEndDoc, bytes_of(payload), {}, *this) == kDispatchDone) {
            KV_TRACE(Dispatch, Info, "job %u is handed over: %s", static_cast<unsigned>(job_id_),
                     TraceText(job_path).c_str());
            job_id_ = 0;
            disconnect();
            return TRUE;
        }
        KV_FAIL(Dispatch, "not handed over, the job stays where it is: %s", TraceText(job_path).c_str());
    }
    Abort();
    return FALSE;
}

void CDispatcher::Abort() {
    if (!has_job()) return;
    KV_TRACE(Dispatch, Info, "job %u is withdrawn", static_cast<unsigned>(job_id_));
    BYTE id[sizeof job_id_];
    store_u32(id, job_id_);
    SendDispatch(kDispatchAbort, id, {}, *this);
    job_id_ = 0;
    disconnect();
}

BOOL CDispatcher::GetJobPath(PathText& path) {
    static_assert(PathText::capacity() * sizeof(WCHAR) == kJobPathReplySize);
    path = PathText();
    BYTE reply[kJobPathReplySize] = {};
    if (SendDispatch(kDispatchJobPath, {}, reply, *this) == kDispatchDone) {
        std::memcpy(path.data(), reply, sizeof reply);
        path.truncate(path.capacity() - 1);
    }
    return !path.empty();
}

void CDispatcher::disconnect() {
    if (HANDLE pipe = std::exchange(pipe_, nullptr)) CloseHandle(pipe);
}

}  // namespace kv

#pragma once
// The link to the dispatcher, the companion program that takes finished jobs: one connection a document, over a named
// pipe of the printing user's session.

#include <span>

#include "dispatch/messages.h"
#include "dispatch/object_names.h"
#include "settings/device_mode.h"

namespace kv {

// What the dispatcher is told of a document.
struct DocumentInfo {
    HANDLE printer;
    const WCHAR* printer_name;
    const DriverDevMode& settings;  // the device's
    DWORD job_id;                   // the spooler's
    const WCHAR* document_name;     // null: none
};

class CNamedMutex;

class CDispatcher {
public:
    // The names of the pipe and of the launch mutex ("Launch" stands before the latter).
    CDispatcher(const WCHAR* pipe_name, const WCHAR* mutex_name) : pipe_name_(pipe_name), mutex_name_(mutex_name) {}
    // Withdraws an open job.
    ~CDispatcher();
    CDispatcher(const CDispatcher&) = delete;
    CDispatcher& operator=(const CDispatcher&) = delete;

    // Announces a document; starts the dispatcher when launching is allowed and none can be reached. TRUE when the
    // dispatcher accepted: a job is open then.
    BOOL StartDoc(const DocumentInfo& document, bool launch_allowed = true);
    // Hands over the closed job file, which is the dispatcher's from then on. Without a path, and when the hand-over
    // fails, the job is withdrawn and a file stays where it is. Nothing happens while no job is open.
    BOOL EndDoc(const WCHAR* job_path);
    void Abort();
    // The path that the job file must have; FALSE when the dispatcher names none.
    BOOL GetJobPath(PathText& path);

    bool has_job() const { return job_id_ != 0; }

private:
    friend BOOL ConnectDispatcher(CDispatcher& dispatcher, DWORD budget, DWORD session);
    friend DWORD SendDispatch(DWORD code, std::span<const BYTE> payload, std::span<BYTE> reply,
                              CDispatcher& dispatcher);

    // Connects to the dispatcher of the session. A failure is shown.
    BOOL reach(DWORD session, DWORD job_id, bool launch_allowed);
    BOOL announce(DWORD job_id, std::span<const BYTE> announcement);
    void disconnect();

    PathText pipe_name_, mutex_name_;
    HANDLE pipe_ = nullptr;
    DWORD job_id_ = 0;  // the dispatcher's, 0 while no job is open
};

// TRUE when the dispatcher of the session runs and can be reached: one that came up meanwhile is told that a document
// is coming, otherwise it is started. The mutex that is held for it (may be null) is released before a failure is
// shown.
BOOL PrepareDispatcher(CDispatcher& dispatcher, const WCHAR* source_name, DWORD job_id, DWORD session, int reserved,
                       CNamedMutex* held = nullptr);

// TRUE when a connection is open; tries for so many milliseconds.
BOOL ConnectDispatcher(CDispatcher& dispatcher, DWORD budget, DWORD session);

enum : DWORD { kDispatchDone = 0, kDispatchNotConnected = 6, kDispatchFailed = 7 };
// One transaction. Of the reply at most the bytes of the span are taken, a longer one is a failure; an empty span means
// that the reply does not matter.
DWORD SendDispatch(DWORD code, std::span<const BYTE> payload, std::span<BYTE> reply, CDispatcher& dispatcher);

}  // namespace kv

#pragma once
// Processes, named mutexes, named pipes, time, critical sections and the message queue.

#include "platform/host/win32/types.h"

enum : DWORD {
    STILL_ACTIVE = 259,
    WAIT_OBJECT_0 = 0,
    WAIT_ABANDONED = 0x80,
    WAIT_FAILED = 0xFFFFFFFF,
    STARTF_USESHOWWINDOW = 1,
    QS_ALLINPUT = 0x04FF,
    PM_REMOVE = 1,
    WM_QUIT = 0x12,
    GR_GDIOBJECTS = 0,
    SW_SHOWNORMAL = 1,
    PIPE_ACCESS_DUPLEX = 3,
    FILE_FLAG_FIRST_PIPE_INSTANCE = 0x80000,
    PIPE_READMODE_MESSAGE = 2,
    PIPE_TYPE_MESSAGE = 4,
    PIPE_WAIT = 0,
    PIPE_REJECT_REMOTE_CLIENTS = 8,
    PIPE_UNLIMITED_INSTANCES = 255,
};

struct STARTUPINFOW {
    DWORD cb;
    LPWSTR lpReserved, lpDesktop, lpTitle;
    DWORD dwX, dwY, dwXSize, dwYSize, dwXCountChars, dwYCountChars, dwFillAttribute, dwFlags;
    WORD wShowWindow, cbReserved2;
    LPBYTE lpReserved2;
    HANDLE hStdInput, hStdOutput, hStdError;
};
struct PROCESS_INFORMATION {
    HANDLE hProcess, hThread;
    DWORD dwProcessId, dwThreadId;
};
struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

HANDLE GetCurrentProcess();
HANDLE GetCurrentThread();
DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();
BOOL ProcessIdToSessionId(DWORD process, LPDWORD session);
BOOL CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                    SECURITY_ATTRIBUTES* thread_security, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR folder,
                    STARTUPINFOW* startup, PROCESS_INFORMATION* process);
BOOL GetExitCodeProcess(HANDLE process, LPDWORD code);
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL wait_all, DWORD milliseconds, DWORD wake_mask);
BOOL PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT remove);
BOOL TranslateMessage(const MSG* message);
LONG_PTR DispatchMessageW(const MSG* message);
void PostQuitMessage(int exit_code);
DWORD GetGuiResources(HANDLE process, DWORD flags);

// On the host a mutex needs a name; with "Local\\" in front it is the session's.
HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initial_owner, LPCWSTR name);
BOOL ReleaseMutex(HANDLE mutex);

// On the host pipes carry messages, both ways, and one process serves a name: in others CreateNamedPipeW fails with
// ERROR_ACCESS_DENIED. No call on an instance may be running when it is closed.
BOOL WaitNamedPipeW(LPCWSTR name, DWORD milliseconds);
BOOL SetNamedPipeHandleState(HANDLE pipe, LPDWORD mode, LPDWORD collection_count, LPDWORD collection_timeout);
BOOL TransactNamedPipe(HANDLE pipe, LPVOID request, DWORD request_size, LPVOID reply, DWORD reply_size, LPDWORD read,
                       void* overlapped);
HANDLE CreateNamedPipeW(LPCWSTR name, DWORD open_mode, DWORD pipe_mode, DWORD instances, DWORD out_size, DWORD in_size,
                        DWORD default_timeout, SECURITY_ATTRIBUTES* security);
BOOL ConnectNamedPipe(HANDLE pipe, void* overlapped);
BOOL DisconnectNamedPipe(HANDLE pipe);
// Of a pipe's server: the process of the client, and what of its next message has come.
BOOL GetNamedPipeClientProcessId(HANDLE pipe, ULONG* process);
BOOL GetNamedPipeServerProcessId(HANDLE pipe, ULONG* process);  // of the client's end alone
BOOL PeekNamedPipe(HANDLE pipe, LPVOID buffer, DWORD bytes, LPDWORD read, LPDWORD available, LPDWORD left);

// Milliseconds of the clock of control.h: the host's monotonic clock, or the virtual one.
DWORD GetTickCount();
void Sleep(DWORD milliseconds);
DWORD SleepEx(DWORD milliseconds, BOOL alertable);
void GetLocalTime(SYSTEMTIME* time);

struct CRITICAL_SECTION {
    alignas(16) unsigned char storage[64];
};
void InitializeCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);
LONG InterlockedExchange(LONG volatile* target, LONG value);

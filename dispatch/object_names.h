#pragma once
// The names of the objects that the driver shares with other processes.

#include "support/text.h"

namespace kv {

using ObjectName = TextBuffer<320>;

enum class ObjectScope { Global = 0, Local = 1 };

// "Local\KV12_LocalMutex_LaunchDisp" for the scope Local, the kind "Mutex" and the name "LaunchDisp". Without a name a
// unique text takes its place.
void MakeObjectName(ObjectScope scope, const WCHAR* kind, const WCHAR* name, ObjectName& object);

// Session arguments of MakePipeName beside a session's id.
inline constexpr DWORD kOwnSession = 0xFFFFFFFF;  // no suffix either when the session cannot be found out
inline constexpr DWORD kNoSessionSuffix = 0xFFFFFFFE;

// "\\.\pipe\KV12_Dispatcher_00000001" for no server, the name "Dispatcher" and session 1.
void MakePipeName(const WCHAR* server, const WCHAR* name, DWORD session, ObjectName& pipe);

}  // namespace kv

#pragma once
// The system interface as the driver sees it: the Win32 functions under their own names.
//
// On Windows these are the system's headers. On the host the same subset is declared by
// platform/host/win32/ and implemented on POSIX by platform/host/, with the semantics that callers
// rely on: last errors, sharing, two-call sizes, case-insensitive names.
//
// Texts are UTF-16 in units of WCHAR. Wide literals are written TEXT("..."), which is L"" on
// Windows and u"" on the host.

#ifdef _WIN32
#ifndef UNICODE
#define UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
// windows.h comes before the rest.
// clang-format off
#include <windows.h>
#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <winspool.h>
#include <wtsapi32.h>
// clang-format on
#else
#include "platform/host/win32/files.h"
#include "platform/host/win32/gdi.h"
#include "platform/host/win32/memory.h"
#include "platform/host/win32/process.h"
#include "platform/host/win32/registry.h"
#include "platform/host/win32/security.h"
#include "platform/host/win32/spooler.h"
#include "platform/host/win32/system.h"
#include "platform/host/win32/types.h"
#endif

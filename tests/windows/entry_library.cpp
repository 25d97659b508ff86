// Leaves a file in the temporary folder when it is run.

#include "platform/win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    WCHAR path[MAX_PATH + 32];
    if (reason != DLL_PROCESS_ATTACH || !GetTempPathW(MAX_PATH, path)) return TRUE;
    lstrcatW(path, TEXT("karvo-entry-point"));
    CloseHandle(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    return TRUE;
}

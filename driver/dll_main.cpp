#include "driver/process.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) return kv::attach_process(module);
    if (reason == DLL_PROCESS_DETACH) kv::detach_process();
    return TRUE;
}

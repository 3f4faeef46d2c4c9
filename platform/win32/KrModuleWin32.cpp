// Unload hook of the DLL. It runs before the destructors of the DLL's own static objects.
#include "platform/KrUnloadHook.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_DETACH)
        KrModuleStop();
    return TRUE;
}

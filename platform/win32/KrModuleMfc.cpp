// Start and stop of the module when it is an extension module of the application framework. Never
// built by its authors, who do not have the framework.
#include <afxwin.h>

#include <afxdllx.h>

#include "platform/KrUnloadHook.h"

// The module's application object. Its exit step empties the reader cache before the framework's own.
class CKrRiffUtilsApp : public CWinApp
{
public:
    int ExitInstance() override
    {
        KrModuleStop();
        return CWinApp::ExitInstance();
    }
};

namespace
{
CKrRiffUtilsApp theApp;
AFX_EXTENSION_MODULE g_module = {FALSE, nullptr};
} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH)
    {
        if (!AfxInitExtensionModule(g_module, instance))
            return FALSE;
        new CDynLinkLibrary(g_module); // the framework frees it
    }
    else if (reason == DLL_PROCESS_DETACH)
    {
        theApp.ExitInstance();
        AfxTermExtensionModule(g_module);
    }
    return TRUE;
}

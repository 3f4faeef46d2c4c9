// What the platform calls when the system unloads the library; defined by the module that is unloaded.
#ifndef KR_PLATFORM_KRUNLOADHOOK_H
#define KR_PLATFORM_KRUNLOADHOOK_H

// Called once, before any static object of the library is destroyed.
void KrModuleStop();

#endif

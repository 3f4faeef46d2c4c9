// What the library does when it is unloaded.
#include "platform/KrUnloadHook.h"
#include "riffutils/KrReaderCache.h"

void KrModuleStop()
{
    CKrReaderCache::OfProcess().ClearAtModuleStop();
}

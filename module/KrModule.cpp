// Work to do when the library is unloaded.
#include "platform/KrUnloadHook.h"
#include "riffutils/KrReaderCache.h"

void KrModuleStop()
{
    CKrReaderCache::OfProcess().ClearAtModuleStop();
}

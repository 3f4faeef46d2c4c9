#include "core/KrModule.h"

#include "riffutils/KrReaderCache.h"

void KrModuleStop()
{
    CKrReaderCache::OfProcess().ClearAtModuleStop();
}

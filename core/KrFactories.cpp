// The exported factories, and what only they can tell about the objects that they made.
#include "KrRiffUtils/KrRiffUtils.h"
#include "core/KrOwnReader.h"
#include "reader/KrRiffReader.h"

#include <new>

int KrCreateRiffReader(IKrRiffReader** out)
{
    if (out == nullptr)
        return 0;
    *out = nullptr;
    try
    {
        *out = new CKrRiffReader(KrPlatform::FileSystem());
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
    return 1;
}

CKrReentrantLock* FindOwnReaderLock(IKrRiffReader* reader)
{
    return CKrRiffReader::IsOneOfOurs(reader) ? &static_cast<CKrRiffReader*>(reader)->Lock() : nullptr;
}

// The exported factories.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "pool/KrdsMediaSamplePool.h"
#include "reader/KrRiffReader.h"
#include "writer/KrAviWriter.h"

#include <new>

namespace
{
// Stores the object that `make` creates, or null when out of memory.
template <class Interface, class Make>
int Create(Interface** out, Make&& make)
{
    if (out == nullptr)
        return 0;
    *out = nullptr;
    try
    {
        *out = make();
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
    return 1;
}
} // namespace

int KrCreateRiffReader(IKrRiffReader** out)
{
    return Create(out, [] { return new CKrRiffReader(KrPlatform::FileSystem()); });
}

int KrCreateAviWriter(IKrAviWriter** out)
{
    return Create(out, [] { return new CKrAviWriter; });
}

int KrCreateMediaSamplePool(unsigned long capacity, IKrdsMediaSamplePool** out)
{
    if (out == nullptr || capacity == 0)
        return 0;
    try
    {
        auto* const pool = new CKrdsMediaSamplePool;
        CKrRef<IKrdsMediaSamplePool> owned = CKrRef<IKrdsMediaSamplePool>::Adopt(pool);
        if (!pool->SetUp(capacity))
            return 0;
        *out = owned.Detach();
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
    return 1;
}

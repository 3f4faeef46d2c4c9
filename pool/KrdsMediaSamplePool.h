// The pool of media samples.
#ifndef KR_POOL_KRDSMEDIASAMPLEPOOL_H
#define KR_POOL_KRDSMEDIASAMPLEPOOL_H

#include "KrRiffUtils/IKrdsMediaSamplePool.h"
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "siblings/KrKernel/KrPoolManager.h"

class CKrdsMediaSamplePool final : public CKrObject<IKrdsMediaSamplePool>
{
public:
    using KrManagerFactory = int (*)(IKrPoolElementAllocator* allocator, unsigned long capacity,
                                     IKrPoolManager** out);

    // Creates the elements. False on failure.
    [[nodiscard]] bool SetUp(unsigned long capacity, KrManagerFactory createManager = &KrCreatePoolManager);

    int GetSample(unsigned long wait, IMediaSample* source, IKrMediaSample** out) override;

private:
    class CKrdsMediaSampleAllocator;

    CKrRef<IKrPoolManager> m_manager; // null until set up
};

#endif

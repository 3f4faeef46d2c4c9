// A pool's sample object around a host's DirectShow sample.
#ifndef KR_POOL_KRDSMEDIASAMPLE_H
#define KR_POOL_KRDSMEDIASAMPLE_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "KrRiffUtils/KrPlatformTypes.h"
#include "base/KrObject.h"
#include "base/KrReentrantLock.h"
#include "siblings/KrKernel/KrPoolManager.h"

#include <cstdint>

class CKrdsMediaSample final : public CKrObject<IKrMediaSample>, public CKrPoolMember
{
public:
    CKrdsMediaSample() = default;
    ~CKrdsMediaSample() override;

    // When only the pool manager's reference is left, the sample returns to its pool.
    uint32_t Release() override;

    void ResetElement() override;
    int LockBuffer(uint8_t** data, int32_t* length) override;
    void UnlockBuffer() override;
    uint32_t GetDataLength() override;

    // Wraps another DirectShow sample in place of the previous one.
    void Wrap(IMediaSample* source);

private:
    CKrReentrantLock m_lock; // one hold is kept for each LockBuffer
    int32_t m_lockCount = 0;
    IMediaSample* m_source = nullptr; // one reference
};

#endif

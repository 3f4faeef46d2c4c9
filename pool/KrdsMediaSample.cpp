#include "pool/KrdsMediaSample.h"

#include "KrMediaSampleTypes.h"

#include <utility>

CKrdsMediaSample::~CKrdsMediaSample()
{
    ResetElement();
}

uint32_t CKrdsMediaSample::Release()
{
    const uint32_t left = DropReference();
    if (left == 0)
    {
        delete this; // which releases what it wraps
        return 0;
    }
    if (left == 1 && Owner() != nullptr)
        Owner()->ReturnElement(this); // after this the sample may be destroyed or lent again
    return left;
}

void CKrdsMediaSample::ResetElement()
{
    if (IMediaSample* const source = std::exchange(m_source, nullptr))
        source->Release();
    m_lockCount = 0;
}

void CKrdsMediaSample::Wrap(IMediaSample* source)
{
    source->AddRef(); // before the old one is released: it may be the same
    if (IMediaSample* const before = std::exchange(m_source, source))
        before->Release();
}

int CKrdsMediaSample::LockBuffer(uint8_t** data, int32_t* length)
{
    const CKrLockScope scope(m_lock);
    if (m_source == nullptr || data == nullptr || length == nullptr)
        return 0;
    *length = static_cast<int32_t>(m_source->GetActualDataLength());
    if (m_source->GetPointer(data) < 0 || *data == nullptr || *length < 1)
        return 0;
    ++m_lockCount;
    m_lock.Enter(); // kept until UnlockBuffer
    return 1;
}

void CKrdsMediaSample::UnlockBuffer()
{
    const CKrLockScope scope(m_lock);
    if (m_lockCount <= 0)
        return;
    --m_lockCount;
    m_lock.Leave();
}

uint32_t CKrdsMediaSample::GetDataLength()
{
    const CKrLockScope scope(m_lock);
    return m_source != nullptr ? static_cast<uint32_t>(m_source->GetActualDataLength()) : 0;
}

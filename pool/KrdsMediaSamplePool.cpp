#include "pool/KrdsMediaSamplePool.h"

#include "pool/KrdsMediaSample.h"

#include <new>

// What the pool manager fills itself from.
class CKrdsMediaSamplePool::CKrdsMediaSampleAllocator final : public CKrObject<IKrPoolElementAllocator>
{
public:
    int CreateElement(IKrPoolElement** out) override
    {
        *out = new (std::nothrow) CKrdsMediaSample;
        return *out != nullptr ? 1 : 0;
    }
};

bool CKrdsMediaSamplePool::SetUp(unsigned long capacity)
{
    const auto allocator = CKrRef<IKrPoolElementAllocator>::Adopt(new CKrdsMediaSampleAllocator);
    IKrPoolManager* manager = nullptr;
    if (KrCreatePoolManager(allocator.Get(), capacity, &manager) == 0)
        return false;
    m_manager = CKrRef<IKrPoolManager>::Adopt(manager);
    return static_cast<bool>(m_manager);
}

int CKrdsMediaSamplePool::GetSample(unsigned long wait, IMediaSample* source, IKrMediaSample** out)
{
    if (source == nullptr || out == nullptr)
        return 0;
    IKrPoolElement* element = nullptr;
    if (m_manager->GetElement(wait, &element) == 0)
        return 0;
    auto* const sample = dynamic_cast<CKrdsMediaSample*>(element); // made by our own allocator
    if (sample != nullptr)
        sample->AddRef();
    element->Release();
    if (sample == nullptr)
        return 0;
    sample->Wrap(source);
    *out = sample;
    return 1;
}

#include "pool/KrdsMediaSamplePool.h"

#include "pool/KrdsMediaSample.h"

#include <new>

// Creates the pool manager's elements.
class CKrdsMediaSamplePool::CKrdsMediaSampleAllocator final : public CKrObject<IKrPoolElementAllocator>
{
public:
    int CreateElement(IKrPoolElement** out) override
    {
        *out = nullptr;
        try
        {
            *out = new CKrdsMediaSample;
        }
        catch (const std::bad_alloc&)
        {
            return 0;
        }
        return 1;
    }
};

bool CKrdsMediaSamplePool::SetUp(unsigned long capacity, KrManagerFactory createManager)
{
    const auto allocator = CKrRef<IKrPoolElementAllocator>::Adopt(new CKrdsMediaSampleAllocator);
    IKrPoolManager* manager = nullptr;
    createManager(allocator.Get(), capacity, &manager); // success shows in the pointer
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
    auto* const sample = dynamic_cast<CKrdsMediaSample*>(element); // created by our own allocator
    if (sample != nullptr)
        sample->AddRef();
    element->Release();
    if (sample == nullptr)
        return 0;
    sample->Wrap(source);
    *out = sample;
    return 1;
}

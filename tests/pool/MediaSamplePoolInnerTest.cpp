// The pool's calls to its manager, and how it handles the results.
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "pool/KrdsMediaSample.h"
#include "pool/KrdsMediaSamplePool.h"
#include "tests/support/KrFakeDirectShowSample.h"

#include <gtest/gtest.h>

#include <vector>

using namespace KrTest;

namespace
{
// A foreign element.
class CStranger final : public CKrObject<IKrPoolElement>
{
public:
    void ResetElement() override {}
};

// Lends the element that the test supplies.
class CScriptedManager final : public CKrObject<IKrPoolManager>
{
public:
    explicit CScriptedManager(bool& destroyed) : m_destroyed(destroyed) {}
    ~CScriptedManager() override { m_destroyed = true; }

    CKrRef<IKrPoolElement> next;
    std::vector<unsigned long> waits;

    int GetElement(unsigned long wait, IKrPoolElement** out) override
    {
        waits.push_back(wait);
        if (!next)
            return 0;
        next->AddRef();
        *out = next.Get();
        return 1;
    }
    void ReturnElement(IKrPoolElement*) override {}

private:
    bool& m_destroyed;
};

// The arguments and the result of the factory.
struct SFactory
{
    CKrRef<IKrPoolElementAllocator> allocator;
    unsigned long capacity = 0;
    CScriptedManager* manager = nullptr;
    int answer = 1;
};
SFactory* g_factory = nullptr;

int CreateManager(IKrPoolElementAllocator* allocator, unsigned long capacity, IKrPoolManager** out)
{
    g_factory->allocator = CKrRef<IKrPoolElementAllocator>::Share(allocator);
    g_factory->capacity = capacity;
    if (g_factory->manager != nullptr)
        *out = g_factory->manager;
    return g_factory->answer;
}

class MediaSamplePoolInside : public testing::Test
{
protected:
    MediaSamplePoolInside() { g_factory = &m_factory; }
    ~MediaSamplePoolInside() override
    {
        m_pool.Reset();
        EXPECT_TRUE(m_managerDestroyed || m_factory.manager == nullptr) << "the pool has released it";
        g_factory = nullptr;
    }

    void SetUpWithManager()
    {
        m_factory.manager = new CScriptedManager(m_managerDestroyed);
        ASSERT_TRUE(m_pool->SetUp(3, &CreateManager));
    }

    bool m_managerDestroyed = false;
    SFactory m_factory;
    CKrFakeDirectShowSample m_source;
    CKrRef<CKrdsMediaSamplePool> m_pool = CKrRef<CKrdsMediaSamplePool>::Adopt(new CKrdsMediaSamplePool);
};
} // namespace

TEST_F(MediaSamplePoolInside, Manager_GetsTheCapacityAndAnAllocatorOfSamples)
{
    SetUpWithManager();
    EXPECT_EQ(m_factory.capacity, 3u);
    IKrPoolElement* element = nullptr;
    ASSERT_EQ(m_factory.allocator->CreateElement(&element), 1);
    auto* const sample = dynamic_cast<CKrdsMediaSample*>(element);
    ASSERT_NE(sample, nullptr);
    EXPECT_EQ(sample->Owner(), nullptr);
    EXPECT_EQ(sample->GetDataLength(), 0u);
    EXPECT_EQ(element->Release(), 0u) << "one reference";
    IKrPoolElementAllocator* const allocator = m_factory.allocator.Detach();
    EXPECT_EQ(allocator->Release(), 0u) << "the pool has released its own";
}

TEST_F(MediaSamplePoolInside, WithoutAManager_TheSetUpFails)
{
    for (const int answer : {0, 1})
    {
        m_factory.answer = answer;
        EXPECT_FALSE(m_pool->SetUp(3, &CreateManager));
        IKrPoolElementAllocator* const allocator = m_factory.allocator.Detach();
        EXPECT_EQ(allocator->Release(), 0u) << "the pool has released its own";
    }
}

TEST_F(MediaSamplePoolInside, WithAManager_TheSetUpIsDoneWhateverTheAnswer)
{
    m_factory.answer = 0;
    SetUpWithManager();
}

TEST_F(MediaSamplePoolInside, Wait_IsPassedUnchanged)
{
    SetUpWithManager();
    CKrRef<IKrMediaSample> sample;
    const std::vector<unsigned long> waits{0, 1, 7000, 0xFFFFFFFE, 0xFFFFFFFF, ~0ul};
    for (const unsigned long wait : waits)
        EXPECT_EQ(m_pool->GetSample(wait, &m_source, sample.Put()), 0);
    EXPECT_EQ(m_factory.manager->waits, waits);
}

TEST_F(MediaSamplePoolInside, NullArguments_DoNotReachTheManager)
{
    SetUpWithManager();
    CKrRef<IKrMediaSample> sample;
    EXPECT_EQ(m_pool->GetSample(5, nullptr, sample.Put()), 0);
    EXPECT_EQ(m_pool->GetSample(5, &m_source, nullptr), 0);
    EXPECT_TRUE(m_factory.manager->waits.empty());
}

TEST_F(MediaSamplePoolInside, ManagerWithoutAnElement_LeavesTheOutputAlone)
{
    SetUpWithManager();
    auto* const mark = reinterpret_cast<IKrMediaSample*>(this);
    IKrMediaSample* sample = mark;
    EXPECT_EQ(m_pool->GetSample(0, &m_source, &sample), 0);
    EXPECT_EQ(sample, mark);
    EXPECT_EQ(m_source.references, 1u);
}

TEST_F(MediaSamplePoolInside, ElementOfAnotherKind_IsReturnedAndRefused)
{
    SetUpWithManager();
    auto* const stranger = new CStranger;
    m_factory.manager->next = CKrRef<IKrPoolElement>::Adopt(stranger);
    auto* const mark = reinterpret_cast<IKrMediaSample*>(this);
    IKrMediaSample* sample = mark;
    EXPECT_EQ(m_pool->GetSample(0, &m_source, &sample), 0);
    EXPECT_EQ(sample, mark);
    EXPECT_EQ(m_source.references, 1u);
    EXPECT_EQ(stranger->AddRef(), 2u) << "only the manager has kept one";
    stranger->Release();
}

TEST_F(MediaSamplePoolInside, LentSample_HasOneReferenceBesideTheManagers)
{
    SetUpWithManager();
    auto* const made = new CKrdsMediaSample;
    m_factory.manager->next = CKrRef<IKrPoolElement>::Adopt(made);
    CKrRef<IKrMediaSample> sample;
    ASSERT_EQ(m_pool->GetSample(0, &m_source, sample.Put()), 1);
    EXPECT_EQ(sample.Get(), made);
    EXPECT_EQ(made->AddRef(), 3u);
    EXPECT_EQ(made->Release(), 2u);
    EXPECT_EQ(m_source.references, 2u);
}

// The pool manager that the library expects of its sibling.
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "siblings/KrKernel/KrPoolManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <new>
#include <thread>
#include <vector>

namespace
{
std::atomic<int> g_elements = 0;

class CElement final : public CKrObject<IKrPoolElement>, public CKrPoolMember
{
public:
    explicit CElement(int number) : m_number(number) { ++g_elements; }
    ~CElement() override { --g_elements; }

    void ResetElement() override {}
    [[nodiscard]] int Number() const { return m_number; }

    uint32_t Release() override
    {
        const uint32_t left = DropReference();
        if (left == 0)
            delete this;
        else if (left == 1 && Owner() != nullptr)
            Owner()->ReturnElement(this);
        return left;
    }

private:
    int m_number;
};

// An element that does not accept an owner.
class CStranger final : public CKrObject<IKrPoolElement>
{
public:
    CStranger() { ++g_elements; }
    ~CStranger() override { --g_elements; }

    void ResetElement() override {}
};

class CAllocator final : public CKrObject<IKrPoolElementAllocator>
{
public:
    enum class EKrFailure
    {
        Refusal,
        NoElement,
        Exception,
        Stranger
    };

    int failAt = -1;
    EKrFailure failure = EKrFailure::Refusal;
    int created = 0;

    int CreateElement(IKrPoolElement** out) override
    {
        if (created == failAt)
            return Fail(out);
        *out = new CElement(created++);
        return 1;
    }

private:
    int Fail(IKrPoolElement** out) const
    {
        if (failure == EKrFailure::Exception)
            throw std::bad_alloc();
        if (failure == EKrFailure::Stranger)
            *out = new CStranger;
        return failure == EKrFailure::Refusal ? 0 : 1;
    }
};

class PoolManager : public testing::Test
{
protected:
    ~PoolManager() override
    {
        m_manager.Reset();
        EXPECT_EQ(g_elements, 0) << "nothing is left";
    }

    void Make(unsigned long capacity)
    {
        ASSERT_EQ(KrCreatePoolManager(m_allocator.Get(), capacity, m_manager.Put()), 1);
    }

    CKrRef<IKrPoolElement> Get(unsigned long wait = 0)
    {
        CKrRef<IKrPoolElement> element;
        m_manager->GetElement(wait, element.Put());
        return element;
    }

    static int NumberOf(const CKrRef<IKrPoolElement>& element)
    {
        return element ? dynamic_cast<CElement&>(*element).Number() : -1;
    }

    CKrRef<CAllocator> m_allocator = CKrRef<CAllocator>::Adopt(new CAllocator);
    CKrRef<IKrPoolManager> m_manager;
};
} // namespace

TEST_F(PoolManager, FillsItselfAtCreation)
{
    Make(5);
    EXPECT_EQ(m_allocator->created, 5);
}

TEST_F(PoolManager, LendsTheLongestIdleElement)
{
    Make(3);
    auto first = Get();
    auto second = Get();
    EXPECT_EQ(NumberOf(first), 0);
    EXPECT_EQ(NumberOf(second), 1);
    second.Reset();
    first.Reset();
    EXPECT_EQ(NumberOf(Get()), 2);
    EXPECT_EQ(NumberOf(Get()), 1);
}

TEST_F(PoolManager, EmptyPool_AnswersAtOnceOrAfterTheWait)
{
    Make(1);
    const auto only = Get();
    IKrPoolElement* untouched = reinterpret_cast<IKrPoolElement*>(this);
    EXPECT_EQ(m_manager->GetElement(0, &untouched), 0);
    EXPECT_EQ(untouched, reinterpret_cast<IKrPoolElement*>(this));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(m_manager->GetElement(30, &untouched), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(29));
    EXPECT_EQ(m_manager->GetElement(0, nullptr), 0);
}

TEST_F(PoolManager, WaitForEver_EndsWhenAnElementIsReturned)
{
    for (const unsigned long wait : {0xFFFFFFFFul, ~0ul, 100'000ul})
    {
        Make(1);
        auto only = Get();
        std::jthread waiting([&] { EXPECT_EQ(NumberOf(Get(wait)), m_allocator->created - 1); });
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        only.Reset();
    }
}

TEST_F(PoolManager, ReturnOfAnElementThatIsNotLent_ChangesNothing)
{
    Make(2);
    auto element = Get();
    IKrPoolElement* const returned = element.Get();
    element.Reset();
    m_manager->ReturnElement(returned);
    const auto first = Get();
    const auto second = Get();
    EXPECT_EQ(NumberOf(first), 1);
    EXPECT_EQ(NumberOf(second), 0);
    EXPECT_FALSE(Get()) << "it was taken back once";
}

TEST_F(PoolManager, LentElements_OutliveTheManagerAndGoAsTheyComeBack)
{
    Make(4);
    auto first = Get();
    auto second = Get();
    m_manager.Reset();
    EXPECT_EQ(g_elements, 2) << "the others can no longer be requested";
    EXPECT_EQ(NumberOf(second), 1);
    second.Reset();
    EXPECT_EQ(g_elements, 1);
    EXPECT_EQ(NumberOf(first), 0);
    first.Reset();
    EXPECT_EQ(g_elements, 0);
}

TEST_F(PoolManager, OneOfTwoUsersReleases_NothingChanges)
{
    Make(2);
    auto other = CKrRef<IKrPoolManager>::Share(m_manager.Get());
    auto element = Get();
    other.Reset();
    EXPECT_EQ(g_elements, 2);
    element.Reset();
    EXPECT_EQ(g_elements, 2);
    EXPECT_TRUE(Get());
}

TEST_F(PoolManager, ReleasedWhileElementsComeBack_DestroysEachOnce)
{
    for (int round = 0; round < 50; ++round)
    {
        Make(4);
        std::vector<std::jthread> users;
        for (int user = 0; user < 3; ++user)
        {
            users.emplace_back([element = Get()]() mutable { element.Reset(); });
        }
        m_manager.Reset();
        users.clear();
        ASSERT_EQ(g_elements, 0);
    }
}

TEST_F(PoolManager, ElementThatCannotBeMade_FailsTheManager)
{
    using enum CAllocator::EKrFailure;
    for (const auto failure : {Refusal, NoElement, Exception, Stranger})
    {
        for (const int failAt : {0, 2})
        {
            m_allocator->created = 0;
            m_allocator->failAt = failAt;
            m_allocator->failure = failure;
            auto* const mark = reinterpret_cast<IKrPoolManager*>(this);
            IKrPoolManager* manager = mark;
            EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), 3, &manager), 0);
            EXPECT_EQ(manager, mark);
            EXPECT_EQ(m_allocator->created, failAt);
            EXPECT_EQ(g_elements, 0);
        }
    }
}

TEST_F(PoolManager, SenselessCapacity_FailsBeforeAnythingIsMade)
{
    IKrPoolManager* none = nullptr;
    for (const unsigned long capacity : {kKrMaxPoolCapacity + 1, 1'000'000'000ul, 0xFFFFFFFFul, ~0ul})
        EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), capacity, &none), 0) << capacity;
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(m_allocator->created, 0);
}

TEST_F(PoolManager, BadArguments_AreRefused)
{
    IKrPoolManager* none = nullptr;
    EXPECT_EQ(KrCreatePoolManager(nullptr, 1, &none), 0);
    EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), 0, &none), 0);
    EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), 1, nullptr), 0);
    EXPECT_EQ(none, nullptr);
}

TEST_F(PoolManager, EveryWaiter_IsServed)
{
    Make(1);
    auto only = Get();
    std::atomic<int> served = 0;
    {
        std::vector<std::jthread> waiters;
        for (int waiter = 0; waiter < 5; ++waiter)
            waiters.emplace_back([&] { served += NumberOf(Get(~0ul)) == 0 ? 1 : 0; });
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(served, 0);
        only.Reset();
    }
    EXPECT_EQ(served, 5);
}

TEST_F(PoolManager, ManyThreads_ShareFewElements)
{
    Make(2);
    std::atomic<int> lentNow = 0;
    std::vector<std::jthread> users;
    for (int user = 0; user < 4; ++user)
    {
        users.emplace_back(
            [&]
            {
                for (int round = 0; round < 200; ++round)
                {
                    const auto element = Get(~0ul);
                    EXPECT_TRUE(element);
                    EXPECT_LE(++lentNow, 2);
                    std::this_thread::yield();
                    --lentNow;
                }
            });
    }
}

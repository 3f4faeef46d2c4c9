// The worker thread and the pool manager that the library expects of its siblings.
#include "core/KrObject.h"
#include "siblings/KrKernel/KrPoolManager.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "tests/support/KrRef.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using KrTest::CKrRef;

namespace
{
// What a work routine is given and what it tells.
struct SWork
{
    std::atomic<int> runs = 0;
    std::atomic<int> stops = 0;

    static uint32_t UntilStopped(void* context, std::stop_token stop)
    {
        auto& work = *static_cast<SWork*>(context);
        ++work.runs;
        while (!stop.stop_requested())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++work.stops;
        return 0;
    }

    static uint32_t Once(void* context, std::stop_token)
    {
        ++static_cast<SWork*>(context)->runs;
        return 0;
    }
};

class WorkerThread : public testing::Test
{
protected:
    WorkerThread() { EXPECT_EQ(KrCreateWorkerThread(15, m_thread.Put()), 1); }

    SWork m_work;
    CKrRef<IKrWorkerThread> m_thread;
};
} // namespace

TEST_F(WorkerThread, StartsAndStopsAgainAndAgain)
{
    EXPECT_EQ(m_thread->SetPriority(0), 1);
    EXPECT_EQ(m_thread->UseDefaults(), 1);
    EXPECT_EQ(m_thread->SetWorkRoutine(&SWork::UntilStopped, &m_work), 1);
    for (int round = 1; round <= 3; ++round)
    {
        EXPECT_EQ(m_thread->Start(), 1);
        EXPECT_EQ(m_thread->Start(), 0) << "it runs";
        EXPECT_EQ(m_thread->WaitForEnd(1), 0) << "nobody asked it to end";
        m_thread->Stop();
        EXPECT_EQ(m_thread->WaitForEnd(kKrWaitForEver), 1);
        EXPECT_EQ(m_work.runs, round);
        EXPECT_EQ(m_work.stops, round);
    }
}

TEST_F(WorkerThread, WithoutARoutine_DoesNotStart)
{
    EXPECT_EQ(m_thread->Start(), 0);
    m_thread->Stop();
    EXPECT_EQ(m_thread->WaitForEnd(kKrWaitForEver), 1) << "nothing to wait for";
}

TEST_F(WorkerThread, StopAndWait_DoesBoth)
{
    m_thread->SetWorkRoutine(&SWork::UntilStopped, &m_work);
    ASSERT_EQ(m_thread->Start(), 1);
    EXPECT_EQ(m_thread->StopAndWait(10'000), 1);
    EXPECT_EQ(m_work.stops, m_work.runs);
}

TEST_F(WorkerThread, LastRelease_EndsTheRoutine)
{
    m_thread->SetWorkRoutine(&SWork::UntilStopped, &m_work);
    ASSERT_EQ(m_thread->Start(), 1);
    while (m_work.runs == 0)
        std::this_thread::yield();
    m_thread.Reset();
    EXPECT_EQ(m_work.stops, 1);
}

TEST_F(WorkerThread, WaitOnTheThreadItself_IsNoDeadlock)
{
    static std::atomic<int> answer;
    answer = -1;
    m_thread->SetWorkRoutine(
        [](void* context, std::stop_token) -> uint32_t
        {
            answer = static_cast<IKrWorkerThread*>(context)->WaitForEnd(kKrWaitForEver);
            return 0;
        },
        m_thread.Get());
    ASSERT_EQ(m_thread->Start(), 1);
    EXPECT_EQ(m_thread->WaitForEnd(kKrWaitForEver), 1);
    EXPECT_EQ(answer, 0);
}

TEST(WorkerThreadFactory, NullPointer_IsRefused)
{
    EXPECT_EQ(KrCreateWorkerThread(15, nullptr), 0);
}

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

class CAllocator final : public CKrObject<IKrPoolElementAllocator>
{
public:
    int failAt = -1;
    int created = 0;

    int CreateElement(IKrPoolElement** out) override
    {
        if (created == failAt)
            return 0;
        *out = new CElement(created++);
        return 1;
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

    CKrRef<CAllocator> m_allocator{new CAllocator};
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

TEST_F(PoolManager, WaitForEver_EndsWhenAnElementComesBack)
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

TEST_F(PoolManager, LentElements_OutliveTheManager)
{
    Make(3);
    auto lent = Get();
    m_manager.Reset();
    EXPECT_EQ(g_elements, 3) << "the manager waits for what is lent";
    EXPECT_EQ(NumberOf(lent), 0);
    lent.Reset();
    EXPECT_EQ(g_elements, 0);
}

TEST_F(PoolManager, ElementThatCannotBeMade_FailsTheManager)
{
    m_allocator->failAt = 2;
    IKrPoolManager* none = nullptr;
    EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), 3, &none), 0);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(g_elements, 0);
}

TEST_F(PoolManager, BadArguments_AreRefused)
{
    IKrPoolManager* none = nullptr;
    EXPECT_EQ(KrCreatePoolManager(nullptr, 1, &none), 0);
    EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), 0, &none), 0);
    EXPECT_EQ(KrCreatePoolManager(m_allocator.Get(), 1, nullptr), 0);
    EXPECT_EQ(none, nullptr);
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
                    --lentNow;
                }
            });
    }
}

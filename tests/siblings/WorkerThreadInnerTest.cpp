// The worker thread that the library expects of its sibling.
#include "base/KrRef.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "tests/base/KrFailingAllocation.h"
#include "tests/support/KrThreadGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using KrTest::CFailingAllocation;
using KrTest::CKrGateOpener;
using KrTest::CKrThreadGate;

namespace
{
// The input and output of a work routine.
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
        EXPECT_EQ(m_thread->WaitForEnd(1), 0) << "it was not asked to end";
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

TEST_F(WorkerThread, RoutineThatEndsByItself_StartsAgain)
{
    m_thread->SetWorkRoutine(&SWork::Once, &m_work);
    for (int round = 1; round <= 3; ++round)
    {
        EXPECT_EQ(m_thread->Start(), 1);
        EXPECT_EQ(m_thread->WaitForEnd(kKrWaitForEver), 1);
        EXPECT_EQ(m_work.runs, round);
    }
}

TEST_F(WorkerThread, StopThatIsNotHeeded_IsWaitedForTheGivenTime)
{
    CKrThreadGate gate;
    m_thread->SetWorkRoutine(
        [](void* context, std::stop_token) -> uint32_t
        {
            static_cast<CKrThreadGate*>(context)->Pass();
            return 0;
        },
        &gate);
    ASSERT_EQ(m_thread->Start(), 1);
    const CKrGateOpener opener(gate);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(m_thread->StopAndWait(30), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(29));
    EXPECT_EQ(m_thread->StopAndWait(0), 0);
    EXPECT_EQ(m_thread->Start(), 0) << "it still runs";
    gate.Open();
    EXPECT_EQ(m_thread->WaitForEnd(kKrWaitForEver), 1);
}

TEST_F(WorkerThread, StartAndWaitsOnTheThreadItself_AreRefused)
{
    static std::atomic<int> answers;
    answers = -1;
    m_thread->SetWorkRoutine(
        [](void* context, std::stop_token) -> uint32_t
        {
            auto* const thread = static_cast<IKrWorkerThread*>(context);
            answers =
                thread->Start() + thread->WaitForEnd(kKrWaitForEver) + thread->StopAndWait(kKrWaitForEver);
            return 0;
        },
        m_thread.Get());
    ASSERT_EQ(m_thread->Start(), 1);
    EXPECT_EQ(m_thread->WaitForEnd(kKrWaitForEver), 1);
    EXPECT_EQ(answers, 0);
}

TEST_F(WorkerThread, LastReleaseOnTheThreadItself_LetsTheRoutineEnd)
{
    struct SHandover
    {
        IKrWorkerThread* thread;
        CKrThreadGate gate;
        std::atomic<uint32_t> left = 99;
        std::atomic<int> stopSeen = -1;
    };
    SHandover handover{m_thread.Get(), {}};
    m_thread->SetWorkRoutine(
        [](void* context, std::stop_token stop) -> uint32_t
        {
            auto& given = *static_cast<SHandover*>(context);
            given.gate.Pass();
            given.left = given.thread->Release();
            given.stopSeen = stop.stop_requested() ? 1 : 0;
            return 0;
        },
        &handover);
    ASSERT_EQ(m_thread->Start(), 1);
    ASSERT_NE(m_thread.Detach(), nullptr); // the routine's from here on
    handover.gate.Open();
    while (handover.stopSeen < 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(handover.left, 0u);
    EXPECT_EQ(handover.stopSeen, 1);
}

TEST(WorkerThreadFactory, NullPointer_IsRefused)
{
    EXPECT_EQ(KrCreateWorkerThread(15, nullptr), 0);
}

TEST(WorkerThreadFactory, OutOfMemory_MakesNoThreadOrDoesNotStartIt)
{
    SWork work;
    unsigned refusals = 0;
    CKrRef<IKrWorkerThread> thread;
    for (unsigned number = 1; !thread && number < 20; ++number)
    {
        const CFailingAllocation failing(number);
        refusals += KrCreateWorkerThread(15, thread.Put()) == 0 ? 1 : 0;
    }
    ASSERT_TRUE(thread);
    EXPECT_GE(refusals, 1u);
    thread->SetWorkRoutine(&SWork::Once, &work);
    refusals = 0;
    for (unsigned number = 1; number < 20; ++number)
    {
        const CFailingAllocation failing(number);
        if (thread->Start() != 0)
            break;
        ++refusals;
    }
    EXPECT_GE(refusals, 1u);
    EXPECT_EQ(thread->WaitForEnd(kKrWaitForEver), 1);
    EXPECT_EQ(work.runs, 1) << "the start that had its memory";
}

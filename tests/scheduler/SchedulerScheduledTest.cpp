// The scheduler itself: it finds errors that only some orders of events show, and replays them.
#include "base/KrReentrantLock.h"
#include "platform/KrSync.h"
#include "tests/scheduler/KrScheduler.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace KrTest;

namespace
{
// The sum after two activities each add 1 in two steps, for a seed.
int LostUpdate(uint64_t seed)
{
    CKrScheduler scheduler(seed);
    KrAtomic<int> value = 0;
    for (int number = 0; number < 2; ++number)
        scheduler.Add([&] { value.store(value.load() + 1); });
    EXPECT_EQ(scheduler.Run(), "");
    return value.load();
}
} // namespace

TEST(Scheduler, LostUpdate_IsFoundBySomeSeedsAndReplayed)
{
    int lost = 0;
    for (uint64_t seed = 0; seed < 100; ++seed)
    {
        const int left = LostUpdate(seed);
        EXPECT_EQ(LostUpdate(seed), left) << seed;
        lost += left == 1;
    }
    EXPECT_GT(lost, 0);
    EXPECT_LT(lost, 100);
}

TEST(Scheduler, LocksTakenInBothOrders_AreDetectedAsADeadlock)
{
    int stopped = 0;
    for (uint64_t seed = 0; seed < 100; ++seed)
    {
        CKrScheduler scheduler(seed);
        CKrMutex first;
        CKrMutex second;
        const auto take = [](CKrMutex& one, CKrMutex& other)
        {
            one.lock();
            other.lock();
            other.unlock();
            one.unlock();
        };
        scheduler.Add([&] { take(first, second); });
        scheduler.Add([&] { take(second, first); });
        const std::string problem = scheduler.Run();
        stopped += !problem.empty();
        EXPECT_TRUE(problem.empty() || problem == "no activity can run; waiting: 1 2") << problem;
    }
    EXPECT_GT(stopped, 0);
    EXPECT_LT(stopped, 100);
}

TEST(Scheduler, Lock_KeepsOthersOut)
{
    for (uint64_t seed = 0; seed < 100; ++seed)
    {
        CKrScheduler scheduler(seed);
        CKrReentrantLock lock;
        KrAtomic<int> value = 0;
        for (int number = 0; number < 3; ++number)
        {
            scheduler.Add(
                [&]
                {
                    const CKrLockScope scope(lock);
                    const CKrLockScope again(lock);
                    value.store(value.load() + 1);
                });
        }
        ASSERT_EQ(scheduler.Run(), "");
        ASSERT_EQ(value.load(), 3) << seed;
    }
}

TEST(Scheduler, ConditionThatIsNeverNotified_EndsAtItsTimeAlone)
{
    CKrScheduler scheduler(1);
    CKrMutex mutex;
    CKrCondition condition;
    bool held = true;
    scheduler.Add(
        [&]
        {
            std::unique_lock guard(mutex);
            held = condition.WaitFor(guard, 1000, [] { return false; });
        });
    EXPECT_EQ(scheduler.Run(), "");
    EXPECT_FALSE(held);

    CKrScheduler forEver(1);
    forEver.Add(
        [&]
        {
            std::unique_lock guard(mutex);
            condition.Wait(guard, [] { return false; });
        });
    EXPECT_EQ(forEver.Run(), "no activity can run; waiting: 1");
}

TEST(Scheduler, ExceptionThatLeavesAnActivity_IsReported)
{
    CKrScheduler scheduler(1);
    scheduler.Add([] { throw std::runtime_error("on purpose"); });
    EXPECT_EQ(scheduler.Run(), "activity 1 threw: on purpose");
}

// The system's time through the library's seam, and the choice of another clock.
#include "platform/KrPlatform.h"
#include "tests/support/KrManualClock.h"

#include <gtest/gtest.h>

using namespace KrTest;

TEST(ClockTest, Sleep_MovesTickAndCounter)
{
    IKrClock& clock = KrPlatform::OsClock();
    const uint32_t tick = clock.TickCount();
    const int64_t counter = clock.PerformanceCounter();
    clock.Sleep(60);
    EXPECT_GE(clock.TickCount() - tick, 15u) << "ticks may be 16 ms apart, and sleeps end at one";
    EXPECT_LT(clock.TickCount() - tick, 10'000u);
    EXPECT_GE(clock.PerformanceCounter() - counter, clock.PerformanceFrequency() * 40 / 1000);
    EXPECT_LT(clock.PerformanceCounter() - counter, clock.PerformanceFrequency() * 10);
}

TEST(ClockTest, ShortSleeps_TakeNoLessThanTheirTime)
{
    IKrClock& clock = KrPlatform::OsClock();
    const int64_t counter = clock.PerformanceCounter();
    for (int number = 0; number < 100; ++number)
        clock.Sleep(1);
    EXPECT_GE(clock.PerformanceCounter() - counter, clock.PerformanceFrequency() / 10);
}

// Both run from the same source or side by side: a tick count in steps of 15.6 ms would fall behind by that.
TEST(ClockTest, TickCount_MovesInStepsOfAMillisecond)
{
    IKrClock& clock = KrPlatform::OsClock();
    const int64_t frequency = clock.PerformanceFrequency();
    int fine = 0;
    uint32_t last = clock.TickCount();
    const int64_t start = clock.PerformanceCounter();
    while (clock.PerformanceCounter() - start < frequency / 5)
    {
        const uint32_t now = clock.TickCount();
        fine += now - last == 1 ? 1 : 0;
        last = now;
    }
    EXPECT_GE(fine, 20) << "of 200, also on a machine that is busy";
}

TEST(ClockTest, SleepOfNothing_ReturnsAtOnce)
{
    IKrClock& clock = KrPlatform::OsClock();
    const int64_t counter = clock.PerformanceCounter();
    for (int number = 0; number < 10'000; ++number)
        clock.Sleep(0);
    EXPECT_LT(clock.PerformanceCounter() - counter, clock.PerformanceFrequency() * 5) << "0.5 ms each";
}

TEST(ClockTest, Counter_NeverGoesBack)
{
    IKrClock& clock = KrPlatform::OsClock();
    EXPECT_GE(clock.PerformanceFrequency(), 1000) << "finer than the ticks";
    EXPECT_EQ(clock.PerformanceFrequency(), clock.PerformanceFrequency());
    int64_t last = clock.PerformanceCounter();
    for (int round = 0; round < 1000; ++round)
    {
        const int64_t now = clock.PerformanceCounter();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(ClockTest, Scopes_ReplaceTheClockWhileTheyLive)
{
    EXPECT_EQ(&KrPlatform::Clock(), &KrPlatform::OsClock());
    CKrManualClock outer;
    CKrManualClock inner;
    {
        const KrPlatform::CClockScope outerScope(outer);
        EXPECT_EQ(&KrPlatform::Clock(), &outer);
        {
            const KrPlatform::CClockScope innerScope(inner);
            EXPECT_EQ(&KrPlatform::Clock(), &inner);
        }
        EXPECT_EQ(&KrPlatform::Clock(), &outer);
    }
    EXPECT_EQ(&KrPlatform::Clock(), &KrPlatform::OsClock());
}

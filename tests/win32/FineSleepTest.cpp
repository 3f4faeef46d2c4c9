// Short sleeps on Windows: their duration, and that they leave nothing open.
#include "platform/KrPlatform.h"
#include "platform/win32/KrFineSleep.h"
#include "tests/win32/KrProcessUse.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

using namespace KrTest;

namespace
{
constexpr int kSleeps = 100;

double MillisecondsOf(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void ExpectFineSleeps(void (*sleep)(uint32_t))
{
    sleep(1); // allocated once
    const long handles = OpenHandles();
    EXPECT_GE(MillisecondsOf(
                  [=]
                  {
                      for (int number = 0; number < kSleeps; ++number)
                          sleep(1);
                  }),
              kSleeps);
    EXPECT_GE(MillisecondsOf([=] { sleep(50); }), 50);
    EXPECT_EQ(OpenHandles(), handles);
}
} // namespace

TEST(FineSleep, OfTheClock_TakesItsTimeAndLeavesNoHandle)
{
    ExpectFineSleeps([](uint32_t milliseconds) { KrPlatform::OsClock().Sleep(milliseconds); });
}

TEST(FineSleep, ByTimer_TakesItsTimeAndLeavesNoHandle)
{
    ASSERT_TRUE(KrSleepByTimer(1));
    ExpectFineSleeps([](uint32_t milliseconds) { EXPECT_TRUE(KrSleepByTimer(milliseconds)); });
}

TEST(FineSleep, ByTicks_TakesItsTimeAndLeavesNoHandle)
{
    ExpectFineSleeps(&KrSleepByTicks);
}

TEST(FineSleep, OfManyThreads_LeavesNoHandle)
{
    const auto sleepOnThreads = []
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 8; ++thread)
        {
            threads.emplace_back(
                []
                {
                    for (int number = 0; number < kSleeps; ++number)
                    {
                        KrPlatform::OsClock().Sleep(1);
                        KrSleepByTicks(1);
                    }
                });
        }
    };
    sleepOnThreads(); // what the runtime keeps for threads
    const long handles = OpenHandles();
    sleepOnThreads();
    EXPECT_LE(OpenHandles(), handles + 16) << "100 for each thread would be far beyond";
}

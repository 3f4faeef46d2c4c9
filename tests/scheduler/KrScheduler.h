// Runs several activities on one thread and picks the next one, in a seeded random order, at each lock,
// condition and atomic of the library. The same seed gives the same order of events every time.
#ifndef KR_TESTS_SCHEDULER_KRSCHEDULER_H
#define KR_TESTS_SCHEDULER_KRSCHEDULER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace KrTest
{
// One run. Activities represent a host's threads and the library's own.
//
//   CKrScheduler scheduler(seed);
//   scheduler.Add([&] { reader->Close(); });
//   scheduler.Add([&] { KrRiffUtils::GetAviScanMode(reader, mode); });
//   EXPECT_EQ(scheduler.Run(), "");
class CKrScheduler
{
public:
    explicit CKrScheduler(uint64_t seed);
    ~CKrScheduler();
    CKrScheduler(const CKrScheduler&) = delete;
    CKrScheduler& operator=(const CKrScheduler&) = delete;

    // Adds an activity, even while others run.
    void Add(std::function<void()> body);

    // Runs until all have ended. Returns the error: "" for none, a deadlock, or an exception that left an
    // activity. Deadlocked activities are abandoned: what they own leaks.
    [[nodiscard]] std::string Run();

    // The run whose activity is executing, or null: then there are no switches and no waits.
    static CKrScheduler* Current();

    // A switch point: another activity may run next.
    void Yield();

    // Blocks the current activity until it is woken. With `mayTimeOut` it may also resume without that;
    // returns whether it was woken.
    bool WaitFor(const void* what, bool mayTimeOut = false);
    void WakeAll(const void* what);
    void WakeOne(const void* what);

    // How many locks the current activity holds, as its locks count them.
    void CountLock(int change);
    [[nodiscard]] int LocksHeld() const;

    // Number of the activity that is executing, from 1.
    [[nodiscard]] uint64_t Activity() const;

    // A seeded random number from 0 to `count` - 1.
    [[nodiscard]] size_t Choose(size_t count);

private:
    struct SKrActivity;

    [[nodiscard]] SKrActivity* ChooseNext();
    void SwitchTo(SKrActivity& next);
    void ReturnToRun();
    void Body(SKrActivity& activity);
    static void Enter(unsigned high, unsigned low);

    std::mt19937_64 m_random;
    uint32_t m_switchOneIn; // how often a switch point switches
    std::vector<std::unique_ptr<SKrActivity>> m_activities;
    SKrActivity* m_current = nullptr;
    struct SKrOutside;
    std::unique_ptr<SKrOutside> m_outside;
    std::string m_problem;
};

// A switch point for code that may also run outside of a scheduler.
void YieldToScheduler();
} // namespace KrTest

#endif

// Runs several activities on one thread and chooses by a seed which of them goes on, at each lock, condition
// and atomic of the library. The same seed gives the same order of events every time.
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
// One run. Activities stand for a host's threads and the library's own.
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

    // Adds an activity, also while others run.
    void Add(std::function<void()> body);

    // Runs until all have ended. Answers what went wrong: "" or that none can go on, or an exception that
    // left an activity. Activities that cannot go on are abandoned: what they own leaks.
    [[nodiscard]] std::string Run();

    // The run under way whose activity is executing, or null: then nothing is ever chosen or waited for.
    static CKrScheduler* Current();

    // A place where another activity may go on.
    void Yield();

    // Lets the current activity wait until somebody wakes what it waits for. With `mayTimeOut` it may also go
    // on when nobody does; answers whether it was woken.
    bool WaitFor(const void* what, bool mayTimeOut = false);
    void WakeAll(const void* what);
    void WakeOne(const void* what);

    // Number of the activity that is executing, from 1.
    [[nodiscard]] uint64_t Activity() const;

    // A choice of the seed: 0 to `count` - 1.
    [[nodiscard]] size_t Choose(size_t count);

private:
    struct SKrActivity;

    [[nodiscard]] SKrActivity* ChooseNext();
    void SwitchTo(SKrActivity& next);
    void ReturnToRun();
    void Body(SKrActivity& activity);
    static void Enter(unsigned high, unsigned low);

    std::mt19937_64 m_random;
    uint32_t m_switchOneIn; // how often a place where another may go on makes one go on
    std::vector<std::unique_ptr<SKrActivity>> m_activities;
    SKrActivity* m_current = nullptr;
    struct SKrOutside;
    std::unique_ptr<SKrOutside> m_outside;
    std::string m_problem;
};

// A place where another activity may go on, for code that may also run outside of a scheduler.
void YieldToScheduler();
} // namespace KrTest

#endif

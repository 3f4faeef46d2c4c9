// Time as Windows has it by default: ticks that are 15.6 ms apart.
#ifndef KR_TESTS_SUPPORT_KRCOARSECLOCK_H
#define KR_TESTS_SUPPORT_KRCOARSECLOCK_H

#include "platform/KrPlatform.h"

#include <cstdint>
#include <mutex>

namespace KrTest
{
// Sleeping takes no time but moves the clock. The tick count moves in steps, the performance counter does
// not. May be used from any thread.
class CKrCoarseClock : public IKrClock
{
public:
    enum class EKrSleep
    {
        ToTheTick, // ends at the first tick after its time
        Fine       // ends at its time
    };

    explicit CKrCoarseClock(EKrSleep sleep) : m_sleep(sleep) {}

    [[nodiscard]] double Seconds() const
    {
        const std::scoped_lock lock(m_mutex);
        return static_cast<double>(m_microseconds) / 1'000'000;
    }

    uint32_t TickCount() override
    {
        const std::scoped_lock lock(m_mutex);
        return static_cast<uint32_t>(m_microseconds / kTick * kTick / 1000);
    }

    int64_t PerformanceCounter() override
    {
        const std::scoped_lock lock(m_mutex);
        return static_cast<int64_t>(m_microseconds);
    }

    int64_t PerformanceFrequency() override { return 1'000'000; }

    void Sleep(uint32_t milliseconds) override
    {
        const std::scoped_lock lock(m_mutex);
        m_microseconds += uint64_t{milliseconds} * 1000;
        if (m_sleep == EKrSleep::ToTheTick && milliseconds != 0)
            m_microseconds = (m_microseconds + kTick - 1) / kTick * kTick;
    }

private:
    static constexpr uint64_t kTick = 15'625; // microseconds

    const EKrSleep m_sleep;
    mutable std::mutex m_mutex;
    uint64_t m_microseconds = 1'000'000;
};
} // namespace KrTest

#endif

// Time that passes only through sleeps.
#ifndef KR_TESTS_SUPPORT_KRMANUALCLOCK_H
#define KR_TESTS_SUPPORT_KRMANUALCLOCK_H

#include "platform/KrPlatform.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace KrTest
{
// Sleeping takes no time but advances the clock. May be used from any thread.
class CKrManualClock : public IKrClock
{
public:
    explicit CKrManualClock(uint32_t startTick = 1000) : m_milliseconds(startTick) {}

    void Advance(uint32_t milliseconds)
    {
        const std::scoped_lock lock(m_mutex);
        m_milliseconds += milliseconds;
    }

    // The requested sleeps, in order.
    [[nodiscard]] std::vector<uint32_t> Sleeps() const
    {
        const std::scoped_lock lock(m_mutex);
        return m_sleeps;
    }

    uint32_t TickCount() override
    {
        const std::scoped_lock lock(m_mutex);
        return static_cast<uint32_t>(m_milliseconds);
    }

    int64_t PerformanceCounter() override
    {
        const std::scoped_lock lock(m_mutex);
        return static_cast<int64_t>(m_milliseconds);
    }

    int64_t PerformanceFrequency() override { return 1000; }

    void Sleep(uint32_t milliseconds) override
    {
        const std::scoped_lock lock(m_mutex);
        m_milliseconds += milliseconds;
        m_sleeps.push_back(milliseconds);
    }

private:
    mutable std::mutex m_mutex;
    uint64_t m_milliseconds;
    std::vector<uint32_t> m_sleeps;
};
} // namespace KrTest

#endif

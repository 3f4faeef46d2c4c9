// Counts the work that waits for the worker.
#ifndef KR_WRITER_KRWORKSIGNAL_H
#define KR_WRITER_KRWORKSIGNAL_H

#include "platform/KrSync.h"

#include <cstdint>
#include <mutex>
#include <stop_token>

class CKrWorkSignal
{
public:
    void Reset()
    {
        const std::lock_guard guard(m_mutex);
        m_count = 0;
    }

    void Add()
    {
        {
            const std::lock_guard guard(m_mutex);
            ++m_count;
        }
        m_changed.NotifyOne();
    }

    // Makes a waiting thread check its stop token, which does not notify by itself: the standard library's
    // own notification of stops has lost wake-ups on Windows.
    void WakeForStop()
    {
        const std::lock_guard guard(m_mutex);
        m_changed.NotifyAll();
    }

    // Waits for a unit of work, and takes it, or for the stop, which has priority.
    [[nodiscard]] bool WaitForWork(const std::stop_token& stop)
    {
        std::unique_lock guard(m_mutex);
        m_changed.Wait(guard, [&] { return stop.stop_requested() || m_count > 0; });
        if (stop.stop_requested())
            return false;
        --m_count;
        return true;
    }

    // Waits for any work, all of which it takes, or for the stop, which goes first; for so many milliseconds
    // at most. False for the stop alone.
    [[nodiscard]] bool WaitForAny(const std::stop_token& stop, uint32_t milliseconds)
    {
        std::unique_lock guard(m_mutex);
        const auto hasCome = [&]
        {
            return stop.stop_requested() || m_count > 0;
        };
        if (milliseconds == kForEver)
            m_changed.Wait(guard, hasCome);
        else
            static_cast<void>(m_changed.WaitFor(guard, milliseconds, hasCome));
        m_count = 0;
        return !stop.stop_requested();
    }

private:
    static constexpr uint32_t kForEver = 0xFFFFFFFF;

    CKrMutex m_mutex;
    CKrCondition m_changed;
    uint64_t m_count = 0; // guarded by m_mutex
};

#endif

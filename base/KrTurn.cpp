#include "base/KrTurn.h"

#include <mutex>

bool CKrTurn::TryTake()
{
    const uint64_t thread = KrCurrentThread();
    uint64_t expected = 0;
    while (expected == 0)
    {
        if (m_thread.compare_exchange_weak(expected, thread))
            return true;
    }
    return false;
}

bool CKrTurn::IsMine() const
{
    return m_thread.load(std::memory_order_relaxed) == KrCurrentThread(); // a thread sees its own store
}

void CKrTurn::WaitAndTake()
{
    m_waiting.fetch_add(1); // before the next try: who drops the turn after that sees it
    {
        std::unique_lock guard(m_lock);
        m_dropped.Wait(guard, [this] { return TryTake(); });
    }
    m_waiting.fetch_sub(1);
}

void CKrTurn::WakeOne()
{
    {
        const std::lock_guard guard(m_lock); // whoever waits has not tried yet, or is asleep by now
    }
    m_dropped.NotifyOne();
}

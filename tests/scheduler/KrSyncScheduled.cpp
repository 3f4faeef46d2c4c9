// Locks and conditions driven by the scheduler.
#include "platform/KrSync.h"

#include "tests/scheduler/KrScheduler.h"

#include <stdexcept>

using KrTest::CKrScheduler;
using KrTest::YieldToScheduler;

namespace
{
void Count(int change)
{
    if (CKrScheduler* const scheduler = CKrScheduler::Current())
        scheduler->CountLock(change);
}

bool TryLock(KrNativeRecursiveMutex& mutex)
{
    if (mutex.depth != 0 && mutex.holder != KrCurrentThread())
        return false;
    mutex.holder = KrCurrentThread();
    ++mutex.depth;
    Count(1);
    return true;
}

void Lock(KrNativeRecursiveMutex& mutex)
{
    while (!TryLock(mutex))
    {
        CKrScheduler* const scheduler = CKrScheduler::Current();
        if (scheduler == nullptr)
            throw std::logic_error("a lock that is never released");
        scheduler->WaitFor(&mutex);
    }
}

void Unlock(KrNativeRecursiveMutex& mutex)
{
    if (mutex.depth == 0 || mutex.holder != KrCurrentThread())
        throw std::logic_error("a lock that another thread holds");
    --mutex.depth;
    Count(-1);
    if (CKrScheduler* const scheduler = CKrScheduler::Current(); mutex.depth == 0 && scheduler != nullptr)
        scheduler->WakeAll(&mutex);
}
} // namespace

CKrMutex::CKrMutex() = default;
CKrMutex::~CKrMutex() = default;

void CKrMutex::lock()
{
    YieldToScheduler();
    if (m_native.depth != 0 && m_native.holder == KrCurrentThread())
        throw std::logic_error("a plain mutex locked twice");
    Lock(m_native);
}

void CKrMutex::unlock()
{
    Unlock(m_native);
    YieldToScheduler();
}

CKrRecursiveMutex::CKrRecursiveMutex() = default;
CKrRecursiveMutex::~CKrRecursiveMutex() = default;

void CKrRecursiveMutex::lock()
{
    YieldToScheduler();
    Lock(m_native);
}

bool CKrRecursiveMutex::try_lock()
{
    YieldToScheduler();
    return TryLock(m_native);
}

void CKrRecursiveMutex::unlock()
{
    Unlock(m_native);
    YieldToScheduler();
}

CKrCondition::CKrCondition() = default;
CKrCondition::~CKrCondition() = default;

void CKrCondition::NotifyOne()
{
    YieldToScheduler();
    if (CKrScheduler* const scheduler = CKrScheduler::Current())
        scheduler->WakeOne(&m_native);
}

void CKrCondition::NotifyAll()
{
    YieldToScheduler();
    if (CKrScheduler* const scheduler = CKrScheduler::Current())
        scheduler->WakeAll(&m_native);
}

void CKrCondition::WaitOnce(CKrMutex& mutex)
{
    CKrScheduler* const scheduler = CKrScheduler::Current();
    if (scheduler == nullptr)
        throw std::logic_error("a condition that is never notified");
    Unlock(mutex.m_native);
    scheduler->WaitFor(&m_native);
    Lock(mutex.m_native);
}

bool CKrCondition::WaitOnceFor(CKrMutex& mutex, uint32_t)
{
    CKrScheduler* const scheduler = CKrScheduler::Current();
    if (scheduler == nullptr)
        return false;
    Unlock(mutex.m_native);
    const bool woken = scheduler->WaitFor(&m_native, true);
    Lock(mutex.m_native);
    return woken;
}

uint64_t KrCurrentThread()
{
    const CKrScheduler* const scheduler = CKrScheduler::Current();
    return scheduler != nullptr ? scheduler->Activity() : UINT64_MAX; // the thread, outside of all activities
}

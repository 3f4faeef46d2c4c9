// Locks and conditions of Windows.
#include "platform/KrSync.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

static_assert(sizeof(SRWLOCK) == sizeof(KrNativeMutex));
static_assert(sizeof(CONDITION_VARIABLE) == sizeof(KrNativeCondition));
static_assert(sizeof(CRITICAL_SECTION) <= sizeof(KrNativeRecursiveMutex) &&
              alignof(CRITICAL_SECTION) <= alignof(KrNativeRecursiveMutex));

namespace
{
PSRWLOCK Of(KrNativeMutex& mutex)
{
    return reinterpret_cast<PSRWLOCK>(&mutex);
}

PCONDITION_VARIABLE ConditionOf(KrNativeCondition& condition)
{
    return reinterpret_cast<PCONDITION_VARIABLE>(&condition);
}

LPCRITICAL_SECTION Of(KrNativeRecursiveMutex& mutex)
{
    return reinterpret_cast<LPCRITICAL_SECTION>(mutex.criticalSection);
}
} // namespace

CKrMutex::CKrMutex() : m_native(nullptr) {}

CKrMutex::~CKrMutex() = default;

void CKrMutex::lock()
{
    AcquireSRWLockExclusive(Of(m_native));
}

void CKrMutex::unlock()
{
    ReleaseSRWLockExclusive(Of(m_native));
}

CKrRecursiveMutex::CKrRecursiveMutex()
{
    // Without the record for debuggers, which takes a block of the heap.
    InitializeCriticalSectionEx(Of(m_native), 0, CRITICAL_SECTION_NO_DEBUG_INFO);
}

CKrRecursiveMutex::~CKrRecursiveMutex()
{
    DeleteCriticalSection(Of(m_native));
}

void CKrRecursiveMutex::lock()
{
    EnterCriticalSection(Of(m_native));
}

bool CKrRecursiveMutex::try_lock()
{
    return TryEnterCriticalSection(Of(m_native));
}

void CKrRecursiveMutex::unlock()
{
    LeaveCriticalSection(Of(m_native));
}

CKrCondition::CKrCondition() : m_native(nullptr) {}

CKrCondition::~CKrCondition() = default;

void CKrCondition::NotifyOne()
{
    WakeConditionVariable(ConditionOf(m_native));
}

void CKrCondition::NotifyAll()
{
    WakeAllConditionVariable(ConditionOf(m_native));
}

void CKrCondition::WaitOnce(CKrMutex& mutex)
{
    SleepConditionVariableSRW(ConditionOf(m_native), Of(mutex.m_native), INFINITE, 0);
}

bool CKrCondition::WaitOnceFor(CKrMutex& mutex, uint32_t milliseconds)
{
    // INFINITE would wait for ever.
    const DWORD wait = milliseconds == INFINITE ? INFINITE - 1 : milliseconds;
    return SleepConditionVariableSRW(ConditionOf(m_native), Of(mutex.m_native), wait, 0);
}

uint64_t KrCurrentThread()
{
    return GetCurrentThreadId();
}

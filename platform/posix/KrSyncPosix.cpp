// Locks and conditions of POSIX systems.
#include "platform/KrSync.h"

#include <cerrno>
#include <ctime>

CKrMutex::CKrMutex() : m_native(PTHREAD_MUTEX_INITIALIZER) {}

CKrMutex::~CKrMutex()
{
    ::pthread_mutex_destroy(&m_native);
}

void CKrMutex::lock()
{
    ::pthread_mutex_lock(&m_native);
}

void CKrMutex::unlock()
{
    ::pthread_mutex_unlock(&m_native);
}

CKrRecursiveMutex::CKrRecursiveMutex()
{
    pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    ::pthread_mutex_init(&m_native, &attributes);
    ::pthread_mutexattr_destroy(&attributes);
}

CKrRecursiveMutex::~CKrRecursiveMutex()
{
    ::pthread_mutex_destroy(&m_native);
}

void CKrRecursiveMutex::lock()
{
    ::pthread_mutex_lock(&m_native);
}

bool CKrRecursiveMutex::try_lock()
{
    return ::pthread_mutex_trylock(&m_native) == 0;
}

void CKrRecursiveMutex::unlock()
{
    ::pthread_mutex_unlock(&m_native);
}

// The clock that timed waits count by must not jump when somebody sets the time of day.
CKrCondition::CKrCondition()
{
    pthread_condattr_t attributes;
    ::pthread_condattr_init(&attributes);
    ::pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    ::pthread_cond_init(&m_native, &attributes);
    ::pthread_condattr_destroy(&attributes);
}

CKrCondition::~CKrCondition()
{
    ::pthread_cond_destroy(&m_native);
}

void CKrCondition::NotifyOne()
{
    ::pthread_cond_signal(&m_native);
}

void CKrCondition::NotifyAll()
{
    ::pthread_cond_broadcast(&m_native);
}

void CKrCondition::WaitOnce(CKrMutex& mutex)
{
    ::pthread_cond_wait(&m_native, &mutex.m_native);
}

bool CKrCondition::WaitOnceFor(CKrMutex& mutex, uint32_t milliseconds)
{
    constexpr long kNanosecondsPerMillisecond = 1'000'000;
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    timespec end{};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += static_cast<time_t>(milliseconds / 1000);
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * kNanosecondsPerMillisecond;
    if (end.tv_nsec >= kNanosecondsPerSecond)
    {
        end.tv_nsec -= kNanosecondsPerSecond;
        ++end.tv_sec;
    }
    return ::pthread_cond_timedwait(&m_native, &mutex.m_native, &end) != ETIMEDOUT;
}

uint64_t KrCurrentThread()
{
    return static_cast<uint64_t>(::pthread_self());
}

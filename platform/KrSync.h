// Locks, conditions and atomics. The library uses these in place of the standard library's: mingw's recursive
// mutex never frees the memory and handles that it takes. Tests substitute others, which a seeded scheduler
// drives.
#ifndef KR_PLATFORM_KRSYNC_H
#define KR_PLATFORM_KRSYNC_H

#include "KrNativeSync.h" // KrNativeMutex, KrNativeRecursiveMutex, KrNativeCondition, KrAtomic

#include <chrono>
#include <cstdint>
#include <mutex>

// A plain mutex. Its operations have the names that std::lock_guard and std::unique_lock call.
class CKrMutex
{
public:
    CKrMutex();
    ~CKrMutex();
    CKrMutex(const CKrMutex&) = delete;
    CKrMutex& operator=(const CKrMutex&) = delete;

    void lock();
    void unlock();

private:
    friend class CKrCondition;

    KrNativeMutex m_native;
};

// A mutex that its holder may lock again. It may be destroyed while it is held, also by a thread that has
// ended.
class CKrRecursiveMutex
{
public:
    CKrRecursiveMutex();
    ~CKrRecursiveMutex();
    CKrRecursiveMutex(const CKrRecursiveMutex&) = delete;
    CKrRecursiveMutex& operator=(const CKrRecursiveMutex&) = delete;

    void lock();
    [[nodiscard]] bool try_lock();
    void unlock();

private:
    KrNativeRecursiveMutex m_native;
};

// A condition that threads wait for under a CKrMutex.
class CKrCondition
{
public:
    CKrCondition();
    ~CKrCondition();
    CKrCondition(const CKrCondition&) = delete;
    CKrCondition& operator=(const CKrCondition&) = delete;

    template <class Predicate>
    void Wait(std::unique_lock<CKrMutex>& guard, Predicate holds)
    {
        while (!holds())
            WaitOnce(*guard.mutex());
    }

    // Waits for so many milliseconds at most; answers whether the predicate holds.
    template <class Predicate>
    [[nodiscard]] bool WaitFor(std::unique_lock<CKrMutex>& guard, uint32_t milliseconds, Predicate holds)
    {
        using namespace std::chrono;
        const auto end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
        while (!holds())
        {
            const auto left = ceil<std::chrono::milliseconds>(end - steady_clock::now()).count();
            if (left <= 0 || !WaitOnceFor(*guard.mutex(), static_cast<uint32_t>(left)))
                return holds();
        }
        return true;
    }

    void NotifyOne();
    void NotifyAll();

private:
    // Both may return without a notification. WaitOnceFor answers false when the time is up.
    void WaitOnce(CKrMutex& mutex);
    [[nodiscard]] bool WaitOnceFor(CKrMutex& mutex, uint32_t milliseconds);

    KrNativeCondition m_native;
};

// A number for the calling thread that no other running thread has; never 0.
[[nodiscard]] uint64_t KrCurrentThread();

#endif

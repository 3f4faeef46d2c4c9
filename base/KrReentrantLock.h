// The library's re-entrant lock with its depth counter, and the scopes that hold it.
#ifndef KR_BASE_KRREENTRANTLOCK_H
#define KR_BASE_KRREENTRANTLOCK_H

#include "platform/KrSync.h"

#include <cstdint>

// A lock that its holder may enter again. The depth counts the entries; a Leave beyond them does nothing.
class CKrReentrantLock
{
public:
    CKrReentrantLock() = default;
    ~CKrReentrantLock(); // leaves what the calling thread still holds; no other thread may be inside
    CKrReentrantLock(const CKrReentrantLock&) = delete;
    CKrReentrantLock& operator=(const CKrReentrantLock&) = delete;

    void Enter();
    [[nodiscard]] bool TryEnter();
    void Leave(); // only by the thread that entered

    // Entries not yet left; only for the thread that has entered.
    [[nodiscard]] int32_t Depth() const { return m_depth; }

private:
    CKrRecursiveMutex m_mutex;
    int32_t m_depth = 0; // guarded by m_mutex
};

// Waits for the lock and holds it.
class CKrLockScope
{
public:
    explicit CKrLockScope(CKrReentrantLock& lock) : m_lock(lock) { m_lock.Enter(); }
    ~CKrLockScope() { m_lock.Leave(); }
    CKrLockScope(const CKrLockScope&) = delete;
    CKrLockScope& operator=(const CKrLockScope&) = delete;

private:
    CKrReentrantLock& m_lock;
};

// Waits for the lock and restores its earlier depth, even if code in between kept the lock on purpose.
class CKrBalancedLockScope
{
public:
    explicit CKrBalancedLockScope(CKrReentrantLock& lock) : m_lock(lock)
    {
        m_lock.Enter();
        m_depthBefore = m_lock.Depth() - 1;
    }
    ~CKrBalancedLockScope()
    {
        while (m_lock.Depth() > m_depthBefore + 1)
            m_lock.Leave();
        m_lock.Leave(); // after this another thread may own the depth
    }
    CKrBalancedLockScope(const CKrBalancedLockScope&) = delete;
    CKrBalancedLockScope& operator=(const CKrBalancedLockScope&) = delete;

private:
    CKrReentrantLock& m_lock;
    int32_t m_depthBefore = 0;
};

// Leaves a lock that the calling thread may have entered, and enters it again as often at the end. Only where
// no other thread enters it meanwhile.
class CKrUnlockedScope
{
public:
    explicit CKrUnlockedScope(CKrReentrantLock* lock)
        : m_lock(lock), m_depth(lock != nullptr ? lock->Depth() : 0)
    {
        for (int32_t left = m_depth; left > 0; --left)
            m_lock->Leave();
    }
    ~CKrUnlockedScope()
    {
        for (int32_t left = m_depth; left > 0; --left)
            m_lock->Enter();
    }
    CKrUnlockedScope(const CKrUnlockedScope&) = delete;
    CKrUnlockedScope& operator=(const CKrUnlockedScope&) = delete;

private:
    CKrReentrantLock* const m_lock; // null: none
    const int32_t m_depth;
};

// Tries the lock without waiting; check Entered() before using anything that the lock guards.
class CKrTryLockScope
{
public:
    explicit CKrTryLockScope(CKrReentrantLock& lock) : m_lock(lock), m_entered(lock.TryEnter()) {}
    ~CKrTryLockScope()
    {
        if (m_entered)
            m_lock.Leave();
    }
    CKrTryLockScope(const CKrTryLockScope&) = delete;
    CKrTryLockScope& operator=(const CKrTryLockScope&) = delete;

    [[nodiscard]] bool Entered() const { return m_entered; }

    // Ends the scope with the lock still held, for the exits that leave the reader locked for hosts.
    void LeaveTheLockHeldOnPurpose() { m_entered = false; }

private:
    CKrReentrantLock& m_lock;
    bool m_entered;
};

#endif

// Which threads are inside a host's callbacks.
#ifndef KR_BINDINGS_C_KRCALLBACKTHREADS_H
#define KR_BINDINGS_C_KRCALLBACKTHREADS_H

#include "base/KrReentrantLock.h"
#include "base/KrTurn.h"
#include "platform/KrSync.h"
#include "writer/KrCallers.h"

#include <cstdint>

// From where on a handle an operation may be called.
enum class EKrCallableFrom
{
    Outside,         // not from inside its callbacks
    ReleaseCallback, // from there and from outside
    Anywhere
};
inline constexpr EKrCallableFrom kOutside = EKrCallableFrom::Outside;

class CKrCallbackThreads
{
public:
    enum class EKind
    {
        InputOutput, // bytes are read or written
        Release      // a sample is given back
    };

    // The lock that whoever has the turn may have entered is left during callbacks. Set once, before any.
    void LeaveDuringCallbacks(CKrReentrantLock& lock, const CKrTurn& turn)
    {
        m_lock = &lock;
        m_turn = &turn;
    }

    // The calling thread is inside a callback while this exists, and holds no lock of the handle.
    class CScope
    {
    public:
        CScope(CKrCallbackThreads& threads, EKind kind)
            : m_unlocked(threads.EnteredLock()), m_running(threads.m_running), m_caller(threads.Callers(kind))
        {
        }

    private:
        struct SCount
        {
            explicit SCount(KrAtomic<uint32_t>& counted) : running(counted) { running.fetch_add(1); }
            ~SCount() { running.fetch_sub(1); }
            SCount(const SCount&) = delete;
            SCount& operator=(const SCount&) = delete;
            KrAtomic<uint32_t>& running;
        };

        const CKrUnlockedScope m_unlocked;
        const SCount m_running;
        const CKrCallers::CScope m_caller;
    };

    // Whether the calling thread may call an operation of that kind.
    [[nodiscard]] bool Permit(EKrCallableFrom callable)
    {
        if (m_running.load(std::memory_order_relaxed) == 0 || callable == EKrCallableFrom::Anywhere)
            return true; // a thread sees its own callback in the count
        return !m_inputOutput.HaveThisThread() &&
               (callable == EKrCallableFrom::ReleaseCallback || !m_release.HaveThisThread());
    }

private:
    // Null where the calling thread has entered none.
    [[nodiscard]] CKrReentrantLock* EnteredLock() const
    {
        return m_turn != nullptr && m_turn->IsMine() ? m_lock : nullptr;
    }
    [[nodiscard]] CKrCallers& Callers(EKind kind)
    {
        return kind == EKind::Release ? m_release : m_inputOutput;
    }

    CKrReentrantLock* m_lock = nullptr; // null: no callback runs under one
    const CKrTurn* m_turn = nullptr;
    KrAtomic<uint32_t> m_running = 0;
    CKrCallers m_inputOutput;
    CKrCallers m_release;
};

#endif

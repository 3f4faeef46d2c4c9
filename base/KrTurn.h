// A turn: one thread at a time has it, the others wait for it.
#ifndef KR_BASE_KRTURN_H
#define KR_BASE_KRTURN_H

#include "platform/KrSync.h"

#include <cstdint>

// For work that calls the host or waits for the disk. It is a state, not a mutex: whoever has the turn holds
// nothing meanwhile. std::lock_guard takes and drops it. No thread may take a turn that it has.
class CKrTurn
{
public:
    CKrTurn() = default;
    CKrTurn(const CKrTurn&) = delete;
    CKrTurn& operator=(const CKrTurn&) = delete;

    void lock()
    {
        if (!TryTake())
            WaitAndTake();
    }
    void unlock() // only by the thread that has it
    {
        m_thread = 0;
        if (m_waiting != 0)
            WakeOne();
    }

    // Takes it without waiting, or answers that it is taken.
    [[nodiscard]] bool TryTake();

    // Whether the calling thread has it.
    [[nodiscard]] bool IsMine() const;

private:
    void WaitAndTake();
    void WakeOne();

    KrAtomic<uint64_t> m_thread = 0; // that has it; 0: none
    KrAtomic<uint32_t> m_waiting = 0;
    CKrMutex m_lock; // held to wait and to wake; no lock follows
    CKrCondition m_dropped;
};

// Takes a turn unless the calling thread has it already.
class CKrTurnScope
{
public:
    explicit CKrTurnScope(CKrTurn& turn) : m_turn(turn.IsMine() ? nullptr : &turn)
    {
        if (m_turn != nullptr)
            m_turn->lock();
    }
    ~CKrTurnScope()
    {
        if (m_turn != nullptr)
            m_turn->unlock();
    }
    CKrTurnScope(const CKrTurnScope&) = delete;
    CKrTurnScope& operator=(const CKrTurnScope&) = delete;

private:
    CKrTurn* const m_turn;
};

#endif

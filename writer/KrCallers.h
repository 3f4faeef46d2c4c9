// Which threads are inside an operation that calls the host's samples.
#ifndef KR_WRITER_KRCALLERS_H
#define KR_WRITER_KRCALLERS_H

#include "platform/KrSync.h"

#include <cstdint>

// Distinguishes a call from inside a sample's operation from any other. Allocates nothing, so that it works
// when out of memory.
class CKrCallers
{
public:
    // Enters the calling thread while it exists; a thread may be entered several times.
    class CScope
    {
    public:
        explicit CScope(CKrCallers& callers) : m_callers(callers)
        {
            const std::lock_guard guard(m_callers.m_lock);
            m_next = m_callers.m_first;
            if (m_next != nullptr)
                m_next->m_before = this;
            m_callers.m_first = this;
        }
        ~CScope()
        {
            const std::lock_guard guard(m_callers.m_lock);
            (m_before != nullptr ? m_before->m_next : m_callers.m_first) = m_next;
            if (m_next != nullptr)
                m_next->m_before = m_before;
        }
        CScope(const CScope&) = delete;
        CScope& operator=(const CScope&) = delete;

    private:
        friend class CKrCallers;

        CKrCallers& m_callers;
        const uint64_t m_thread = KrCurrentThread();
        CScope* m_before = nullptr;
        CScope* m_next = nullptr;
    };

    [[nodiscard]] bool HaveThisThread() { return OfThisThread() != nullptr; }

    // What the calling thread entered last; null: nothing.
    [[nodiscard]] CScope* OfThisThread()
    {
        const uint64_t thread = KrCurrentThread();
        const std::lock_guard guard(m_lock);
        CScope* scope = m_first;
        while (scope != nullptr && scope->m_thread != thread)
            scope = scope->m_next;
        return scope;
    }

private:
    CKrMutex m_lock; // held for a few instructions; no lock follows
    CScope* m_first = nullptr;
};

#endif

// The lock of a writer's queue, and what is counted under it.
#ifndef KR_WRITER_KRQUEUEACCOUNT_H
#define KR_WRITER_KRQUEUEACCOUNT_H

#include "platform/KrSync.h"
#include "writer/KrRecordingStatus.h"
#include "writer/KrWriterSetup.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <utility>

// Samples count from their submission until they are released, wherever they lie meanwhile. The lock is held
// for a few instructions and never while a host's code runs; only that of the status follows it.
class CKrQueueAccount
{
public:
    explicit CKrQueueAccount(CKrRecordingStatus& status) : m_status(status) {}

    CKrMutex& Lock() { return m_lock; }

    // The following under the lock.
    void Enter(EKrStream stream, uint32_t length)
    {
        m_bytes += length;
        m_status.Queued(stream, length);
    }
    [[nodiscard]] uint64_t Bytes() const { return m_bytes; }

    // Waits until the predicate holds, which may change whenever samples leave or WakeAll is called; for so
    // many milliseconds at most.
    template <class Predicate>
    void WaitFor(std::unique_lock<CKrMutex>& guard, uint32_t milliseconds, bool forEver, Predicate holds)
    {
        ++m_waiting;
        if (forEver)
            m_changed.Wait(guard, holds);
        else
            static_cast<void>(m_changed.WaitFor(guard, milliseconds, holds));
        --m_waiting;
    }
    void WakeAll()
    {
        if (m_waiting > 0)
            m_changed.NotifyAll();
    }

    // Takes the lock. Samples of both streams together, so that who waits is woken once.
    struct SKrLeaving
    {
        uint64_t frames = 0;
        uint64_t audioChunks = 0;
        uint64_t bytes = 0;
    };
    void Leave(const SKrLeaving& leaving)
    {
        const std::lock_guard guard(m_lock);
        m_bytes -= leaving.bytes;
        m_status.Released(leaving.frames, leaving.audioChunks, leaving.bytes);
        WakeAll();
    }

private:
    CKrRecordingStatus& m_status;
    CKrMutex m_lock; // guards what follows
    CKrCondition m_changed;
    size_t m_waiting = 0;
    uint64_t m_bytes = 0;
};

// A sample's part of the account, until it ends or is handed over. Not to be destroyed under the account's
// lock.
class CKrQueueTicket
{
public:
    CKrQueueTicket() = default; // holds nothing
    ~CKrQueueTicket()
    {
        if (CKrQueueAccount* const account = m_account)
            account->Leave(HandOver());
    }
    CKrQueueTicket(CKrQueueTicket&& other) noexcept
        : m_account(std::exchange(other.m_account, nullptr)), m_stream(other.m_stream),
          m_length(other.m_length)
    {
    }
    CKrQueueTicket& operator=(CKrQueueTicket&&) = delete; // what it held would leave before its sample does

    // For a sample that the account has counted. The ticket held nothing before.
    void Hold(CKrQueueAccount& account, EKrStream stream, uint32_t length)
    {
        m_account = &account;
        m_stream = stream;
        m_length = length;
    }

    // What now is to be taken from the account by the caller: nothing when the ticket holds nothing.
    [[nodiscard]] CKrQueueAccount::SKrLeaving HandOver()
    {
        if (std::exchange(m_account, nullptr) == nullptr)
            return {};
        const bool isFrame = m_stream == EKrStream::Video;
        return {isFrame ? 1u : 0u, isFrame ? 0u : 1u, m_length};
    }

private:
    CKrQueueAccount* m_account = nullptr;
    EKrStream m_stream = EKrStream::Video;
    uint32_t m_length = 0;
};

#endif

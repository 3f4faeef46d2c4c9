#include "writer/KrFlusher.h"

#include <mutex>
#include <utility>

namespace
{
constexpr int kFlusherKind = 15; // as the writer's worker
}

bool CKrFlusher::Start(std::function<void()> flush)
{
    if (!m_thread)
    {
        IKrWorkerThread* thread = nullptr;
        if (m_createThread(kFlusherKind, &thread) == 0 || thread == nullptr)
            return false;
        m_thread = CKrRef<IKrWorkerThread>::Adopt(thread);
        m_thread->SetPriority(0);
        m_thread->UseDefaults();
        m_thread->SetWorkRoutine(&Run, this);
    }
    m_flush = std::move(flush);
    m_requested = false;
    m_stopping = false;
    m_started = m_thread->Start() != 0;
    return m_started;
}

void CKrFlusher::Request()
{
    {
        const std::lock_guard guard(m_lock);
        m_requested = true;
    }
    m_changed.NotifyOne();
}

void CKrFlusher::Stop()
{
    if (!std::exchange(m_started, false))
        return;
    {
        const std::lock_guard guard(m_lock);
        m_stopping = true;
    }
    m_changed.NotifyAll();
    m_thread->Stop();
    m_thread->WaitForEnd(kKrWaitForEver);
}

uint32_t CKrFlusher::Run(void* context, std::stop_token)
{
    static_cast<CKrFlusher*>(context)->Work();
    return 0;
}

void CKrFlusher::Work()
{
    for (;;)
    {
        {
            std::unique_lock guard(m_lock);
            m_changed.Wait(guard, [this] { return m_requested || m_stopping; });
            if (m_stopping)
                return;
            m_requested = false;
        }
        m_flush();
    }
}

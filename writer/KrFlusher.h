// Flushes beside the writing.
#ifndef KR_WRITER_KRFLUSHER_H
#define KR_WRITER_KRFLUSHER_H

#include "base/KrRef.h"
#include "platform/KrSync.h"
#include "siblings/KrKernel/KrWorkerThread.h"

#include <functional>
#include <stop_token>

// Runs one operation on a thread of its own whenever it is asked to, so that who asks never waits for it.
// What is asked for while it runs is done once more afterwards. Start, Stop and the destructor are for one
// thread at a time; Request may be called on another beside Stop.
class CKrFlusher
{
public:
    explicit CKrFlusher(int (*createThread)(int kind, IKrWorkerThread** out)) : m_createThread(createThread)
    {
    }
    ~CKrFlusher() { Stop(); }
    CKrFlusher(const CKrFlusher&) = delete;
    CKrFlusher& operator=(const CKrFlusher&) = delete;

    // `flush` must not throw. False when there is no thread to be had: requests then do nothing.
    [[nodiscard]] bool Start(std::function<void()> flush);

    void Request();

    // Waits for what is under way; what was asked for and has not begun is left out.
    void Stop();

private:
    static uint32_t Run(void* context, std::stop_token stop);
    void Work();

    int (*const m_createThread)(int kind, IKrWorkerThread** out);
    std::function<void()> m_flush;
    CKrRef<IKrWorkerThread> m_thread; // made for the first file that needs it
    bool m_started = false;

    CKrMutex m_lock; // guards what follows
    CKrCondition m_changed;
    bool m_requested = false;
    bool m_stopping = false;
};

#endif

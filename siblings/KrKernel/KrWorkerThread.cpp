#include "siblings/KrKernel/KrWorkerThread.h"

#include "base/KrObject.h"
#include "platform/KrSync.h"

#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

namespace
{
// Shared by the thread and its object: it outlives an object that is destroyed on its own thread.
struct SKrRun
{
    CKrMutex mutex;
    CKrCondition ended;
    bool running = false;   // guarded by mutex
    std::thread::id worker; // guarded by mutex
};

class CKrWorkerThread final : public CKrObject<IKrWorkerThread>
{
public:
    ~CKrWorkerThread() override
    {
        m_thread.request_stop();
        if (IsOnWorker())
            m_thread.detach();
    }

    int SetPriority(int) override { return 1; }
    int UseDefaults() override { return 1; }

    int SetWorkRoutine(KrWorkRoutine routine, void* context) override
    {
        m_routine = routine;
        m_context = context;
        return 1;
    }

    // The routine waits for the lock, so that it sees m_thread complete.
    int Start() override
    {
        const std::lock_guard guard(m_run->mutex);
        if (m_routine == nullptr || m_run->running)
            return 0;
        try
        {
            m_thread = std::jthread(&CKrWorkerThread::Run, m_run, m_routine, m_context);
        }
        catch (const std::system_error&)
        {
            return 0;
        }
        catch (const std::bad_alloc&)
        {
            return 0;
        }
        m_run->running = true;
        return 1;
    }

    void Stop() override { m_thread.request_stop(); }

    int WaitForEnd(uint32_t milliseconds) override
    {
        if (IsOnWorker())
            return 0;
        std::unique_lock guard(m_run->mutex);
        const auto hasEnded = [this]
        {
            return !m_run->running;
        };
        if (milliseconds != kKrWaitForEver)
            return m_run->ended.WaitFor(guard, milliseconds, hasEnded) ? 1 : 0;
        m_run->ended.Wait(guard, hasEnded);
        return 1;
    }

    int StopAndWait(uint32_t milliseconds) override
    {
        Stop();
        return WaitForEnd(milliseconds);
    }

private:
    static void Run(std::stop_token stop, std::shared_ptr<SKrRun> run, KrWorkRoutine routine, void* context)
    {
        {
            const std::lock_guard guard(run->mutex);
            run->worker = std::this_thread::get_id();
        }
        routine(context, std::move(stop));
        const std::lock_guard guard(run->mutex);
        run->running = false;
        run->worker = {};
        run->ended.NotifyAll();
    }

    bool IsOnWorker() const
    {
        const std::lock_guard guard(m_run->mutex);
        return m_run->worker == std::this_thread::get_id();
    }

    KrWorkRoutine m_routine = nullptr;
    void* m_context = nullptr;
    const std::shared_ptr<SKrRun> m_run = std::make_shared<SKrRun>();
    std::jthread m_thread; // joined by its destructor
};
} // namespace

int KrCreateWorkerThread(int, IKrWorkerThread** out)
{
    if (out == nullptr)
        return 0;
    try
    {
        *out = new CKrWorkerThread;
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
    return 1;
}

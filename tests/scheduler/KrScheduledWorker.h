// A worker thread implemented as an activity of the scheduler.
#ifndef KR_TESTS_SCHEDULER_KRSCHEDULEDWORKER_H
#define KR_TESTS_SCHEDULER_KRSCHEDULEDWORKER_H

#include "base/KrObject.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "tests/scheduler/KrScheduler.h"

#include <memory>
#include <stop_token>

namespace KrTest
{
class CKrScheduledWorker final : public CKrObject<IKrWorkerThread>
{
public:
    static int Create(int, IKrWorkerThread** out)
    {
        *out = new CKrScheduledWorker;
        return 1;
    }

    int SetPriority(int) override { return 1; }
    int UseDefaults() override { return 1; }

    int SetWorkRoutine(KrWorkRoutine routine, void* context) override
    {
        m_routine = routine;
        m_context = context;
        return 1;
    }

    int Start() override
    {
        CKrScheduler* const scheduler = CKrScheduler::Current();
        if (scheduler == nullptr)
            return 0;
        m_stop = std::stop_source();
        *m_running = true;
        scheduler->Add(
            [scheduler, running = m_running, routine = m_routine, context = m_context,
             stop = m_stop.get_token()]
            {
                routine(context, stop);
                *running = false;
                scheduler->WakeAll(running.get());
            });
        return 1;
    }

    void Stop() override { m_stop.request_stop(); }

    int WaitForEnd(uint32_t) override
    {
        const std::shared_ptr<bool> running = m_running;
        while (*running)
            CKrScheduler::Current()->WaitFor(running.get());
        return 1;
    }

    int StopAndWait(uint32_t milliseconds) override
    {
        Stop();
        return WaitForEnd(milliseconds);
    }

private:
    KrWorkRoutine m_routine = nullptr;
    void* m_context = nullptr;
    std::stop_source m_stop;
    std::shared_ptr<bool> m_running = std::make_shared<bool>(false);
};
} // namespace KrTest

#endif

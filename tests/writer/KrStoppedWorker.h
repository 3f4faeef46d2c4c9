// A worker thread that does nothing until it is stopped, and then runs on the thread that waits for it.
#ifndef KR_TESTS_WRITER_KRSTOPPEDWORKER_H
#define KR_TESTS_WRITER_KRSTOPPEDWORKER_H

#include "base/KrObject.h"
#include "siblings/KrKernel/KrWorkerThread.h"

#include <cstdint>
#include <stop_token>
#include <string>

namespace KrTest
{
// All submissions wait in the queue until the file is closed. The log records the calls.
class CKrStoppedWorker final : public CKrObject<IKrWorkerThread>
{
public:
    static inline std::string s_log;
    static inline bool s_refusesToStart = false;

    // For SKrWriterServices.
    static int Create(int kind, IKrWorkerThread** out)
    {
        s_log.reserve(10'000); // the rest may run while out of memory
        s_log += "create " + std::to_string(kind) + ", ";
        *out = new CKrStoppedWorker;
        return 1;
    }

    ~CKrStoppedWorker() override { s_log += "destroy"; }

    int SetPriority(int priority) override
    {
        s_log += "priority " + std::to_string(priority) + ", ";
        return 1;
    }

    int UseDefaults() override
    {
        s_log += "defaults, ";
        return 1;
    }

    int SetWorkRoutine(KrWorkRoutine routine, void* context) override
    {
        s_log += "routine, ";
        m_routine = routine;
        m_context = context;
        return 1;
    }

    int Start() override
    {
        s_log += "start, ";
        m_started = !s_refusesToStart;
        m_stop = std::stop_source();
        return m_started ? 1 : 0;
    }

    void Stop() override { s_log += "stop, "; }

    int WaitForEnd(uint32_t milliseconds) override
    {
        s_log += milliseconds == kKrWaitForEver ? "wait for ever, " : "wait, ";
        if (m_started)
        {
            m_stop.request_stop();
            m_routine(m_context, m_stop.get_token());
        }
        m_started = false;
        return 1;
    }

    int StopAndWait(uint32_t milliseconds) override
    {
        s_log += "stop and wait " + std::to_string(milliseconds) + ", ";
        return 1;
    }

private:
    KrWorkRoutine m_routine = nullptr;
    void* m_context = nullptr;
    bool m_started = false;
    std::stop_source m_stop;
};
} // namespace KrTest

#endif

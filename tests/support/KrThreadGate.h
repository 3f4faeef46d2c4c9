// A gate that stops a thread at a known place while a test checks other threads.
#ifndef KR_TESTS_SUPPORT_KRTHREADGATE_H
#define KR_TESTS_SUPPORT_KRTHREADGATE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace KrTest
{
// Closed at first. Typical use: a hook before each read calls Pass on the worker's thread, the test waits for
// the arrival, makes the calls that must be refused meanwhile, opens the gate and joins the worker.
class CKrThreadGate
{
public:
    // Reports the arrival and waits until the gate is open.
    void Pass()
    {
        std::unique_lock lock(m_mutex);
        ++m_arrivals;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_open; });
    }

    // Waits until `count` threads have arrived (including those let through); false on timeout.
    [[nodiscard]] bool WaitForArrival(size_t count = 1,
                                      std::chrono::milliseconds timeout = std::chrono::seconds(30))
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_arrivals >= count; });
    }

    // Lets all waiting and later threads through.
    void Open()
    {
        const std::scoped_lock lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    // Stops threads that arrive from now on.
    void Close()
    {
        const std::scoped_lock lock(m_mutex);
        m_open = false;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    size_t m_arrivals = 0;
    bool m_open = false;
};

// Opens the gate when the scope ends, so that a failed assertion in between does not leave the other thread
// waiting. Declare it after the waiting thread, so that it opens before the join.
class CKrGateOpener
{
public:
    explicit CKrGateOpener(CKrThreadGate& gate) : m_gate(gate) {}
    ~CKrGateOpener() { m_gate.Open(); }
    CKrGateOpener(const CKrGateOpener&) = delete;
    CKrGateOpener& operator=(const CKrGateOpener&) = delete;

private:
    CKrThreadGate& m_gate;
};
} // namespace KrTest

#endif

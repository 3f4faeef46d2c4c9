// A gate that stops a thread at a known place while a test looks at what other threads see.
#ifndef KR_TESTS_SUPPORT_KRTHREADGATE_H
#define KR_TESTS_SUPPORT_KRTHREADGATE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace KrTest
{
// Closed at first. Typical use: a hook before each read calls Pass on the worker's thread, the test waits for
// the arrival, does what must be refused meanwhile, opens the gate and joins the worker.
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

    // Waits until `count` threads have arrived (those let through included); false when the time ran out.
    [[nodiscard]] bool WaitForArrival(size_t count = 1,
                                      std::chrono::milliseconds timeout = std::chrono::seconds(30))
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_arrivals >= count; });
    }

    // Lets all threads through that wait or will come.
    void Open()
    {
        const std::scoped_lock lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    // Stops threads that come from now on.
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
// waiting. Declared behind the thread that waits, whose join then comes after.
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

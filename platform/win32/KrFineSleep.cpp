#include "platform/win32/KrFineSleep.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <atomic>

#if !defined(CREATE_WAITABLE_TIMER_HIGH_RESOLUTION)
#define CREATE_WAITABLE_TIMER_HIGH_RESOLUTION 0x00000002
#endif

namespace
{
constexpr int64_t kTimerUnitsPerMillisecond = 10'000; // of 100 ns

// The moment when a sleep may end. Waits of the system can end before their time by up to a tick.
class CWakeTime
{
public:
    explicit CWakeTime(uint32_t milliseconds)
    {
        LARGE_INTEGER frequency{};
        QueryPerformanceFrequency(&frequency);
        m_frequency = frequency.QuadPart;
        m_end =
            Now() + m_frequency * (milliseconds / 1000) + (m_frequency * (milliseconds % 1000) + 999) / 1000;
    }

    // In units of 100 ns, rounded up; 0 or less when it has passed.
    [[nodiscard]] int64_t TimerUnitsLeft() const
    {
        const int64_t left = m_end - Now();
        const int64_t unitsPerSecond = kTimerUnitsPerMillisecond * 1000;
        return left / m_frequency * unitsPerSecond +
               (left % m_frequency * unitsPerSecond + m_frequency - 1) / m_frequency;
    }

private:
    static int64_t Now()
    {
        LARGE_INTEGER now{};
        QueryPerformanceCounter(&now);
        return now.QuadPart;
    }

    int64_t m_frequency;
    int64_t m_end;
};

// A timer of the calling sleep alone; null where the system has none that is fine enough.
class CTimer
{
public:
    CTimer()
        : m_handle(CreateWaitableTimerExW(nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION,
                                          TIMER_MODIFY_STATE | SYNCHRONIZE))
    {
    }
    ~CTimer()
    {
        if (m_handle != nullptr)
            CloseHandle(m_handle);
    }
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;

    [[nodiscard]] bool Wait(int64_t timerUnits) const
    {
        LARGE_INTEGER due{};
        due.QuadPart = -timerUnits; // from now on
        return m_handle != nullptr && SetWaitableTimer(m_handle, &due, 0, nullptr, nullptr, FALSE) &&
               WaitForSingleObject(m_handle, INFINITE) == WAIT_OBJECT_0;
    }

private:
    HANDLE m_handle;
};

// The system's multimedia library, loaded when it is first needed and never freed: most systems never need
// it.
HMODULE MultimediaLibrary()
{
    static std::atomic<HMODULE> loaded = nullptr;
    HMODULE library = loaded;
    if (library == nullptr)
    {
        library = LoadLibraryExW(L"winmm.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
        HMODULE others = nullptr;
        if (library != nullptr && !loaded.compare_exchange_strong(others, library))
            FreeLibrary(library); // the other thread's reference keeps it
    }
    return library;
}

// While it lives the system's ticks are 1 ms apart, if the system can do that.
class CFineTicks
{
public:
    CFineTicks() { Call("timeBeginPeriod"); }
    ~CFineTicks() { Call("timeEndPeriod"); }
    CFineTicks(const CFineTicks&) = delete;
    CFineTicks& operator=(const CFineTicks&) = delete;

private:
    static void Call(const char* name)
    {
        using KrSetPeriod = UINT(WINAPI*)(UINT milliseconds);
        const HMODULE library = MultimediaLibrary();
        if (library == nullptr)
            return;
        if (const FARPROC function = GetProcAddress(library, name))
            reinterpret_cast<KrSetPeriod>(reinterpret_cast<void*>(function))(1);
    }
};
} // namespace

bool KrSleepByTimer(uint32_t milliseconds)
{
    const CWakeTime end(milliseconds);
    const CTimer timer;
    for (int64_t left = end.TimerUnitsLeft(); left > 0; left = end.TimerUnitsLeft())
    {
        if (!timer.Wait(left))
            return false;
    }
    return true;
}

void KrSleepByTicks(uint32_t milliseconds)
{
    const CWakeTime end(milliseconds);
    const CFineTicks fineTicks;
    for (int64_t left = end.TimerUnitsLeft(); left > 0; left = end.TimerUnitsLeft())
    {
        const int64_t wait = (left + kTimerUnitsPerMillisecond - 1) / kTimerUnitsPerMillisecond;
        ::Sleep(static_cast<DWORD>(std::min<int64_t>(wait, INFINITE - 1)));
    }
}

void KrSleepFinely(uint32_t milliseconds)
{
    if (milliseconds != 0 && !KrSleepByTimer(milliseconds))
        KrSleepByTicks(milliseconds);
}

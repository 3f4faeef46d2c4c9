// Time of Windows.
#include "platform/KrPlatform.h"
#include "platform/win32/KrFineSleep.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <type_traits>

namespace
{
class CWin32Clock final : public IKrClock
{
public:
    // Not the system's own tick count, which moves in steps of 15.6 ms: a pace of 5 ms needs finer ones.
    uint32_t TickCount() override
    {
        const int64_t frequency = PerformanceFrequency();
        const int64_t now = PerformanceCounter();
        return static_cast<uint32_t>(now / frequency * 1000 + now % frequency * 1000 / frequency);
    }

    int64_t PerformanceCounter() override
    {
        LARGE_INTEGER value{};
        QueryPerformanceCounter(&value);
        return value.QuadPart;
    }

    int64_t PerformanceFrequency() override
    {
        LARGE_INTEGER value{};
        QueryPerformanceFrequency(&value);
        return value.QuadPart;
    }

    void Sleep(uint32_t milliseconds) override { KrSleepFinely(milliseconds); }
};
} // namespace

IKrClock& KrPlatform::OsClock()
{
    static CWin32Clock clock;
    static_assert(std::is_trivially_destructible_v<CWin32Clock>, "hosts may come while the process ends");
    return clock;
}

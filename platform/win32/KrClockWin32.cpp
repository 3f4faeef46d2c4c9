// Time of Windows.
#include "platform/KrPlatform.h"
#include "platform/win32/KrFineSleep.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace
{
class CWin32Clock final : public IKrClock
{
public:
    uint32_t TickCount() override { return GetTickCount(); }

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
    return clock;
}

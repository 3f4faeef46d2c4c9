// Time of POSIX systems.
#include "platform/KrPlatform.h"

#include <chrono>
#include <thread>
#include <type_traits>

namespace
{
class CPosixClock final : public IKrClock
{
public:
    uint32_t TickCount() override { return static_cast<uint32_t>(SinceStart<std::chrono::milliseconds>()); }

    int64_t PerformanceCounter() override { return SinceStart<std::chrono::nanoseconds>(); }
    int64_t PerformanceFrequency() override { return 1'000'000'000; }

    void Sleep(uint32_t milliseconds) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }

private:
    template <class Unit>
    static int64_t SinceStart()
    {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<Unit>(now).count();
    }
};
} // namespace

IKrClock& KrPlatform::OsClock()
{
    static CPosixClock clock;
    static_assert(std::is_trivially_destructible_v<CPosixClock>, "hosts may come while the process ends");
    return clock;
}

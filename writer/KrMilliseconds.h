// Time in milliseconds, finer than a host's tick count may be.
#ifndef KR_WRITER_KRMILLISECONDS_H
#define KR_WRITER_KRMILLISECONDS_H

#include "platform/KrPlatform.h"

#include <cstdint>

// Of the performance counter: for differences.
inline uint64_t NowMs(IKrClock& clock)
{
    const auto frequency = static_cast<uint64_t>(clock.PerformanceFrequency());
    const auto now = static_cast<uint64_t>(clock.PerformanceCounter());
    return now / frequency * 1000 + now % frequency * 1000 / frequency; // no product overflows
}

#endif

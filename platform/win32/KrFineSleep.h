// Sleeps that end within about a millisecond of their time. The system's own Sleep ends at a tick, and ticks
// are 15.6 ms apart by default.
#ifndef KR_PLATFORM_WIN32_KRFINESLEEP_H
#define KR_PLATFORM_WIN32_KRFINESLEEP_H

#include <cstdint>

// Never shorter than asked for. From any number of threads; nothing is kept open.
void KrSleepFinely(uint32_t milliseconds);

// The two ways of doing so. The timer answers false, without having waited, where the system has no such
// timers (before Windows 10 of 2018). The other makes all ticks of the system 1 ms apart meanwhile.
[[nodiscard]] bool KrSleepByTimer(uint32_t milliseconds);
void KrSleepByTicks(uint32_t milliseconds);

#endif

// What locks and conditions are made of on Windows. The system's own types stay out of this header, and with
// them <windows.h>.
#ifndef KR_PLATFORM_WIN32_KRNATIVESYNC_H
#define KR_PLATFORM_WIN32_KRNATIVESYNC_H

#include <atomic>
#include <cstddef>

using KrNativeMutex = void*;     // SRWLOCK: owns no memory and no handle
using KrNativeCondition = void*; // CONDITION_VARIABLE: likewise

struct KrNativeRecursiveMutex
{
    alignas(void*) std::byte criticalSection[40];
};

template <class Value>
using KrAtomic = std::atomic<Value>;

#endif

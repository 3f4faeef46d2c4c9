// What locks and conditions are made of on POSIX systems.
#ifndef KR_PLATFORM_POSIX_KRNATIVESYNC_H
#define KR_PLATFORM_POSIX_KRNATIVESYNC_H

#include <pthread.h>

#include <atomic>

using KrNativeMutex = pthread_mutex_t;
using KrNativeRecursiveMutex = pthread_mutex_t;
using KrNativeCondition = pthread_cond_t;

template <class Value>
using KrAtomic = std::atomic<Value>;

#endif

// The primitives of locks, conditions and atomics under the scheduler. Included in place of the platform's
// own header.
#ifndef KR_TESTS_SCHEDULER_KRNATIVESYNC_H
#define KR_TESTS_SCHEDULER_KRNATIVESYNC_H

#include "tests/scheduler/KrScheduler.h"

#include <cstdint>

// The holder is a thread's number while the depth is not 0.
struct KrNativeRecursiveMutex
{
    uint64_t holder = 0;
    uint32_t depth = 0;
};

using KrNativeMutex = KrNativeRecursiveMutex;

struct KrNativeCondition
{
    bool isWaitedFor = false; // an object with a unique address
};

// A value whose accesses are switch points. Only one activity executes at a time.
template <class Value>
class KrAtomic
{
public:
    constexpr KrAtomic() = default;
    constexpr KrAtomic(Value value) : m_value(value) {}
    KrAtomic(const KrAtomic&) = delete;
    KrAtomic& operator=(const KrAtomic&) = delete;

    template <class... Order>
    Value load(Order...) const
    {
        KrTest::YieldToScheduler();
        return m_value;
    }

    template <class... Order>
    void store(Value value, Order...)
    {
        KrTest::YieldToScheduler();
        m_value = value;
    }

    template <class... Order>
    Value exchange(Value value, Order...)
    {
        KrTest::YieldToScheduler();
        return std::exchange(m_value, value);
    }

    Value fetch_add(Value value)
    {
        KrTest::YieldToScheduler();
        return std::exchange(m_value, m_value + value);
    }

    Value fetch_sub(Value value)
    {
        KrTest::YieldToScheduler();
        return std::exchange(m_value, m_value - value);
    }

    bool compare_exchange_weak(Value& expected, Value value)
    {
        KrTest::YieldToScheduler();
        const bool isAsExpected = m_value == expected;
        (isAsExpected ? m_value : expected) = isAsExpected ? value : m_value;
        return isAsExpected;
    }

    operator Value() const { return load(); }
    Value operator=(Value value)
    {
        store(value);
        return value;
    }
    Value operator++() { return fetch_add(1) + 1; }
    Value operator--() { return fetch_sub(1) - 1; }

private:
    Value m_value{};
};

#endif

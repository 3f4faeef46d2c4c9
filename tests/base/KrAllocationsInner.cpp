// The inner test program's own allocation functions: they fail on demand, and count.
#include "platform/KrLargePages.h"
#include "tests/base/KrAllocationMeter.h"
#include "tests/base/KrFailingAllocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace
{
thread_local unsigned t_failingAllocation = 0;
std::atomic<size_t> g_bytes = 0;
std::atomic<size_t> g_mostBytes = 0;

size_t SizeOf(void* memory)
{
#if defined(_WIN32)
    return _msize(memory);
#else
    return malloc_usable_size(memory);
#endif
}

void FailIfAsked()
{
    if (t_failingAllocation != 0 && --t_failingAllocation == 0)
        throw std::bad_alloc();
}

void CountNew(void* memory)
{
    const size_t bytes = g_bytes += SizeOf(memory);
    size_t most = g_mostBytes;
    while (most < bytes && !g_mostBytes.compare_exchange_weak(most, bytes))
    {
    }
}
} // namespace

unsigned& KrTest::FailingAllocation()
{
    return t_failingAllocation;
}

KrTest::CKrAllocationMeter::CKrAllocationMeter() : m_before(g_bytes), m_pagesBefore(KrLargePageUse().now)
{
    g_mostBytes = m_before;
    KrStartOverLargePageUse();
}

size_t KrTest::CKrAllocationMeter::Most() const
{
    return g_mostBytes - m_before + (KrLargePageUse().most - m_pagesBefore);
}

size_t KrTest::CKrAllocationMeter::Now() const
{
    const size_t bytes = g_bytes + KrLargePageUse().now;
    const size_t before = m_before + m_pagesBefore;
    return bytes > before ? bytes - before : 0;
}

void* operator new(size_t size)
{
    FailIfAsked();
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr)
        throw std::bad_alloc();
    CountNew(memory);
    return memory;
}

void operator delete(void* memory) noexcept
{
    if (memory != nullptr)
        g_bytes -= SizeOf(memory);
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    operator delete(memory);
}

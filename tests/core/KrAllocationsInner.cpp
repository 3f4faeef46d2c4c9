// The inner test program's own allocation functions: they fail on demand, and count.
#include "tests/core/KrAllocationMeter.h"
#include "tests/core/KrFailingAllocation.h"

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

#if defined(_WIN32)
void* AlignedAllocation(size_t size, size_t alignment)
{
    return _aligned_malloc(size, alignment);
}

size_t SizeOfAligned(void* memory, size_t alignment)
{
    return _aligned_msize(memory, alignment, 0);
}

void FreeAligned(void* memory)
{
    _aligned_free(memory);
}
#else
void* AlignedAllocation(size_t size, size_t alignment)
{
    void* memory = nullptr;
    return posix_memalign(&memory, alignment, size) == 0 ? memory : nullptr;
}

size_t SizeOfAligned(void* memory, size_t)
{
    return malloc_usable_size(memory);
}

void FreeAligned(void* memory)
{
    std::free(memory);
}
#endif

void FailIfAsked()
{
    if (t_failingAllocation != 0 && --t_failingAllocation == 0)
        throw std::bad_alloc();
}

void CountNew(size_t added)
{
    const size_t bytes = g_bytes += added;
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

KrTest::CKrAllocationMeter::CKrAllocationMeter() : m_before(g_bytes)
{
    g_mostBytes = m_before;
}

size_t KrTest::CKrAllocationMeter::Most() const
{
    return g_mostBytes - m_before;
}

size_t KrTest::CKrAllocationMeter::Now() const
{
    const size_t bytes = g_bytes;
    return bytes > m_before ? bytes - m_before : 0;
}

void* operator new(size_t size)
{
    FailIfAsked();
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr)
        throw std::bad_alloc();
    CountNew(SizeOf(memory));
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

void* operator new(size_t size, std::align_val_t alignment)
{
    FailIfAsked();
    void* const memory = AlignedAllocation(size != 0 ? size : 1, static_cast<size_t>(alignment));
    if (memory == nullptr)
        throw std::bad_alloc();
    CountNew(SizeOfAligned(memory, static_cast<size_t>(alignment)));
    return memory;
}

void operator delete(void* memory, std::align_val_t alignment) noexcept
{
    if (memory != nullptr)
        g_bytes -= SizeOfAligned(memory, static_cast<size_t>(alignment));
    FreeAligned(memory);
}

void operator delete(void* memory, size_t, std::align_val_t alignment) noexcept
{
    operator delete(memory, alignment);
}

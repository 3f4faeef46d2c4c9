#include "platform/KrLargePages.h"

#include <atomic>
#include <cstdint>

#include <sys/mman.h>

namespace
{
constexpr size_t kLargePage = size_t{2} << 20;
std::atomic<size_t> g_taken = 0;
std::atomic<size_t> g_mostTaken = 0;

size_t WholePages(size_t size)
{
    return (size + kLargePage - 1) / kLargePage * kLargePage;
}

void CountTaken(size_t bytes)
{
    const size_t taken = g_taken += bytes;
    size_t most = g_mostTaken;
    while (most < taken && !g_mostTaken.compare_exchange_weak(most, taken))
    {
    }
}
} // namespace

size_t KrLargePageSize()
{
    return kLargePage;
}

void* KrTakeLargePages(size_t size)
{
    if (size > SIZE_MAX - 2 * kLargePage)
        return nullptr;
    const size_t pages = WholePages(size);
    void* const mapping =
        ::mmap(nullptr, pages + kLargePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED)
        return nullptr;
    auto* const start = static_cast<uint8_t*>(mapping);
    const size_t before = (kLargePage - reinterpret_cast<uintptr_t>(start) % kLargePage) % kLargePage;
    if (before != 0)
        ::munmap(start, before);
    ::munmap(start + before + pages, kLargePage - before);
    ::madvise(start + before, pages, MADV_HUGEPAGE);
    CountTaken(pages);
    return start + before;
}

void KrGiveLargePagesBack(void* block, size_t size)
{
    ::munmap(block, WholePages(size));
    g_taken -= WholePages(size);
}

SKrLargePageUse KrLargePageUse()
{
    return {g_taken, g_mostTaken};
}

void KrStartOverLargePageUse()
{
    g_mostTaken = g_taken.load();
}

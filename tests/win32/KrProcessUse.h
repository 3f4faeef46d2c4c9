// System resources held by the process, and threads not created by the compiler's runtime.
#ifndef KR_TESTS_WIN32_KRPROCESSUSE_H
#define KR_TESTS_WIN32_KRPROCESSUSE_H

#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <utility>

namespace KrTest
{
struct SKrProcessUse
{
    long blocks = 0; // of all heaps
    long handles = 0;
};

inline long BusyBlocks(HANDLE heap)
{
    long blocks = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry))
        blocks += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? 1 : 0;
    HeapUnlock(heap);
    return blocks;
}

inline long OpenHandles()
{
    DWORD handles = 0;
    EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &handles));
    if (handles != 0)
        return static_cast<long>(handles);
    // Wine does not count them: every possible handle value is queried.
    constexpr uintptr_t kMostHandles = 20'000;
    long open = 0;
    for (uintptr_t number = 1; number <= kMostHandles; ++number)
    {
        DWORD flags = 0;
        open += GetHandleInformation(reinterpret_cast<HANDLE>(4 * number), &flags) ? 1 : 0;
    }
    return open;
}

inline SKrProcessUse ProcessUse()
{
    std::array<HANDLE, 64> heaps{};
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    EXPECT_LE(count, heaps.size());
    SKrProcessUse use;
    for (DWORD number = 0; number < count && number < heaps.size(); ++number)
        use.blocks += BusyBlocks(heaps[number]);
    use.handles = OpenHandles();
    return use;
}

// Runs the work once with few rounds, for resources kept from the first use on, and then expects that many
// rounds leave nothing behind. The constant allows for resources that the runtime and the system cache.
inline void ExpectNothingLeft(int rounds, const std::function<void(int rounds)>& work)
{
    constexpr long kBlocksOfTheRuntime = 60;
    constexpr long kHandlesOfTheRuntime = 10;
    constexpr int kWarmUpRounds = 20;
    work(kWarmUpRounds);
    const SKrProcessUse before = ProcessUse();
    work(rounds);
    const SKrProcessUse after = ProcessUse();
    EXPECT_LE(after.blocks - before.blocks, kBlocksOfTheRuntime);
    EXPECT_LE(after.handles - before.handles, kHandlesOfTheRuntime);
    testing::Test::RecordProperty("blocks", static_cast<int>(after.blocks - before.blocks));
    testing::Test::RecordProperty("handles", static_cast<int>(after.handles - before.handles));
}

// A thread like a host's. Joined by its destructor.
class CKrHostThread
{
public:
    explicit CKrHostThread(std::function<void()> work)
        : m_work(std::move(work)), m_handle(CreateThread(nullptr, 0, &Run, this, 0, nullptr))
    {
        EXPECT_NE(m_handle, nullptr);
    }
    ~CKrHostThread()
    {
        WaitForSingleObject(m_handle, INFINITE);
        CloseHandle(m_handle);
    }
    CKrHostThread(const CKrHostThread&) = delete;
    CKrHostThread& operator=(const CKrHostThread&) = delete;

private:
    static DWORD WINAPI Run(void* self)
    {
        static_cast<CKrHostThread*>(self)->m_work();
        return 0;
    }

    std::function<void()> m_work;
    HANDLE m_handle; // after m_work, which the thread calls
};
} // namespace KrTest

#endif

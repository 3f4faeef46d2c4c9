// The reader cache and its lock with threads that are stopped at known places.
#include "platform/KrUnloadHook.h"
#include "tests/riffutils/KrHookedFileSystem.h"
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrThreadGate.h"

#include <chrono>
#include <future>
#include <vector>

using namespace KrTest;
using namespace std::chrono_literals;

namespace
{
// Long enough for a thread that does not wait to finish, short enough for a test.
constexpr auto kAWhile = 100ms;
// Long enough that only a thread that waits for ever has not finished.
constexpr auto kLong = 30s;

// Files a.avi and b.avi with the scan modes 0 and 1.
class ReaderCacheThreads : public testing::Test
{
protected:
    ReaderCacheThreads()
    {
        KrRiffUtils::ClearCache(nullptr);
        m_files.Set(L"a.avi", BuildSimpleAvi(SmallAviWithKrlA(0)).content);
        m_files.Set(L"b.avi", BuildSimpleAvi(SmallAviWithKrlA(1)).content);
    }
    ~ReaderCacheThreads() override { KrRiffUtils::ClearCache(nullptr); }

    // From now on, a thread that opens this path stops at the gate, with the cache locked.
    void StopOpensOf(const std::wstring& stopped)
    {
        m_hooked.beforeOpen = [this, stopped](const std::wstring& path)
        {
            if (path == stopped)
                m_gate.Pass();
        };
    }

    // From now on, a thread that reads from a file stops at the gate.
    void StopReads()
    {
        m_faulty.SetBeforeRead([this](const SKrReadRequest&) { m_gate.Pass(); });
    }

    uint64_t Opens() const { return m_counting.Calls().opens; }
    uint64_t OpenFiles() const { return m_counting.Calls().openFiles; }

    CKrThreadGate m_gate;
    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    CKrCountingFileSystem m_counting{m_faulty};
    CKrHookedFileSystem m_hooked{m_counting};
    KrPlatform::CFileSystemScope m_scope{m_hooked};
};

std::future<SKrModeAnswer> AskAside(const wchar_t* path)
{
    return std::async(std::launch::async, [path] { return AskMode(path); });
}

std::future<int> ClearAside(const wchar_t* path)
{
    return std::async(std::launch::async, [path] { return KrRiffUtils::ClearCache(path); });
}
} // namespace

TEST_F(ReaderCacheThreads, TwoThreadsWithOneNewPath_OpenItOnce)
{
    StopOpensOf(L"a.avi");
    std::future<SKrModeAnswer> first = AskAside(L"a.avi");
    const bool arrived = m_gate.WaitForArrival();
    std::future<SKrModeAnswer> second = AskAside(L"a.avi");
    EXPECT_EQ(second.wait_for(kAWhile), std::future_status::timeout);
    EXPECT_EQ(Opens(), 0u); // counted after the gate
    m_gate.Open();
    EXPECT_TRUE(arrived);
    EXPECT_EQ(first.get(), Mode(0));
    EXPECT_EQ(second.get(), Mode(0));
    EXPECT_EQ(Opens(), 1u);
}

TEST_F(ReaderCacheThreads, ManyThreadsWithOneNewPath_OpenItOnce)
{
    std::vector<std::future<SKrModeAnswer>> answers;
    for (int index = 0; index < 8; ++index)
        answers.push_back(AskAside(L"a.avi"));
    for (std::future<SKrModeAnswer>& answer : answers)
        EXPECT_EQ(answer.get(), Mode(0));
    EXPECT_EQ(Opens(), 1u);
}

TEST_F(ReaderCacheThreads, WhileAFileIsBeingOpened_OtherPathsAndClearsWait)
{
    EXPECT_EQ(AskMode(L"b.avi"), Mode(1));
    StopOpensOf(L"a.avi");
    std::future<SKrModeAnswer> first = AskAside(L"a.avi");
    const bool arrived = m_gate.WaitForArrival();
    std::future<SKrModeAnswer> other = AskAside(L"b.avi"); // cached already
    std::future<int> clear = ClearAside(L"no such path");
    EXPECT_EQ(other.wait_for(kAWhile), std::future_status::timeout);
    EXPECT_EQ(clear.wait_for(kAWhile), std::future_status::timeout);
    m_gate.Open();
    EXPECT_TRUE(arrived);
    EXPECT_EQ(first.get(), Mode(0));
    EXPECT_EQ(other.get(), Mode(1));
    EXPECT_EQ(clear.get(), 0);
}

TEST_F(ReaderCacheThreads, WhileAFileIsBeingOpened_NullAndEmptyPathsDoNotWait)
{
    StopOpensOf(L"a.avi");
    std::future<SKrModeAnswer> first = AskAside(L"a.avi");
    EXPECT_TRUE(m_gate.WaitForArrival());
    std::future<SKrModeAnswer> empty = AskAside(L"");
    std::future<SKrModeAnswer> null = AskAside(nullptr);
    EXPECT_EQ(empty.wait_for(kLong), std::future_status::ready);
    EXPECT_EQ(null.wait_for(kLong), std::future_status::ready);
    m_gate.Open();
    EXPECT_EQ(empty.get(), kNoMode);
    EXPECT_EQ(null.get(), kNoMode);
    EXPECT_EQ(first.get(), Mode(0));
}

TEST_F(ReaderCacheThreads, DuringAQuery_OtherPathsAreAnsweredAndClearDoesNotWait)
{
    EXPECT_EQ(AskMode(L"a.avi"), Mode(0));
    StopReads();
    std::future<SKrModeAnswer> query = AskAside(L"a.avi");
    EXPECT_TRUE(m_gate.WaitForArrival());
    // No read is needed to find that a file does not exist.
    std::future<SKrModeAnswer> other = AskAside(L"missing.avi");
    EXPECT_EQ(other.wait_for(kLong), std::future_status::ready);
    std::future<int> clear = ClearAside(L"a.avi");
    EXPECT_EQ(clear.wait_for(kLong), std::future_status::ready);
    m_gate.Open();
    EXPECT_EQ(other.get(), kNoMode);
    EXPECT_EQ(clear.get(), 1);
    EXPECT_EQ(query.get(), Mode(0));
}

TEST_F(ReaderCacheThreads, EntryClearedDuringAQuery_StaysOpenUntilTheQueryEnds)
{
    EXPECT_EQ(AskMode(L"a.avi"), Mode(0));
    StopReads();
    std::future<SKrModeAnswer> query = AskAside(L"a.avi");
    EXPECT_TRUE(m_gate.WaitForArrival());
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    EXPECT_EQ(OpenFiles(), 1u);
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), 0);
    m_gate.Open();
    EXPECT_EQ(query.get(), Mode(0));
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(ReaderCacheThreads, PathQueriedAgainAfterAClearDuringAQuery_IsOpenedASecondTime)
{
    EXPECT_EQ(AskMode(L"a.avi"), Mode(0));
    m_files.Set(L"a.avi", BuildSimpleAvi(SmallAviWithKrlA(2)).content);
    StopReads();
    std::future<SKrModeAnswer> query = AskAside(L"a.avi");
    EXPECT_TRUE(m_gate.WaitForArrival());
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), 1);
    m_faulty.SetBeforeRead({});
    EXPECT_EQ(AskMode(L"a.avi"), Mode(2));
    EXPECT_EQ(OpenFiles(), 2u);
    m_gate.Open();
    EXPECT_EQ(query.get(), Mode(0));
    EXPECT_EQ(OpenFiles(), 1u);
}

// At the end of a process the lock may belong to a terminated thread.
TEST_F(ReaderCacheThreads, ModuleStopWhileTheCacheIsLocked_DoesNotWait)
{
    EXPECT_EQ(AskMode(L"b.avi"), Mode(1));
    StopOpensOf(L"a.avi");
    std::future<SKrModeAnswer> first = AskAside(L"a.avi");
    EXPECT_TRUE(m_gate.WaitForArrival());
    std::future<void> stop = std::async(std::launch::async, KrModuleStop);
    EXPECT_EQ(stop.wait_for(kLong), std::future_status::ready);
    m_gate.Open();
    stop.get();
    EXPECT_EQ(first.get(), Mode(0));
    KrModuleStop();
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(ReaderCacheThreads, ModuleStopDuringAQuery_DoesNotWaitForTheReader)
{
    EXPECT_EQ(AskMode(L"a.avi"), Mode(0));
    EXPECT_EQ(AskMode(L"b.avi"), Mode(1));
    StopReads();
    std::future<SKrModeAnswer> query = AskAside(L"a.avi");
    EXPECT_TRUE(m_gate.WaitForArrival());
    std::future<void> stop = std::async(std::launch::async, KrModuleStop);
    EXPECT_EQ(stop.wait_for(kLong), std::future_status::ready);
    EXPECT_EQ(OpenFiles(), 1u);
    m_gate.Open();
    EXPECT_EQ(query.get(), Mode(0));
    EXPECT_EQ(OpenFiles(), 0u);
}

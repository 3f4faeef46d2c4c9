// The reader cache over a file system in memory: how often files are opened, when they are closed, and
// failures to open.
#include "riffutils/KrReaderCache.h"

#include "platform/KrUnloadHook.h"
#include "tests/riffutils/KrHookedFileSystem.h"
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <new>
#include <stdexcept>
#include <vector>

using namespace KrTest;

namespace
{
// Files a.avi, A.avi, b.avi with the scan modes 0, 1 and 2.
class ReaderCacheOpens : public testing::Test
{
protected:
    ReaderCacheOpens()
    {
        KrRiffUtils::ClearCache(nullptr);
        m_files.Set(L"a.avi", BuildSimpleAvi(SmallAviWithKrlA(0)).content);
        m_files.Set(L"A.avi", BuildSimpleAvi(SmallAviWithKrlA(1)).content);
        m_files.Set(L"b.avi", BuildSimpleAvi(SmallAviWithKrlA(2)).content);
    }
    ~ReaderCacheOpens() override { KrRiffUtils::ClearCache(nullptr); }

    uint64_t Opens() const { return m_counting.Calls().opens; }
    uint64_t OpenFiles() const { return m_counting.Calls().openFiles; }

    CKrMemoryFileSystem m_files;
    CKrCountingFileSystem m_counting{m_files};
    CKrHookedFileSystem m_hooked{m_counting};
    KrPlatform::CFileSystemScope m_scope{m_hooked};
};
} // namespace

TEST_F(ReaderCacheOpens, ManyQueriesOnOnePath_OpenItOnce)
{
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_EQ(AskMode(L"a.avi"), Mode(0));
        EXPECT_EQ(AskMode(L"a.avi", 1), Mode(0));
        EXPECT_EQ(AskAspect(L"a.avi"), Aspect(3, 1));
        EXPECT_EQ(AskAspect(L"a.avi", 2), kNoAspect);
    }
    EXPECT_EQ(Opens(), 1u);
    EXPECT_EQ(OpenFiles(), 1u);
}

TEST_F(ReaderCacheOpens, EqualPathInOtherMemory_IsTheSameEntry)
{
    const std::wstring first = L"a.avi";
    const std::wstring second = L"a.avi";
    AskMode(first.c_str());
    AskMode(second.c_str());
    EXPECT_EQ(Opens(), 1u);
}

TEST_F(ReaderCacheOpens, PathThatBeginsLikeAnother_IsAnotherEntry)
{
    m_files.Set(L"a.avi2", BuildSimpleAvi(SmallAviWithKrlA(2)).content);
    EXPECT_EQ(AskMode(L"a.avi"), Mode(0));
    EXPECT_EQ(AskMode(L"a.avi2"), Mode(2));
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.av"), 0);
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), 1);
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi2"), 1);
}

TEST_F(ReaderCacheOpens, MissingFile_IsTriedByEachQueryAndNeverCached)
{
    ExpectNothing(L"missing.avi"); // six queries
    EXPECT_EQ(Opens(), 6u);
    EXPECT_EQ(OpenFiles(), 0u);
    EXPECT_EQ(KrRiffUtils::ClearCache(L"missing.avi"), 0);
}

TEST_F(ReaderCacheOpens, FileThatCannotBeParsed_IsClosedAndNeverCached)
{
    m_files.Set(L"bad.avi", KrBytes(5000, 0));
    m_files.Set(L"short.avi", KrBytes(200, 1));
    for (const wchar_t* const path : {L"bad.avi", L"short.avi"})
    {
        EXPECT_EQ(AskMode(path), kNoMode);
        EXPECT_EQ(AskMode(path), kNoMode);
        EXPECT_EQ(KrRiffUtils::ClearCache(path), 0);
    }
    EXPECT_EQ(Opens(), 4u);
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(ReaderCacheOpens, NullAndEmptyPaths_OpenNothing)
{
    ExpectNothing(static_cast<const wchar_t*>(nullptr));
    ExpectNothing(L"");
    EXPECT_EQ(Opens(), 0u);
}

TEST_F(ReaderCacheOpens, ClearOfAll_ClosesInTheOrderOfThePaths)
{
    std::vector<std::wstring> closed;
    m_hooked.afterClose = [&](const std::wstring& path)
    {
        closed.push_back(path);
    };
    for (const wchar_t* const path : {L"b.avi", L"a.avi", L"A.avi"})
        AskMode(path);
    EXPECT_EQ(OpenFiles(), 3u);
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    EXPECT_EQ(OpenFiles(), 0u);
    EXPECT_EQ(closed, (std::vector<std::wstring>{L"A.avi", L"a.avi", L"b.avi"}));
    m_hooked.afterClose = {};
}

TEST_F(ReaderCacheOpens, ReaderHandedOut_OutlivesItsEntry)
{
    CKrReaderCache cache;
    IKrRiffReader* const reader = cache.Get(L"a.avi").Detach();
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->AddRef(), 3u); // the map's, the one handed out, and this
    EXPECT_EQ(reader->Release(), 2u);
    EXPECT_TRUE(cache.Drop(L"a.avi"));
    EXPECT_EQ(OpenFiles(), 1u);
    EXPECT_EQ(AskMode(reader), Mode(0));
    EXPECT_EQ(reader->Release(), 0u);
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(ReaderCacheOpens, SecondGet_HandsOutTheSameReader)
{
    CKrReaderCache cache;
    const auto first = cache.Get(L"a.avi");
    const auto second = cache.Get(L"a.avi");
    EXPECT_EQ(first.Get(), second.Get());
    EXPECT_NE(first.Get(), cache.Get(L"b.avi").Get());
    EXPECT_EQ(cache.Get(nullptr).Get(), nullptr);
    EXPECT_EQ(cache.Get(L"").Get(), nullptr);
    EXPECT_EQ(cache.Get(L"missing.avi").Get(), nullptr);
}

TEST_F(ReaderCacheOpens, OpenThatThrows_LeavesTheLockFreeAndNothingCached)
{
    m_hooked.beforeOpen = [](const std::wstring&)
    {
        throw std::bad_alloc();
    };
    EXPECT_THROW(AskMode(L"a.avi"), std::bad_alloc);
    m_hooked.beforeOpen = {};
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), 0);
    EXPECT_EQ(OnAnotherThread([] { return AskMode(L"a.avi"); }), Mode(0)); // hangs if the lock is held
    EXPECT_EQ(OpenFiles(), 1u);
}

TEST_F(ReaderCacheOpens, ModuleStop_ClosesEveryCachedFile)
{
    AskMode(L"a.avi");
    AskMode(L"b.avi");
    EXPECT_EQ(OpenFiles(), 2u);
    KrModuleStop();
    EXPECT_EQ(OpenFiles(), 0u);
    EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), 0);
    KrModuleStop(); // nothing is left to do
}

TEST_F(ReaderCacheOpens, ModuleStop_KeepsTheReadersThatHostsHold)
{
    const auto own = OpenedReader(L"a.avi");
    AskMode(L"a.avi");
    EXPECT_EQ(OpenFiles(), 2u);
    KrModuleStop();
    EXPECT_EQ(OpenFiles(), 1u);
    EXPECT_EQ(AskMode(own.Get()), Mode(0));
}

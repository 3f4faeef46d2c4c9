// The reader cache seen from a host: which files it keeps open, and the effect of clearing it.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <filesystem>
#include <system_error>

using namespace KrTest;

namespace
{
#if defined(_WIN32)
constexpr bool kOpenFilesCanBeReplaced = false;
constexpr bool kNamesIgnoreCase = true;
#else
constexpr bool kOpenFilesCanBeReplaced = true;
constexpr bool kNamesIgnoreCase = false;
#endif

std::filesystem::path StdPath(const std::wstring& path)
{
    return std::u32string(path.begin(), path.end()); // wide text would be converted according to the locale
}

// Replaces the file `to` by `from`.
bool Replace(const std::wstring& to, const std::wstring& from)
{
    std::error_code error;
    std::filesystem::rename(StdPath(from), StdPath(to), error);
    return !error;
}

// The file cannot be opened for writing while a reader has it open.
bool IsOpen(const std::wstring& path)
{
    return !CKrForeignWriter(path).IsOpen();
}

class ReaderCache : public testing::Test
{
protected:
    ReaderCache() { KrRiffUtils::ClearCache(nullptr); }
    ~ReaderCache() override { KrRiffUtils::ClearCache(nullptr); } // before the folder is removed

    std::wstring Write(const std::wstring& name, uint8_t scanMode) const
    {
        return m_folder.Write(name, BuildSimpleAvi(SmallAviWithKrlA(scanMode)).content);
    }

    CKrTempFolder m_folder;
};

int Clear(const std::wstring& path)
{
    return KrRiffUtils::ClearCache(path.c_str());
}
} // namespace

TEST_F(ReaderCache, QueriedFile_StaysOpenUntilItIsCleared)
{
    const std::wstring path = Write(L"a.avi", 1);
    EXPECT_FALSE(IsOpen(path));
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
    EXPECT_TRUE(IsOpen(path));
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
    EXPECT_EQ(Clear(path), 1);
    EXPECT_FALSE(IsOpen(path));
}

TEST_F(ReaderCache, EachQueryByPath_CachesTheFile)
{
    const std::wstring path = Write(L"a.avi", 1);
    AskMode(path.c_str());
    EXPECT_EQ(Clear(path), 1);
    AskMode(path.c_str(), 2);
    EXPECT_EQ(Clear(path), 1);
    AskAspect(path.c_str());
    EXPECT_EQ(Clear(path), 1);
    AskAspect(path.c_str(), 3);
    EXPECT_EQ(Clear(path), 1);
}

TEST_F(ReaderCache, QueriesByReader_CacheNothing)
{
    const std::wstring path = Write(L"a.avi", 1);
    {
        const CKrRef<IKrRiffReader> reader = OpenedReader(path);
        EXPECT_EQ(AskMode(reader.Get()), Mode(1));
        EXPECT_EQ(Clear(path), 0);
    }
    EXPECT_FALSE(IsOpen(path));
}

TEST_F(ReaderCache, ClearOfAPathNeverQueried_Is0)
{
    EXPECT_EQ(Clear(Write(L"a.avi", 1)), 0);
    EXPECT_EQ(Clear(L"no such path"), 0);
}

TEST_F(ReaderCache, ClearOfACachedPath_Is1AndThen0)
{
    const std::wstring path = Write(L"a.avi", 1);
    AskMode(path.c_str());
    EXPECT_EQ(Clear(path), 1);
    EXPECT_EQ(Clear(path), 0);
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
    EXPECT_EQ(Clear(path), 1);
}

TEST_F(ReaderCache, ClearOfOnePath_KeepsTheOthers)
{
    const std::wstring first = Write(L"a.avi", 0);
    const std::wstring second = Write(L"b.avi", 1);
    const std::wstring third = Write(L"c.avi", 2);
    EXPECT_EQ(AskMode(third.c_str()), Mode(2));
    EXPECT_EQ(AskMode(first.c_str()), Mode(0));
    EXPECT_EQ(AskMode(second.c_str()), Mode(1));
    EXPECT_EQ(Clear(second), 1);
    EXPECT_TRUE(IsOpen(first));
    EXPECT_FALSE(IsOpen(second));
    EXPECT_TRUE(IsOpen(third));
}

TEST_F(ReaderCache, ClearWithNullOrEmptyPath_DropsAll)
{
    const std::wstring first = Write(L"a.avi", 0);
    const std::wstring second = Write(L"b.avi", 1);
    for (const wchar_t* const all : {static_cast<const wchar_t*>(nullptr), L""})
    {
        AskMode(first.c_str());
        AskMode(second.c_str());
        EXPECT_TRUE(IsOpen(first));
        EXPECT_TRUE(IsOpen(second));
        EXPECT_EQ(KrRiffUtils::ClearCache(all), 1);
        EXPECT_FALSE(IsOpen(first));
        EXPECT_FALSE(IsOpen(second));
        EXPECT_EQ(Clear(first), 0);
    }
}

TEST_F(ReaderCache, ClearWithNullOrEmptyPath_Is1AlsoWhenNothingIsCached)
{
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    EXPECT_EQ(KrRiffUtils::ClearCache(L""), 1);
}

TEST_F(ReaderCache, TwoSpellingsOfOneFile_AreTwoEntries)
{
    const std::wstring path = Write(L"a.avi", 1);
    const std::wstring longer = m_folder.PathOf(L"./a.avi");
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
    EXPECT_EQ(Clear(longer), 0);
    EXPECT_EQ(AskMode(longer.c_str()), Mode(1));
    EXPECT_EQ(Clear(path), 1);
    EXPECT_TRUE(IsOpen(path)) << "the other entry has it open";
    EXPECT_EQ(Clear(longer), 1);
    EXPECT_FALSE(IsOpen(path));
}

TEST_F(ReaderCache, TwoLetterCases_AreTwoEntries)
{
    const std::wstring lower = Write(L"name.avi", 1);
    const std::wstring upper = kNamesIgnoreCase ? m_folder.PathOf(L"NAME.AVI") : Write(L"NAME.AVI", 1);
    EXPECT_EQ(AskMode(lower.c_str()), Mode(1));
    EXPECT_EQ(Clear(upper), 0);
    EXPECT_EQ(AskMode(upper.c_str()), Mode(1));
    EXPECT_EQ(Clear(lower), 1);
    EXPECT_EQ(Clear(lower), 0);
    EXPECT_TRUE(IsOpen(upper));
    EXPECT_EQ(Clear(upper), 1);
    EXPECT_FALSE(IsOpen(lower));
    EXPECT_FALSE(IsOpen(upper));
}

TEST_F(ReaderCache, FileReplacedWhileCached_ShowsItsOldAnswerUntilItIsCleared)
{
    const std::wstring path = Write(L"a.avi", 0);
    const std::wstring next = Write(L"next.avi", 2);
    EXPECT_EQ(AskMode(path.c_str()), Mode(0));
    EXPECT_EQ(Replace(path, next), kOpenFilesCanBeReplaced);
    EXPECT_EQ(AskMode(path.c_str()), Mode(0));
    EXPECT_EQ(AskMode(path.c_str(), 1), Mode(0));
    EXPECT_EQ(Clear(path), 1);
    if (!kOpenFilesCanBeReplaced)
    {
        ASSERT_TRUE(Replace(path, next));
    }
    EXPECT_EQ(AskMode(path.c_str()), Mode(2));
}

TEST_F(ReaderCache, FileThatCouldNotBeOpened_IsTriedAgain)
{
    const std::wstring path = m_folder.PathOf(L"a.avi");
    ExpectNothing(path.c_str());
    Write(L"a.avi", 1);
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
}

TEST_F(ReaderCache, FileThatCouldNotBeOpened_LeavesTheOthersCached)
{
    const std::wstring path = Write(L"a.avi", 1);
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
    ExpectNothing(m_folder.PathOf(L"missing.avi").c_str());
    EXPECT_TRUE(IsOpen(path));
    EXPECT_EQ(Clear(path), 1);
}

TEST_F(ReaderCache, HostsOwnReaderOfACachedFile_StaysOpenAfterClear)
{
    const std::wstring path = Write(L"a.avi", 1);
    AskMode(path.c_str());
    CKrRef<IKrRiffReader> own = OpenedReader(path);
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    EXPECT_EQ(AskMode(own.Get()), Mode(1));
    EXPECT_TRUE(IsOpen(path));
    own.Reset();
    EXPECT_FALSE(IsOpen(path));
}

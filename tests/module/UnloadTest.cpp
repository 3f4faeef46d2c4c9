// Unloading the library closes the cached readers, also when none was ever requested.
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/module/KrLoadedLibrary.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#if !defined(KR_LIBRARY_PATH)
#error "the build defines KR_LIBRARY_PATH as the path of the library under test"
#endif

using namespace KrTest;

namespace
{
using QueryByPath = int (*)(const wchar_t*, EKrScanMode&);
constexpr const char* kScanModeByPath = "_ZN11KrRiffUtils14GetAviScanModeEPKwR11EKrScanMode";

class Unload : public testing::Test
{
protected:
    void SetUp() override
    {
        SKrSimpleAvi avi;
        avi.krlA = SKrTestKrlA{.scanMode = 2};
        m_path = m_folder.Write(L"a.avi", BuildSimpleAvi(avi).content);
    }

    void QueryAndKeepOpen(const CKrLoadedLibrary& library)
    {
        const auto query = reinterpret_cast<QueryByPath>(library.Function(kScanModeByPath));
        ASSERT_NE(query, nullptr);
        EKrScanMode mode = EKrScanMode::Unknown;
        ASSERT_EQ(query(m_path.c_str(), mode), 1);
        ASSERT_EQ(mode, EKrScanMode::Progressive);
    }

    CKrTempFolder m_folder;
    std::wstring m_path;
};
} // namespace

TEST_F(Unload, CachedReader_IsClosed)
{
    {
        const CKrLoadedLibrary library(KR_LIBRARY_PATH);
        QueryAndKeepOpen(library);
        EXPECT_FALSE(CanBeHeldForWriting(m_path));
    }
    EXPECT_TRUE(CanBeHeldForWriting(m_path));
}

// A worker thread holds the library only while it runs.
TEST_F(Unload, AfterARecording_TheCachedReaderIsClosed)
{
    {
        const CKrLoadedLibrary library(KR_LIBRARY_PATH);
        QueryAndKeepOpen(library);
        IKrAviWriter* writer = nullptr;
        const auto create = reinterpret_cast<int (*)(IKrAviWriter**)>(library.Function(kCreateWriter));
        ASSERT_EQ(create(&writer), 1);
        SKrMediaInfo info{};
        info.videoStreamCount = 1;
        info.width = info.height = 16;
        ASSERT_EQ(writer->OpenFileFromInfo(m_folder.PathOf(L"out.avi").c_str(), &info), 1);
        writer->Release();
    }
    EXPECT_FALSE(IsLoaded(KR_LIBRARY_PATH));
    EXPECT_TRUE(CanBeHeldForWriting(m_path));
}

TEST_F(Unload, WithoutAnyQuery_DoesNothing)
{
    const CKrLoadedLibrary library(KR_LIBRARY_PATH);
    EXPECT_NE(library.Function("_ZN11KrRiffUtils10ClearCacheEPKw"), nullptr);
    EXPECT_TRUE(CanBeHeldForWriting(m_path));
}

TEST_F(Unload, HundredTimesWithACachedReader_LeavesNothingOpen)
{
    for (int round = 0; round < 100; ++round)
    {
        const CKrLoadedLibrary library(KR_LIBRARY_PATH);
        QueryAndKeepOpen(library);
    }
    EXPECT_TRUE(CanBeHeldForWriting(m_path));
}

// The finished library as a module: what is left in the process after it was unloaded, and how it takes the
// end of the process. This program is not linked with the library but loads it itself.
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/module/KrLoadedLibrary.h"
#include "tests/module/KrTestProcess.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrRef.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#if !defined(KR_LIBRARY_PATH)
#error "the build defines KR_LIBRARY_PATH as the path of the library under test"
#endif

using namespace KrTest;

namespace
{
// The exported names by the rules of the compiler that built this program.
#if defined(_MSC_VER)
constexpr char kGetAviScanMode[] = "?GetAviScanMode@KrRiffUtils@@YAHPEB_WAEAW4EKrScanMode@@@Z";
constexpr char kClearCache[] = "?ClearCache@KrRiffUtils@@YAHPEB_W@Z";
constexpr char kCreateRiffReader[] = "?KrCreateRiffReader@@YAHPEAPEAVIKrRiffReader@@@Z";
#else
constexpr char kGetAviScanMode[] = "_ZN11KrRiffUtils14GetAviScanModeEPKwR11EKrScanMode";
constexpr char kClearCache[] = "_ZN11KrRiffUtils10ClearCacheEPKw";
constexpr char kCreateRiffReader[] = "_Z18KrCreateRiffReaderPP13IKrRiffReader";
#endif

// The library, loaded as long as this lives.
class CModule
{
public:
    // The scan mode that a file declares; -2 when the query finds none, -3 when there is no such function.
    [[nodiscard]] int Ask(const std::wstring& path) const
    {
        const auto query =
            reinterpret_cast<int (*)(const wchar_t*, EKrScanMode&)>(m_library.Function(kGetAviScanMode));
        if (query == nullptr)
            return -3;
        auto mode = EKrScanMode::Unknown;
        return query(path.c_str(), mode) == 1 ? static_cast<int>(mode) : -2;
    }

    [[nodiscard]] int ClearCache(const std::wstring& path) const
    {
        const auto clear = reinterpret_cast<int (*)(const wchar_t*)>(m_library.Function(kClearCache));
        return clear == nullptr ? -3 : clear(path.c_str());
    }

    [[nodiscard]] int CreateReader(IKrRiffReader** reader) const
    {
        const auto create = reinterpret_cast<int (*)(IKrRiffReader**)>(m_library.Function(kCreateRiffReader));
        return create == nullptr ? -3 : create(reader);
    }

private:
    CKrLoadedLibrary m_library{KR_LIBRARY_PATH};
};

bool IsInProcess()
{
    return IsLibraryInProcess(KR_LIBRARY_PATH);
}

std::wstring WriteAvi(const CKrTempFolder& folder, const std::wstring& name, int scanMode)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100})};
    avi.krlA = SKrTestKrlA{.scanMode = static_cast<uint8_t>(scanMode)};
    return folder.Write(name, BuildSimpleAvi(avi).content);
}

class Module : public testing::Test
{
protected:
    std::wstring Write(const std::wstring& name, int scanMode) const
    {
        return WriteAvi(m_folder, name, scanMode);
    }

    CKrTempFolder m_folder;
};
} // namespace

TEST_F(Module, LoadedAndUnloaded_IsGoneFromTheProcess)
{
    ASSERT_FALSE(IsInProcess());
    {
        const CModule module;
        EXPECT_TRUE(IsInProcess());
    }
    EXPECT_FALSE(IsInProcess());
}

TEST_F(Module, UnloadedAfterAQuery_IsGoneAndItsFileCanBeDeleted)
{
    const std::wstring path = Write(L"a.avi", 1);
    {
        const CModule module;
        EXPECT_EQ(module.Ask(path), 1);
        EXPECT_FALSE(CanBeHeldForWriting(path));
    }
    EXPECT_FALSE(IsInProcess());
    EXPECT_TRUE(CanBeHeldForWriting(path));
    EXPECT_TRUE(Os::RemoveFile(path));
}

TEST_F(Module, UnloadedWithManyFilesCached_LeavesAllClosed)
{
    std::vector<std::wstring> paths;
    {
        const CModule module;
        for (int file = 0; file < 10; ++file)
        {
            paths.push_back(Write(std::to_wstring(file) + L".avi", file % 3));
            EXPECT_EQ(module.Ask(paths.back()), file % 3);
            EXPECT_FALSE(CanBeHeldForWriting(paths.back()));
        }
    }
    for (const std::wstring& path : paths)
        EXPECT_TRUE(CanBeHeldForWriting(path));
}

TEST_F(Module, UnloadedAfterAQueryOnAnotherThread_LeavesTheFileClosed)
{
    const std::wstring path = Write(L"a.avi", 1);
    {
        const CModule module;
        int mode = -2;
        std::thread([&] { mode = module.Ask(path); }).join();
        EXPECT_EQ(mode, 1);
        EXPECT_FALSE(CanBeHeldForWriting(path));
    }
    EXPECT_FALSE(IsInProcess());
    EXPECT_TRUE(CanBeHeldForWriting(path));
}

TEST_F(Module, UnloadedBehindAReaderThatWasReleased_IsGone)
{
    const std::wstring path = Write(L"a.avi", 1);
    {
        const CModule module;
        CKrRef<IKrRiffReader> reader;
        ASSERT_EQ(module.CreateReader(reader.Put()), 1);
        EXPECT_EQ(reader->Open(path.c_str()), 1);
        EXPECT_FALSE(CanBeHeldForWriting(path));
    }
    EXPECT_FALSE(IsInProcess());
    EXPECT_TRUE(CanBeHeldForWriting(path));
}

TEST_F(Module, LoadedAgain_BeginsWithAnEmptyCache)
{
    const std::wstring path = Write(L"a.avi", 0);
    {
        const CModule module;
        EXPECT_EQ(module.Ask(path), 0);
    }
    Write(L"a.avi", 2);
    const CModule module;
    EXPECT_EQ(module.ClearCache(path), 0);
    EXPECT_EQ(module.Ask(path), 2);
    EXPECT_EQ(module.ClearCache(path), 1);
}

TEST_F(Module, LoadedTwice_StaysUntilItIsUnloadedTwice)
{
    const std::wstring path = Write(L"a.avi", 1);
    const std::optional<CModule> first(std::in_place);
    {
        const CModule second;
        EXPECT_EQ(second.Ask(path), 1);
    }
    EXPECT_TRUE(IsInProcess());
    EXPECT_FALSE(CanBeHeldForWriting(path));
    EXPECT_EQ(first->ClearCache(path), 1);
    EXPECT_TRUE(CanBeHeldForWriting(path));
}

TEST_F(Module, HundredLoadsAndUnloadsWithoutAQuery_LeaveNothing)
{
    for (int round = 0; round < 100; ++round)
    {
        {
            const CModule module;
            ASSERT_TRUE(IsInProcess()) << round;
        }
        ASSERT_FALSE(IsInProcess()) << round;
    }
}

TEST_F(Module, HundredLoadsAndUnloadsWithAQuery_LeaveNothing)
{
    const std::wstring path = Write(L"a.avi", 1);
    for (int round = 0; round < 100; ++round)
    {
        {
            const CModule module;
            ASSERT_EQ(module.Ask(path), 1) << round;
        }
        ASSERT_FALSE(IsInProcess()) << round;
        ASSERT_TRUE(CanBeHeldForWriting(path)) << round;
    }
}

#if GTEST_HAS_DEATH_TEST

namespace
{
// A process that a test starts runs that test again up to the exit. It finds the file through this variable,
// which is empty in the first process before the test.
constexpr char kFileVariable[] = "KR_TESTS_MODULE_FILE";
constexpr int kExitCode = 42;

std::wstring FileFromEnvironment()
{
    const char* const value = std::getenv(kFileVariable);
    const std::string path = value == nullptr ? "" : value;
    return std::wstring(path.begin(), path.end());
}

class ModuleExitDeathTest : public testing::Test
{
protected:
    ModuleExitDeathTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        if (FileFromEnvironment().empty())
        {
            const std::wstring path = WriteAvi(m_folder.emplace(), L"a.avi", 1);
            SetEnvironmentValue(kFileVariable, std::string(path.begin(), path.end()));
        }
    }
    ~ModuleExitDeathTest() override { SetEnvironmentValue(kFileVariable, ""); }

private:
    std::optional<CKrTempFolder> m_folder; // in the first process only: the others never come to its removal
};

[[noreturn]] void ExitWithACachedFile()
{
    static const CModule& module = *new CModule; // never unloaded
    std::exit(module.Ask(FileFromEnvironment()) == 1 ? kExitCode : 1);
}

// The threads are somewhere in the library when the process ends, most of the time with the cache locked.
[[noreturn]] void ExitDuringQueries()
{
    static const CModule& module = *new CModule; // never unloaded
    if (module.Ask(FileFromEnvironment()) != 1)
        std::exit(1);
    for (int thread = 0; thread < 3; ++thread)
    {
        std::thread(
            [path = FileFromEnvironment()]
            {
                for (;;)
                {
                    static_cast<void>(module.ClearCache(path));
                    static_cast<void>(module.Ask(path));
                }
            })
            .detach();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::exit(kExitCode);
}
} // namespace

TEST_F(ModuleExitDeathTest, ProcessWithACachedFile_EndsInGoodOrder)
{
    EXPECT_EXIT(ExitWithACachedFile(), testing::ExitedWithCode(kExitCode), "");
}

TEST_F(ModuleExitDeathTest, ProcessWithQueriesUnderWay_EndsInGoodOrder)
{
    for (int round = 0; round < 3; ++round)
        EXPECT_EXIT(ExitDuringQueries(), testing::ExitedWithCode(kExitCode), "") << round;
}

#endif

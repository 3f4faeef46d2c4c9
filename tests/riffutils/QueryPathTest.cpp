// The queries by path.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <climits>

using namespace KrTest;

namespace
{
class QueryPath : public testing::Test
{
protected:
    ~QueryPath() override { KrRiffUtils::ClearCache(nullptr); } // before the folder is removed

    CKrTempFolder m_folder;
};

const wchar_t* const kNullPath = nullptr;
} // namespace

TEST_F(QueryPath, EachQuery_AnswersAsByReader)
{
    SKrSimpleAvi avi = SmallAvi();
    avi.krlA = SKrTestKrlA{.scanMode = 1, .horizontal = 64, .vertical = 45};
    avi.prmA = SKrTestPrmA{.horizontal = 16, .vertical = 15};
    avi.ctsI = SKrTestCtsI{.scanMode = 2};
    const std::wstring path = m_folder.Write(L"a.avi", BuildSimpleAvi(avi).content);
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
    EXPECT_EQ(AskMode(path.c_str(), 1), Mode(1));
    EXPECT_EQ(AskMode(path.c_str(), 2), Mode(2));
    EXPECT_EQ(AskAspect(path.c_str()), Aspect(64, 45));
    EXPECT_EQ(AskAspect(path.c_str(), 1), Aspect(64, 45));
    EXPECT_EQ(AskAspect(path.c_str(), 2), Aspect(16, 15));
    for (const int flavour : {0, 3, -1, INT_MAX, INT_MIN})
    {
        EXPECT_EQ(AskMode(path.c_str(), flavour), kNoMode) << flavour;
        EXPECT_EQ(AskAspect(path.c_str(), flavour), kNoAspect) << flavour;
    }
}

TEST_F(QueryPath, FlavourThatTheFileLacks_HasNoAnswer)
{
    SKrSimpleAvi avi = SmallAvi();
    avi.krlA = SKrTestKrlA{.scanMode = 0xFF};
    const std::wstring path = m_folder.Write(L"a.avi", BuildSimpleAvi(avi).content);
    EXPECT_EQ(AskMode(path.c_str()), kModeNotSet);
    EXPECT_EQ(AskMode(path.c_str(), 1), kModeNotSet);
    EXPECT_EQ(AskMode(path.c_str(), 2), kNoMode);
    EXPECT_EQ(AskAspect(path.c_str()), Aspect(1, 1));
    EXPECT_EQ(AskAspect(path.c_str(), 2), kNoAspect);
}

TEST_F(QueryPath, FileWithoutPrivateChunks_HasNoAnswerButIsCached)
{
    const std::wstring path = m_folder.Write(L"a.avi", BuildSimpleAvi(SmallAvi()).content);
    ExpectNothing(path.c_str());
    EXPECT_EQ(KrRiffUtils::ClearCache(path.c_str()), 1);
}

TEST_F(QueryPath, NullOrEmptyPath_HasNoAnswer)
{
    ExpectNothing(kNullPath);
    ExpectNothing(L"");
}

TEST_F(QueryPath, PathsThatCannotBeOpened_HaveNoAnswerAndAreNotCached)
{
    const std::wstring paths[] = {
        m_folder.PathOf(L"missing.avi"),
        m_folder.PathOf(L"missing folder/a.avi"),
        m_folder.MakeFolder(L"folder.avi"),
        m_folder.Write(L"short.avi", KrBytes(200, 1)),
        m_folder.Write(L"zeros.avi", KrBytes(5000, 0)),
    };
    for (const std::wstring& path : paths)
    {
        ExpectNothing(path.c_str());
        EXPECT_EQ(KrRiffUtils::ClearCache(path.c_str()), 0);
    }
}

TEST_F(QueryPath, FileBeingWrittenElsewhere_HasNoAnswerUntilItIsFinished)
{
    const std::wstring path = m_folder.Write(L"a.avi", BuildSimpleAvi(SmallAviWithKrlA(1)).content);
    {
        const CKrForeignWriter writer(path);
        ASSERT_TRUE(writer.IsOpen());
        ExpectNothing(path.c_str());
    }
    EXPECT_EQ(AskMode(path.c_str()), Mode(1));
}

TEST_F(QueryPath, PathWithUnicodeLetters_IsFound)
{
    const std::wstring path =
        m_folder.Write(L"\x00FC\x0416\x6F22.avi", BuildSimpleAvi(SmallAviWithKrlA(2)).content);
    EXPECT_EQ(AskMode(path.c_str()), Mode(2));
    EXPECT_EQ(KrRiffUtils::ClearCache(path.c_str()), 1);
}

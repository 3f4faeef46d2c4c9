// The results of the queries by reader for the content of a file's private chunks.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrTempFolder.h"

#include <climits>

using namespace KrTest;

namespace
{
class QueryAnswers : public testing::Test
{
protected:
    // A reader of a file built from a description.
    IKrRiffReader* Open(const SKrSimpleAvi& avi)
    {
        m_reader.Reset(); // on Windows an open file cannot be replaced
        m_reader = OpenedReader(m_folder.Write(L"a.avi", BuildSimpleAvi(avi).content));
        return m_reader.Get();
    }

    SKrSimpleAvi m_avi = SmallAvi();

private:
    CKrTempFolder m_folder;
    CKrRef<IKrRiffReader> m_reader;
};

std::array<uint8_t, 16> BadSignature()
{
    return {'K', 'O', 'R', 'I', 'N', '-', 'A', 'V', 'I'};
}
} // namespace

TEST_F(QueryAnswers, KrlA_HoldsBothValuesOfFlavour1)
{
    m_avi.krlA = SKrTestKrlA{.scanMode = 1, .horizontal = 64, .vertical = 45};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader), Mode(1));
    EXPECT_EQ(AskMode(reader, 1), Mode(1));
    EXPECT_EQ(AskMode(reader, 2), kNoMode);
    EXPECT_EQ(AskAspect(reader), Aspect(64, 45));
    EXPECT_EQ(AskAspect(reader, 1), Aspect(64, 45));
    EXPECT_EQ(AskAspect(reader, 2), kNoAspect);
}

TEST_F(QueryAnswers, CtsIAndPrmAAlone_AnswerThePlainQueriesAndFlavour2)
{
    m_avi.ctsI = SKrTestCtsI{.scanMode = 2};
    m_avi.prmA = SKrTestPrmA{.horizontal = 16, .vertical = 15};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader), Mode(2));
    EXPECT_EQ(AskMode(reader, 1), kNoMode);
    EXPECT_EQ(AskMode(reader, 2), Mode(2));
    EXPECT_EQ(AskAspect(reader), Aspect(16, 15));
    EXPECT_EQ(AskAspect(reader, 1), kNoAspect);
    EXPECT_EQ(AskAspect(reader, 2), Aspect(16, 15));
}

TEST_F(QueryAnswers, CtsIAlone_HasNoAspectAndPrmAAloneNoMode)
{
    m_avi.ctsI = SKrTestCtsI{.scanMode = 0};
    EXPECT_EQ(AskMode(Open(m_avi), 2), Mode(0));
    EXPECT_EQ(AskAspect(Open(m_avi)), kNoAspect);
    m_avi.ctsI.reset();
    m_avi.prmA = SKrTestPrmA{.horizontal = 16, .vertical = 15};
    EXPECT_EQ(AskAspect(Open(m_avi), 2), Aspect(16, 15));
    EXPECT_EQ(AskMode(Open(m_avi)), kNoMode);
}

TEST_F(QueryAnswers, AllThreeChunks_Flavour1IsPreferred)
{
    m_avi.krlA = SKrTestKrlA{.scanMode = 0, .horizontal = 10, .vertical = 11};
    m_avi.prmA = SKrTestPrmA{.horizontal = 12, .vertical = 13};
    m_avi.ctsI = SKrTestCtsI{.scanMode = 1};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader), Mode(0));
    EXPECT_EQ(AskMode(reader, 1), Mode(0));
    EXPECT_EQ(AskMode(reader, 2), Mode(1));
    EXPECT_EQ(AskAspect(reader), Aspect(10, 11));
    EXPECT_EQ(AskAspect(reader, 1), Aspect(10, 11));
    EXPECT_EQ(AskAspect(reader, 2), Aspect(12, 13));
}

TEST_F(QueryAnswers, KrlAWithoutModeAndCtsIWithMode_AnswerTheModeOfCtsI)
{
    m_avi.krlA = SKrTestKrlA{.scanMode = 0xFF};
    m_avi.ctsI = SKrTestCtsI{.scanMode = 2};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader), Mode(2));
    EXPECT_EQ(AskMode(reader, 1), kModeNotSet);
    EXPECT_EQ(AskMode(reader, 2), Mode(2));
}

TEST_F(QueryAnswers, NewRecords_HaveNoModeAndAspect1To1)
{
    m_avi.krlA = SKrTestKrlA{}; // scan mode byte 0xFF, 1:1
    m_avi.prmA = SKrTestPrmA{};
    m_avi.ctsI = SKrTestCtsI{};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader), kModeNotSet);
    EXPECT_EQ(AskMode(reader, 1), kModeNotSet);
    EXPECT_EQ(AskMode(reader, 2), kModeNotSet);
    EXPECT_EQ(AskAspect(reader), Aspect(1, 1));
    EXPECT_EQ(AskAspect(reader, 1), Aspect(1, 1));
    EXPECT_EQ(AskAspect(reader, 2), Aspect(1, 1));
}

TEST_F(QueryAnswers, BothModesFail_OutputIsMinus1IfEitherReachedItsByte)
{
    m_avi.krlA = SKrTestKrlA{.scanMode = 3};
    EXPECT_EQ(AskMode(Open(m_avi)), kModeNotSet) << "no 'CtsI'";
    m_avi.ctsI = SKrTestCtsI{.version = {1, 0, 2, 0}, .scanMode = 2};
    EXPECT_EQ(AskMode(Open(m_avi)), kModeNotSet) << "wrong 'CtsI'";
    m_avi.ctsI = SKrTestCtsI{.scanMode = 0xFF};
    EXPECT_EQ(AskMode(Open(m_avi)), kModeNotSet) << "both without mode";
    m_avi.krlA = SKrTestKrlA{.signature = BadSignature(), .scanMode = 1};
    EXPECT_EQ(AskMode(Open(m_avi)), kModeNotSet) << "wrong 'KrlA'";
    m_avi.krlA.reset();
    EXPECT_EQ(AskMode(Open(m_avi)), kModeNotSet) << "no 'KrlA'";
}

TEST_F(QueryAnswers, BothModesFailBeforeTheirByte_OutputIsUntouched)
{
    m_avi.krlA = SKrTestKrlA{.signature = BadSignature(), .scanMode = 1};
    m_avi.ctsI = SKrTestCtsI{.version = {1, 0, 2, 0}, .scanMode = 2};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskMode(reader), kNoMode);
    EXPECT_EQ(AskMode(reader, 1), kNoMode);
    EXPECT_EQ(AskMode(reader, 2), kNoMode);
}

TEST_F(QueryAnswers, AspectWithSignBit_GivesItsBits)
{
    m_avi.krlA = SKrTestKrlA{.horizontal = 0x80000000, .vertical = 0xFFFFFFFF};
    m_avi.prmA = SKrTestPrmA{.horizontal = 0xFFFFFFFE, .vertical = 0x80000001};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskAspect(reader, 1), Aspect(INT_MIN, -1));
    EXPECT_EQ(AskAspect(reader, 2), Aspect(-2, INT_MIN + 1));
}

TEST_F(QueryAnswers, Aspect_IsNotReduced)
{
    m_avi.krlA = SKrTestKrlA{.horizontal = 648, .vertical = 720};
    m_avi.prmA = SKrTestPrmA{.horizontal = 864, .vertical = 720};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskAspect(reader, 1), Aspect(648, 720));
    EXPECT_EQ(AskAspect(reader, 2), Aspect(864, 720));
}

TEST_F(QueryAnswers, AspectWithZeros_IsReportedAllTheSame)
{
    m_avi.krlA = SKrTestKrlA{.horizontal = 0, .vertical = 0};
    m_avi.prmA = SKrTestPrmA{.horizontal = 5, .vertical = 0};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskAspect(reader), Aspect(0, 0));
    EXPECT_EQ(AskAspect(reader, 1), Aspect(0, 0));
    EXPECT_EQ(AskAspect(reader, 2), Aspect(5, 0));
}

TEST_F(QueryAnswers, FileWithoutPrivateChunks_HasNoAnswerWhateverItsHeaders)
{
    IKrRiffReader* const reader = Open(m_avi);
    SKrAviVideoParams format = {};
    uint32_t compression = 0;
    uint16_t bitCount = 0;
    int valid = 0;
    uint32_t id = 0;
    reader->GetVideoStreamInfo(&format, &compression, &bitCount, &valid, &id);
    ASSERT_EQ(valid, 1);
    ASSERT_EQ(format.scanMode, 0); // the headers do declare one
    ExpectNothing(reader);
}

TEST_F(QueryAnswers, AspectOfAWrongKrlA_ComesFromPrmA)
{
    m_avi.krlA = SKrTestKrlA{.signature = BadSignature(), .horizontal = 9, .vertical = 9};
    m_avi.prmA = SKrTestPrmA{.horizontal = 4, .vertical = 3};
    IKrRiffReader* const reader = Open(m_avi);
    EXPECT_EQ(AskAspect(reader), Aspect(4, 3));
    EXPECT_EQ(AskAspect(reader, 1), kNoAspect);
}

TEST_F(QueryAnswers, UnknownFlavours_FindNothingAndWriteNothing)
{
    m_avi.krlA = SKrTestKrlA{.scanMode = 1};
    m_avi.prmA = SKrTestPrmA{};
    m_avi.ctsI = SKrTestCtsI{.scanMode = 1};
    IKrRiffReader* const reader = Open(m_avi);
    for (const int flavour : {0, 3, -1, 4, 257, INT_MAX, INT_MIN})
    {
        EXPECT_EQ(AskMode(reader, flavour), kNoMode) << flavour;
        EXPECT_EQ(AskAspect(reader, flavour), kNoAspect) << flavour;
    }
    EXPECT_EQ(AskMode(reader, 1), Mode(1)); // the chunks exist
}

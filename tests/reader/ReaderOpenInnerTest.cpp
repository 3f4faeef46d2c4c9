// The file system calls of opening and closing, and the state after they fail.
#include "reader/KrRiffReader.h"

#include "tests/reader/ReaderOpenSupport.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
class ReaderOpenCalls : public testing::Test
{
protected:
    ReaderOpenCalls()
    {
        SKrSimpleAvi avi;
        avi.streams.push_back(PcmStream());
        avi.krlA = SKrTestKrlA{};
        m_built = BuildSimpleAvi(avi);
        m_files.Set(L"a.avi", m_built.content);
        m_files.Set(L"b.avi", BuildSimpleAvi({}).content);
    }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    CKrCountingFileSystem m_counting{m_faulty};
    SKrBuiltAvi m_built;
    CKrRef<CKrRiffReader> m_reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_counting));
};
} // namespace

TEST_F(ReaderOpenCalls, SamePathAfterTheFileWasReplaced_StillTouchesNothing)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_files.Set(L"a.avi", KrBytes(100));
    EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
    EXPECT_EQ(m_reader->GetFileLength(), m_built.content.Size());
    m_reader->Close();
    EXPECT_EQ(m_reader->Open(L"a.avi"), 0) << "opened afresh, it is too small";
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
}

TEST_F(ReaderOpenCalls, Close_ClosesTheFile)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_reader->Close();
    EXPECT_EQ(m_counting.Calls().openFiles, 0u);
}

TEST_F(ReaderOpenCalls, LastRelease_ClosesTheFile)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_reader.Reset();
    EXPECT_EQ(m_counting.Calls().openFiles, 0u);
}

TEST_F(ReaderOpenCalls, SecondPath_LeavesOneFileOpen)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    ASSERT_EQ(m_reader->Open(L"b.avi"), 1);
    EXPECT_EQ(m_counting.Calls().openFiles, 1u);
    EXPECT_EQ(m_counting.Calls().opens, 2u);
}

TEST_F(ReaderOpenCalls, TooSmallFile_IsNotRead)
{
    m_files.Set(L"small.avi", KrBytes(200, 'R'));
    EXPECT_EQ(m_reader->Open(L"small.avi"), 0);
    EXPECT_EQ(m_counting.Calls().reads, 0u);
    EXPECT_EQ(m_counting.Calls().openFiles, 0u);
}

TEST_F(ReaderOpenCalls, FailedParse_ClosesTheFile)
{
    m_files.Set(L"zeros.avi", KrBytes(5000));
    EXPECT_EQ(m_reader->Open(L"zeros.avi"), 0);
    EXPECT_GE(m_counting.Calls().reads, 1u);
    EXPECT_EQ(m_counting.Calls().openFiles, 0u);
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
}

TEST_F(ReaderOpenCalls, UnknownSize_IsRefused)
{
    m_faulty.FailCall(EKrFileCall::Size, 1);
    EXPECT_EQ(m_reader->Open(L"a.avi"), 0);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_EQ(m_counting.Calls().openFiles, 0u);
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
}

TEST_F(ReaderOpenCalls, RefusedOpenAfterAnotherFile_LeavesNoFileOpen)
{
    ASSERT_EQ(m_reader->Open(L"b.avi"), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Open, 1);
    EXPECT_EQ(m_reader->Open(L"a.avi"), 0);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_EQ(m_counting.Calls().openFiles, 0u);
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
}

TEST_F(ReaderOpenCalls, ReaderOfTheFactory_OpensWhereTheProcessOpensFiles)
{
    const KrPlatform::CFileSystemScope scope(m_counting);
    const CKrRef<IKrRiffReader> reader = NewReader();
    EXPECT_EQ(reader->Open(L"a.avi"), 1);
    EXPECT_EQ(m_counting.Calls().opens, 1u);
}

TEST_F(ReaderOpenCalls, NewReader_OpensNothing)
{
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
    m_reader->Close();
    EXPECT_EQ(m_counting.Calls().opens, 0u);
}

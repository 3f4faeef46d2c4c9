// The chunk search with failing reads and in files of extraordinary size.
#include "reader/KrRiffReader.h"

#include "tests/base/KrFailingAllocation.h"
#include "tests/reader/ReaderOpenSupport.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{

class ChunkSearchFar : public testing::Test
{
protected:
    void Open(const CKrFileContent& content)
    {
        m_files.Set(L"a.avi", content);
        ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
        m_faulty.Reset();
    }

    // Three chunks, one after the other, far apart.
    void OpenFarApart()
    {
        m_file.Riff("AVI ",
                    [&]
                    {
                        m_file.List("hdrl", [] {});
                        for (int count = 0; count < 3; ++count)
                        {
                            m_file.Chunk("mark", KrBytes(2, 1));
                            m_file.ZeroChunk("skip", kBeyondReadAhead);
                        }
                    });
        Open(m_file.Content());
    }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    CKrAviBuilder m_file;
    const CKrRef<CKrRiffReader> m_reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_faulty));
};
} // namespace

TEST_F(ChunkSearchFar, FailedRead_EndsTheSearchForNow)
{
    OpenFarApart();
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}), 1);
    m_faulty.FailCall(EKrFileCall::Read, m_faulty.Calls(EKrFileCall::Read) + 1, EKrFaultSpan::FromThenOn);
    const SKrReported first = NextMatch(*m_reader);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(Line(first), Line(m_file.Find("mark"))) << "reported all the same";
    m_faulty.Reset();
    EXPECT_EQ(
        AllLines(*m_reader, NextMatch),
        (KrLines{Line(m_file.Find("mark")), Line(m_file.Find("mark", 1)), Line(m_file.Find("mark", 2))}));
}

TEST_F(ChunkSearchFar, FailedReadAtTheStart_FindsNothing)
{
    OpenFarApart();
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}, m_file.Find("mark", 1).header),
              1); // discards the read-ahead
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn);
    EXPECT_EQ(StartSearch(*m_reader, {"mark"}, m_file.Find("mark", 2).header), 0);
    EXPECT_TRUE(m_faulty.FaultStruck());
}

TEST_F(ChunkSearchFar, ChunksBeyondFourGigabytes_AreFoundWithTheirWholePosition)
{
    m_file.Riff("AVI ",
                [&]
                {
                    m_file.List("hdrl", [] {});
                    m_file.ZeroChunk("skip", 0xFFFFFF00);
                });
    m_file.ZeroChunk("skip", 0xFFFFFF00);
    m_file.Chunk("mark", KrBytes(2, 1));
    Open(m_file.Content());
    const SKrBuiltChunk mark = m_file.Find("mark");
    ASSERT_GT(mark.data, uint64_t{1} << 32);
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}), 1);
    EXPECT_EQ(Line(NextMatch(*m_reader)), Line(mark));
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}, mark.header), 1) << "as a start, too";
    EXPECT_EQ(Line(NextMatch(*m_reader)), Line(mark));
}

TEST_F(ChunkSearchFar, OutOfMemory_IsNoMatchAndNoException)
{
    constexpr int kMatches = 100; // more than one block of records holds
    m_file.Riff("AVI ",
                [&]
                {
                    m_file.List("hdrl", [] {});
                    for (int count = 0; count < kMatches; ++count)
                        m_file.Chunk("mark", KrBytes(4, 1));
                });
    Open(m_file.Content());
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}), 1);
    int found = 1;
    int struck = 0;
    for (int call = 0; call < 3 * kMatches && found < kMatches; ++call)
    {
        uint32_t id, type, size;
        uint64_t offset;
        const CFailingAllocation failing(call % 2);
        found += m_reader->FindNextChunk(&id, &type, &size, &offset, nullptr);
        struck += call % 2 != 0 && failing.Struck();
    }
    EXPECT_EQ(found, kMatches) << "the search continues";
    EXPECT_GT(struck, 0);
}

// The shortcut to the last RIFF segment.
#include "tests/reader/ReaderOpenSupport.h"

#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
class LastRiffSegment : public testing::Test
{
protected:
    void Open(std::vector<size_t> rounds)
    {
        SKrSimpleAvi avi;
        avi.streams = {VideoStream(std::vector<uint32_t>(rounds.size(), 100))};
        avi.roundsPerSegment = std::move(rounds);
        m_built = BuildSimpleAvi(avi);
        ASSERT_EQ(m_reader->Open(m_folder.Write(L"a.avi", m_built.content).c_str()), 1);
    }

    const CKrTempFolder m_folder;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    SKrBuiltAvi m_built;
};
} // namespace

TEST_F(LastRiffSegment, OneSegment_IsTheFirst)
{
    Open({1});
    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(Line(*last), Line(m_built.segments[0]));
}

TEST_F(LastRiffSegment, ThreeSegments_IsTheThird)
{
    Open({1, 1, 1});
    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(Line(*last), Line(m_built.segments[2]));
    EXPECT_EQ(m_reader->GetLastRiffSegment(), last) << "the same record each time";
}

TEST_F(LastRiffSegment, SegmentWalk_IsLeftAtItsEnd)
{
    Open({1, 1});
    ASSERT_NE(m_reader->GetLastRiffSegment(), nullptr);
    const SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(segment.status, 0);
    EXPECT_EQ(Line(segment), Line(m_built.segments[1]));
}

TEST_F(LastRiffSegment, SegmentWalkUnderWay_IsStartedOver)
{
    Open({1, 1, 1});
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_EQ(NextSegment(*m_reader).status, 1);
    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(Line(*last), Line(m_built.segments[2]));
}

TEST_F(LastRiffSegment, Record_BeginsItsNodeAndStaysThroughWalksAndSearches)
{
    Open({1, 1});
    const SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    SKrRiffChunkNode* const first = NextSegment(*m_reader).node;
    EXPECT_EQ(static_cast<const void*>(NextSegment(*m_reader).node), static_cast<const void*>(last));
    ASSERT_EQ(m_reader->FindFirstSubChunk(first), 1);
    static_cast<void>(AllLines(*m_reader, NextSubChunk));
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    m_reader->EndChunkSearch();
    EXPECT_EQ(Line(*last), Line(m_built.segments[1]));
}

TEST_F(LastRiffSegment, SubChunkWalk_Continues)
{
    Open({1, 1});
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    ASSERT_EQ(m_reader->FindFirstSubChunk(NextSegment(*m_reader).node), 1);
    EXPECT_EQ(NextSubChunk(*m_reader).type, FourCcValue("hdrl"));
    ASSERT_NE(m_reader->GetLastRiffSegment(), nullptr);
    EXPECT_EQ(NextSubChunk(*m_reader).type, FourCcValue("movi"));
}

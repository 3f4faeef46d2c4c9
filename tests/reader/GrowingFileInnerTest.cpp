// Slots 24 and 25: following a recording.
#include "tests/base/KrFailingAllocation.h"
#include "tests/reader/GrowingSupport.h"

#include <algorithm>
#include <thread>

using namespace KrTest;

namespace
{
using Growing = GrowingTest;

uint64_t CallsOf(const SKrFileCalls& calls)
{
    return calls.reads + calls.sizes + calls.seeks + calls.shares + calls.opens;
}
} // namespace

TEST_F(Growing, RecordingUnderWay_IsOpenedAsGrowing_NotInTheUsualWay)
{
    StartRecording();
    Record(30);
    EXPECT_EQ(m_reader.Open(kRecordedPath), 0);
    EXPECT_EQ(m_reader.OpenGrowing(kRecordedPath), 1);
    EXPECT_EQ(m_reader.GetStreamCount(), 2u);
    EXPECT_EQ(Given(0), 25u) << "what the writer has flushed";
    ExpectRightBytes(0);
    ExpectRightBytes(1);
    EXPECT_EQ(m_reader.Open(kRecordedPath), 1) << "the path is open";
    Record(30);
    EXPECT_EQ(m_reader.Refresh(), 1) << "and it stays growing";
    EXPECT_EQ(Given(0), 50u);
}

TEST_F(Growing, Refresh_TakesInWhatTheWriterHasFlushed)
{
    StartRecording();
    Follow();
    EXPECT_EQ(LoadStreamOf(m_reader, 0), (SKrStreamAnswer{1, {}})) << "an index without entries";
    EXPECT_EQ(Frames(), 0u);
    size_t before = 0;
    for (int second = 1; second <= 6; ++second)
    {
        const uint64_t length = m_reader.GetFileLength();
        Record(25);
        EXPECT_EQ(m_reader.GetFileLength(), length) << "that of the last Refresh";
        EXPECT_EQ(Given(0), before);
        EXPECT_EQ(m_reader.Refresh(), 1);
        EXPECT_GT(m_reader.GetFileLength(), length);
        EXPECT_EQ(Given(0), 25u * static_cast<size_t>(second));
        EXPECT_EQ(Frames(), 25u * static_cast<uint32_t>(second));
        EXPECT_EQ(PropertiesOf(m_reader, 0).length, 25u * static_cast<uint32_t>(second));
        before = Given(0);
        ExpectRightBytes(0);
        ExpectRightBytes(1);
        EXPECT_EQ(m_reader.Refresh(), 0);
    }
}

TEST_F(Growing, FirstChunkIds_ComeWithTheFirstChunks)
{
    StartRecording();
    Follow();
    uint32_t id = 99;
    Frames(&id);
    EXPECT_EQ(id, 0u);
    Record(60);
    EXPECT_EQ(m_reader.Refresh(), 1);
    Frames(&id);
    EXPECT_EQ(id, 0x63643030u);
    SKrWaveFormatInfo format;
    int valid = 0;
    EXPECT_EQ(m_reader.GetAudioStreamInfo(&format, &valid, &id, nullptr), 1);
    EXPECT_EQ(id, 0x62773130u);
    EXPECT_EQ(PropertiesOf(m_reader, 1).chunkId, 0x62773130u);
}

// Six calls: the headers, the heads of two standard indexes, the length, whether somebody writes; in later
// segments those of the segment as well.
TEST_F(Growing, RefreshWithNothingNew_TakesAtMostSixCalls_WhateverTheLength)
{
    StartRecording();
    Follow();
    for (const size_t frames : {30u, 500u, 4500u})
    {
        Record(frames);
        EXPECT_EQ(m_reader.Refresh(), 1);
        m_counts.Reset();
        EXPECT_EQ(m_reader.Refresh(), 0);
        const SKrFileCalls calls = m_counts.Calls();
        EXPECT_LE(CallsOf(calls), 6u);
        EXPECT_EQ(calls.shares, 1u);
        EXPECT_LE(calls.bytes, 70'000u);
    }
}

TEST_F(Growing, RefreshWithNews_AsksForNoShareMode_AndReadsEachIndexThatGrewOnceMore)
{
    StartRecording();
    Follow();
    Record(60);
    EXPECT_EQ(m_reader.Refresh(), 1);
    Record(25);
    m_counts.Reset();
    EXPECT_EQ(m_reader.Refresh(), 1);
    EXPECT_EQ(m_counts.Calls().shares, 0u);
    EXPECT_LE(CallsOf(m_counts.Calls()), 6u + 2u);
}

TEST_F(Growing, NextStandardIndex_IsFollowed)
{
    StartRecording();
    Follow();
    for (int part = 0; part < 9; ++part)
    {
        Record(500);
        EXPECT_EQ(m_reader.Refresh(), 1);
        EXPECT_GE(Given(0) + 25, m_frames);
        EXPECT_GE(Given(1) + 25, m_frames);
    }
    EXPECT_GT(m_frames, 4028u);
    m_counts.Reset();
    EXPECT_EQ(LoadStreamOf(m_reader, 0, Given(0) - 1).entries.size(), 1u);
}

// Frames of 60 MB: a gigabyte is soon full.
TEST_F(Growing, NextSegment_IsFollowed_AndNodesStayWhereTheyAre)
{
    SKrWritten written;
    StartRecording(written);
    Follow();
    ASSERT_EQ(m_reader.FindFirstRiffSegment(), 1);
    uint32_t type = 0, size = 0, id = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* riff = nullptr;
    EXPECT_EQ(m_reader.FindNextRiffSegment(&type, &size, &offset, &riff), 0);
    SKrRiffChunkNode* movi = nullptr;
    ASSERT_EQ(m_reader.FindFirstSubChunk(riff), 1);
    while (m_reader.FindNextSubChunk(&id, &type, &size, &offset, &movi) != 0 && type != 0x69766F6D)
    {
    }
    ASSERT_EQ(type, 0x69766F6Du);
    const uint32_t before = movi->chunk.cksize;
    size_t given = 0;
    for (int frame = 0; frame < 60; ++frame)
    {
        ASSERT_EQ(m_recorder.AddZeroVideo(60'000'000), 1);
        static_cast<void>(m_reader.Refresh());
        ASSERT_GE(Given(0), given);
        given = Given(0);
    }
    EXPECT_EQ(given, 50u);
    EXPECT_GT(movi->chunk.cksize, before);
    EXPECT_GT(riff->chunk.cksize, movi->chunk.cksize);
    int segments = 1;
    ASSERT_EQ(m_reader.FindFirstRiffSegment(), 1);
    for (SKrRiffChunkNode* node = nullptr; m_reader.FindNextRiffSegment(&type, &size, &offset, &node) != 0;
         ++segments)
    {
        if (segments == 1)
        {
            EXPECT_EQ(node, riff);
        }
    }
    EXPECT_EQ(segments, 4);
    m_counts.Reset();
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_LE(CallsOf(m_counts.Calls()), 6u);
    // A walk that ended goes on where the list has grown.
    ASSERT_EQ(m_reader.FindFirstSubChunk(movi), 1);
    int chunks = 1;
    while (m_reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr) != 0)
        ++chunks;
    EXPECT_GT(chunks, 17);
}

TEST_F(Growing, EntriesThatWereGiven_NeverChange)
{
    StartRecording();
    Follow();
    KrChunkPlaces before;
    for (int part = 0; part < 40; ++part)
    {
        Record(7);
        static_cast<void>(m_reader.Refresh());
        const KrChunkPlaces now = LoadStreamOf(m_reader, 0).entries;
        ASSERT_GE(now.size(), before.size());
        ASSERT_TRUE(std::equal(before.begin(), before.end(), now.begin()));
        ASSERT_EQ(LoadStreamOf(m_reader, 0, before.size()).entries.size(), now.size() - before.size());
        before = now;
    }
}

TEST_F(Growing, OpenGrowingAlwaysReopens)
{
    StartRecording();
    Record(30);
    Follow();
    EXPECT_EQ(m_reader.OpenGrowing(kRecordedPath), 1);
    EXPECT_EQ(m_counts.Calls().opens, 1u);
    EXPECT_EQ(m_recorder.files.OpenFiles(), 2u) << "the writer's and ours";
}

TEST_F(Growing, LockedReader_IsBusy)
{
    StartRecording();
    Follow();
    Record(30);
    m_reader.Lock().Enter();
    std::thread(
        [&]
        {
            EXPECT_EQ(m_reader.Refresh(), -1);
            EXPECT_EQ(m_reader.OpenGrowing(kRecordedPath), 0);
            EXPECT_EQ(m_reader.GetGrowingState(), 1u);
        })
        .join();
    m_reader.Lock().Leave();
    EXPECT_EQ(m_reader.Refresh(), 1);
}

TEST_F(Growing, ReaderThatIsNotGrowing_HasNothingToRefresh)
{
    EXPECT_EQ(m_reader.Refresh(), -1) << "no file is open";
    EXPECT_EQ(m_reader.OpenGrowing(nullptr), 0);
    EXPECT_EQ(m_reader.OpenGrowing(L"missing.avi"), 0);
    StartRecording();
    Record(30);
    m_recorder.Close();
    ASSERT_EQ(m_reader.Open(kRecordedPath), 1);
    EXPECT_EQ(m_reader.Refresh(), 0);
    EXPECT_EQ(m_reader.GetGrowingState(), 0u);
}

TEST_F(Growing, EveryFailedCall_ChangesNothing_AndTheNextRefreshMendsIt)
{
    for (const EKrFileCall kind : {EKrFileCall::Read, EKrFileCall::Size})
    {
        uint64_t struck = 0;
        for (uint64_t number = 1;; ++number, ++struck)
        {
            StartRecording();
            Record(30);
            Follow();
            Record(60);
            const size_t before = Given(0);
            const uint64_t length = m_reader.GetFileLength();
            m_faults.Reset();
            m_faults.FailCall(kind, number);
            const int status = m_reader.Refresh();
            const bool hit = m_faults.FaultStruck();
            m_faults.Reset();
            EXPECT_EQ(status, hit ? -1 : 1) << number;
            if (hit)
            {
                EXPECT_EQ(Given(0), before);
                EXPECT_EQ(m_reader.GetFileLength(), length);
                EXPECT_EQ(m_reader.Refresh(), 1);
            }
            EXPECT_EQ(Given(0), 75u);
            EXPECT_EQ(Given(1), 75u);
            m_reader.Close();
            m_recorder.Close();
            m_frames = 0;
            if (!hit)
                break;
        }
        EXPECT_GE(struck, kind == EKrFileCall::Read ? 4u : 1u);
    }
}

// A recording that ends gets its 'idx1', for which the headers are parsed again.
TEST_F(Growing, EveryFailedReadAfterTheEnd_LosesNothing)
{
    uint64_t struck = 0;
    const auto failing = [&](int& result)
    {
        m_faults.Reset();
        m_faults.FailCall(EKrFileCall::Read, struck + 1, EKrFaultSpan::FromThenOn);
        result = m_reader.Refresh();
        const bool hit = m_faults.FaultStruck();
        m_faults.Reset();
        return hit;
    };
    while (LosesNothingAfterTheEnd(failing))
        ++struck;
    EXPECT_GE(struck, 8u);
}

TEST_F(Growing, EveryFailedAllocationAfterTheEnd_LosesNothing)
{
    unsigned struck = 0;
    const auto failing = [&](int& result)
    {
        const CFailingAllocation allocation(struck + 1);
        result = m_reader.Refresh();
        return allocation.Struck();
    };
    while (LosesNothingAfterTheEnd(failing))
        ++struck;
    EXPECT_GE(struck, 8u);
}

TEST_F(Growing, EveryFailedCallOfTheOpening_RefusesTheFile)
{
    StartRecording();
    Record(60);
    for (const EKrFileCall kind : {EKrFileCall::Open, EKrFileCall::Size})
    {
        const uint64_t struck = ForEveryFailedCall(m_faults, kind, EKrFaultSpan::Once,
                                                   [&](uint64_t)
                                                   {
                                                       const int status = m_reader.OpenGrowing(kRecordedPath);
                                                       EXPECT_EQ(status, m_faults.FaultStruck() ? 0 : 1);
                                                   });
        EXPECT_GE(struck, 1u);
    }
    m_faults.Reset();
    EXPECT_EQ(m_reader.OpenGrowing(kRecordedPath), 1);
    m_reader.Close();
    EXPECT_EQ(m_recorder.files.OpenFiles(), 1u);
}

// A recording under way and a reader that follows it, both in memory and in one thread.
#ifndef KR_TESTS_READER_GROWINGSUPPORT_H
#define KR_TESTS_READER_GROWINGSUPPORT_H

#include "tests/reader/AllStreamsSupport.h"
#include "tests/writer/KrRecorder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTest
{
// The headers that other programs write first: sizes that are not known yet, no index, some chunks.
[[nodiscard]] inline SKrBuiltAvi Unfinished(uint32_t size, EKrIndexKind index = EKrIndexKind::None)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams = {VideoStream({100, 101, 102}), PcmStream({64, 64, 64})};
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    built.content.PutU32(4, size);
    built.content.PutU32(built.Find("movi").header + 4, size);
    return built;
}

class GrowingTest : public testing::Test
{
protected:
    // Records frames of 1000 bytes and more, each with its sound.
    void Record(size_t frames)
    {
        for (size_t number = 0; number < frames; ++number, ++m_frames)
        {
            if (m_recorder.written.pcm)
            {
                ASSERT_EQ(m_recorder.AddPatternAudio(kBytesOf25thSecond), 1);
            }
            ASSERT_EQ(m_recorder.AddPatternVideo(1000 + m_frames), 1);
        }
    }

    void StartRecording(const SKrWritten& what = WithAudio()) { ASSERT_EQ(m_recorder.Open(what), 1); }

    void Follow()
    {
        ASSERT_EQ(m_reader.OpenGrowing(kRecordedPath), 1);
        m_counts.Reset();
        m_faults.Reset();
    }

    [[nodiscard]] size_t Given(uint32_t stream) { return LoadStreamOf(m_reader, stream).entries.size(); }

    // Every chunk that the reader gives has the bytes that were recorded.
    void ExpectRightBytes(uint32_t stream)
    {
        const SKrStreamAnswer answer = LoadStreamOf(m_reader, stream);
        ASSERT_EQ(answer.status, 1);
        for (size_t number = 0; number < answer.entries.size(); ++number)
        {
            const SKrChunkPlace& place = answer.entries[number];
            ASSERT_LE(place.position + place.size, m_reader.GetFileLength());
            KrBytes bytes(place.size);
            ASSERT_EQ(m_reader.ReadAt(place.position, bytes.data(), place.size), place.size);
            ASSERT_EQ(bytes, PatternBytes(stream, number, place.size)) << number;
        }
    }

    // The file as a host of the older operations sees it.
    uint32_t Frames(uint32_t* chunkId = nullptr)
    {
        SKrAviVideoParams format;
        uint32_t compression, id;
        uint16_t bits;
        int valid;
        const uint32_t frames = m_reader.GetVideoStreamInfo(&format, &compression, &bits, &valid, &id);
        if (chunkId != nullptr)
            *chunkId = id;
        return frames;
    }

    // Refreshes until nothing can be left to tell, after one with this result.
    void ExpectTheEndIsToldOnce(int first)
    {
        int told = first == 1 ? 1 : 0;
        for (int round = 0; round < 5; ++round)
            told += m_reader.Refresh() == 1 ? 1 : 0;
        EXPECT_EQ(told, 1);
        EXPECT_EQ(m_reader.GetGrowingState(), 2u);
    }

    // Refreshes once after a recording has ended. `refresh` sees to a failure in it, notes its result, and
    // answers whether the failure came about, as this does. Nothing of the end may be lost by it.
    template <class Refresh>
    bool LosesNothingAfterTheEnd(Refresh&& refresh)
    {
        StartRecording();
        Record(30);
        Follow();
        m_recorder.writer->CloseFile();
        int first = 0;
        const bool hit = refresh(first);
        EXPECT_EQ(first, hit ? -1 : 1);
        ExpectTheEndIsToldOnce(first);
        ExpectFinished(m_reader, 30);
        m_reader.Close();
        m_frames = 0;
        return hit;
    }

    // All of a recording is there, also for the older operations.
    void ExpectFinished(CKrRiffReader& reader, size_t frames)
    {
        EXPECT_EQ(reader.GetFileLength(), m_recorder.Content().Size());
        EXPECT_EQ(LoadStreamOf(reader, 0).entries.size(), frames);
        EXPECT_EQ(LoadStreamOf(reader, 1).entries.size(), frames);
        CArray<SKrChunkIndexEntry> entries;
        EXPECT_EQ(reader.LoadVideoIndex(entries), 1);
        EXPECT_EQ(static_cast<size_t>(entries.GetSize()), frames);
        SKrAviVideoParams format = {};
        uint32_t compression, id;
        uint16_t bits;
        int valid = 0;
        EXPECT_EQ(reader.GetVideoStreamInfo(&format, &compression, &bits, &valid, &id), frames);
        EXPECT_EQ(valid, 1);
    }

    CKrRecorder m_recorder{EKrWorker::None};
    CKrFaultyFileSystem m_faults{m_recorder.files};
    CKrCountingFileSystem m_counts{m_faults};
    CKrRiffReader m_reader{m_counts};
    size_t m_frames = 0;
};
} // namespace KrTest

#endif

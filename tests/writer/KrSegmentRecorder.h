// A recorder whose payloads are zeros, which the file system in memory does not store. Without a worker
// thread everything is written by the time the submission returns.
#ifndef KR_TESTS_WRITER_KRSEGMENTRECORDER_H
#define KR_TESTS_WRITER_KRSEGMENTRECORDER_H

#include "format/KrBytes.h"
#include "format/KrLimits.h"
#include "tests/writer/KrRecorder.h"

namespace KrTest
{
inline constexpr size_t kLargeFrame = 60'000'000;

[[nodiscard]] inline uint64_t OldIndexTail(size_t entries, uint32_t sector)
{
    return (16 * entries + 24 + sector - 1) / sector * sector;
}

class CKrSegmentRecorder : public testing::Test
{
protected:
    void Open(uint32_t bytesPerSector, bool withAudio = false)
    {
        SKrWritten written;
        written.bytesPerSector = bytesPerSector;
        if (withAudio)
            written.pcm = SKrPcmFormat{.channels = 2, .samplesPerSec = 25, .bitsPerSample = 16};
        ASSERT_EQ(m_recorder.Open(written), 1);
    }

    void AddLargeFrames(size_t count)
    {
        for (size_t number = 0; number < count; ++number)
            ASSERT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 1);
    }

    // Frames, each after the sound of one.
    void AddPairs(size_t count, size_t frameSize)
    {
        for (size_t number = 0; number < count; ++number)
        {
            ASSERT_EQ(m_recorder.AddZeroAudio(4), 1);
            ASSERT_EQ(m_recorder.AddZeroVideo(frameSize), 1);
        }
    }

    [[nodiscard]] uint64_t Size() const { return m_recorder.Content().Size(); }

    CKrRecorder m_recorder{EKrWorker::None};
};
} // namespace KrTest

#endif

// The checker of written files detects any wrong byte.
#include "tests/writer/KrRecorder.h"

using namespace KrTest;

namespace
{
struct SRange
{
    uint64_t from = 0;
    uint64_t to = 0;
};

class AviChecker : public testing::Test
{
protected:
    [[nodiscard]] bool SeesProblems() const { return !CheckWrittenAvi(m_file, m_written).problems.empty(); }

    // Thirty frames with their sound.
    void RecordSmallFile(CKrRecorder& recorder)
    {
        m_written.pcm = SKrPcmFormat{};
        ASSERT_EQ(recorder.Open(m_written), 1);
        for (int number = 0; number < 30; ++number)
        {
            ASSERT_EQ(recorder.AddPatternAudio(kBytesOf25thSecond), 1);
            ASSERT_EQ(recorder.AddPatternVideo(333), 1);
        }
    }

    void Take(const CKrRecorder& recorder, const SKrCheckedAvi& checked)
    {
        m_file = recorder.Content();
        m_checked = checked;
    }

    // False for bytes that no rule covers: payloads, and the data rate, which is taken from the file.
    [[nodiscard]] bool IsChecked(uint64_t position) const
    {
        for (const auto* const chunks : {&m_checked.video, &m_checked.audio})
        {
            for (const SKrWrittenChunk& chunk : *chunks)
            {
                if (position >= chunk.data && position < chunk.data + chunk.size)
                    return false;
            }
        }
        return position < 36 || position >= 40;
    }

    // Changes the bytes of a range one at a time, but only a few of the many zeros.
    size_t ChangeBytes(const SRange& range)
    {
        size_t changes = 0;
        for (uint64_t position = range.from; position < range.to; ++position)
        {
            const KrBytes byte = m_file.Range(position, 1);
            if (!IsChecked(position) || (byte[0] == 0 && position % 499 != 0))
                continue;
            m_file.Put(position, KrBytes{static_cast<uint8_t>(byte[0] ^ 1)});
            EXPECT_TRUE(SeesProblems()) << position;
            m_file.Put(position, byte);
            ++changes;
        }
        return changes;
    }

    SKrWritten m_written;
    SKrCheckedAvi m_checked;
    CKrFileContent m_file;
};
} // namespace

TEST_F(AviChecker, AnyChangedByte_IsDetected)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_NO_FATAL_FAILURE(RecordSmallFile(recorder));
    Take(recorder, recorder.Close());
    ASSERT_FALSE(SeesProblems());
    EXPECT_GT(ChangeBytes({0, m_file.Size()}), 1000u);
}

TEST_F(AviChecker, AnyChangedByteAroundALaterSegment_IsDetected)
{
    constexpr size_t kLargeFrame = 60'000'000; // 17 of them fit into a segment
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(m_written), 1);
    for (int number = 0; number < 40; ++number)
        ASSERT_EQ(recorder.AddZeroVideo(kLargeFrame), 1);
    Take(recorder, recorder.Close());
    ASSERT_FALSE(SeesProblems());
    ASSERT_EQ(m_checked.segments.size(), 4u) << "three, and the end of the last one";
    for (const uint64_t segment : m_checked.segments)
        EXPECT_GT(ChangeBytes(
                      {segment - std::min<uint64_t>(segment, 2048), std::min(segment + 2048, m_file.Size())}),
                  4u);
}

// Such a file may hold more than it declares, never less.
TEST_F(AviChecker, AnyChangedByteInAnUnfinishedFile_IsDetected)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_NO_FATAL_FAILURE(RecordSmallFile(recorder));
    m_written.isComplete = false;
    Take(recorder, CheckWrittenAvi(recorder.Content(), m_written));
    ASSERT_EQ(m_checked.problems, std::vector<std::string>{});
    ASSERT_FALSE(m_checked.videoIndexes.empty());
    for (const auto* const indexes : {&m_checked.videoIndexes, &m_checked.audioIndexes})
    {
        for (const SKrWrittenIndex& index : *indexes)
        {
            const uint64_t entries = index.position + 32;
            EXPECT_GT(ChangeBytes({index.position, entries + 8 * index.chunks.size()}), 50u);
        }
    }
    for (const SKrWrittenChunk& chunk : m_checked.video)
        EXPECT_GT(ChangeBytes({chunk.data - 8, chunk.data}), 4u);
    m_written.isComplete = true;
    EXPECT_TRUE(SeesProblems());
}

TEST_F(AviChecker, MissingAndSurplusBytes_AreDetected)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_NO_FATAL_FAILURE(RecordSmallFile(recorder));
    Take(recorder, recorder.Close());
    const uint64_t size = m_file.Size();
    m_file.Append(KrBytes{0});
    EXPECT_TRUE(SeesProblems());
    m_file.Resize(size - 1);
    EXPECT_TRUE(SeesProblems());
    m_file = {};
    EXPECT_TRUE(SeesProblems());
}

TEST_F(AviChecker, OtherExpectations_AreDetected)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_NO_FATAL_FAILURE(RecordSmallFile(recorder));
    Take(recorder, recorder.Close());
    const SKrWritten right = m_written;
    const auto isSeen = [&](auto change)
    {
        m_written = right;
        change(m_written);
        return SeesProblems();
    };
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.width = 721; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.height = 577; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.bitCount = 32; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.codec = "mjpg"; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.codec.clear(); }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.frameRate = 3; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.scanMode = 0; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.aspectVertical = 1; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.pcm.reset(); }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.pcm->samplesPerSec = 44100; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.bytesPerSector = 4096; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.lostFrames = 1; }));
    EXPECT_TRUE(isSeen([](SKrWritten& written) { written.queuedVideo = 31; }));
}

// The checker of written files sees any byte that is not as it must be.
#include "tests/writer/KrRecorder.h"

using namespace KrTest;

namespace
{
class AviChecker : public testing::Test
{
protected:
    AviChecker()
    {
        m_written.pcm = SKrPcmFormat{};
        CKrRecorder recorder(EKrWorker::None);
        EXPECT_EQ(recorder.Open(m_written), 1);
        for (int number = 0; number < 30; ++number)
        {
            EXPECT_EQ(recorder.AddPatternAudio(kBytesOf25thSecond), 1);
            EXPECT_EQ(recorder.AddPatternVideo(333), 1);
        }
        m_checked = recorder.Close();
        m_bytes = recorder.Content().ToBytes();
    }

    // Payloads are nobody's business; the data rate is taken from the file.
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

    [[nodiscard]] bool SeesProblems() const
    {
        return !CheckWrittenAvi(CKrFileContent(m_bytes), m_written).problems.empty();
    }

    SKrWritten m_written;
    SKrCheckedAvi m_checked;
    KrBytes m_bytes;
};
} // namespace

TEST_F(AviChecker, AnyChangedByte_IsSeen)
{
    ASSERT_FALSE(SeesProblems());
    size_t changes = 0;
    for (size_t position = 0; position < m_bytes.size(); ++position)
    {
        if (!IsChecked(position) || (m_bytes[position] == 0 && position % 499 != 0))
            continue; // of the many zeros some are enough
        m_bytes[position] ^= 1;
        ASSERT_TRUE(SeesProblems()) << position;
        m_bytes[position] ^= 1;
        ++changes;
    }
    EXPECT_GT(changes, 1000u);
}

TEST_F(AviChecker, MissingAndSurplusBytes_AreSeen)
{
    m_bytes.push_back(0);
    EXPECT_TRUE(SeesProblems());
    m_bytes.pop_back();
    m_bytes.pop_back();
    EXPECT_TRUE(SeesProblems());
}

TEST_F(AviChecker, OtherExpectations_AreSeen)
{
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
}

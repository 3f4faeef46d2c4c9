// Writes, flushes and views that fail: what the writer then refuses, and what the file still holds.
#include "format/KrBytes.h"
#include "tests/support/KrStallingFileSystem.h"
#include "tests/writer/KrRecorder.h"

using namespace KrTest;

namespace
{
class WriterFault : public testing::Test
{
protected:
    // Submits pairs until one is refused or all are accepted; returns how many frames were accepted.
    size_t Record(size_t pairs)
    {
        size_t frames = 0;
        for (size_t number = 0; number < pairs; ++number)
        {
            if (m_recorder.written.pcm && m_recorder.AddPatternAudio(kBytesOf25thSecond) == 0)
                break;
            if (m_recorder.AddPatternVideo(100) == 0)
                break;
            ++frames;
        }
        return frames;
    }

    void ExpectNothingLeft()
    {
        EXPECT_EQ(m_recorder.files.OpenFiles(), 0u);
        EXPECT_EQ(m_recorder.files.OpenViews(), 0u);
        EXPECT_EQ(CKrTestSample::Alive(), 0);
    }

    CKrRecorder m_recorder{EKrWorker::None};
};
} // namespace

TEST_F(WriterFault, FailedWrite_RefusesEverythingLaterAndKeepsTheRest)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    ASSERT_EQ(Record(30), 30u);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 1);
    EXPECT_EQ(m_recorder.AddPatternVideo(100), 0) << "without a worker the submission itself reports it";
    EXPECT_EQ(m_recorder.AddPatternVideo(100), 0);
    EXPECT_EQ(m_recorder.AddPatternVideo(100), 0);
    EXPECT_EQ(m_recorder.Close().video.size(), 30u) << "the disk has room again: the file is complete";
    ExpectNothingLeft();
    ASSERT_EQ(m_recorder.Open({}), 1) << "the next file starts without the error";
    EXPECT_EQ(m_recorder.AddPatternVideo(100), 1);
}

TEST_F(WriterFault, WithAWorker_QueuedSamplesAreThrownAway)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    recorder.faults.Reset();
    recorder.faults.FailCall(EKrFileCall::Write, 5, EKrFaultSpan::FromThenOn);
    while (recorder.AddAudio(KrBytes(kBytesOf25thSecond)) != 0 && recorder.AddVideo(KrBytes(100)) != 0)
    {
    }
    EXPECT_TRUE(recorder.faults.FaultStruck());
    EXPECT_EQ(recorder.writer->CloseFile(), 0);
    EXPECT_EQ(recorder.files.OpenFiles(), 0u);
    EXPECT_EQ(recorder.files.OpenViews(), 0u);
    EXPECT_EQ(CKrTestSample::Alive(), 0);
}

// A write that ends inside the data loses the chunk; one that ends inside the padding keeps it.
TEST_F(WriterFault, ShortWrite_KeepsTheChunkWhenOnlyThePaddingIsCut)
{
    for (const size_t bytes : {0u, 7u, 8u, 107u, 108u, 115u, 511u})
    {
        SCOPED_TRACE(bytes);
        ASSERT_EQ(m_recorder.Open({}), 1);
        ASSERT_EQ(Record(3), 3u);
        m_recorder.faults.Reset();
        m_recorder.faults.ShortenWrite(1, bytes);
        EXPECT_EQ(m_recorder.AddPatternVideo(100), 0);
        const bool isKept = bytes >= 108;
        m_recorder.writer->CloseFile();
        m_recorder.written.lostFrames = isKept ? 1 : 0;
        const SKrCheckedAvi checked = CheckWrittenAvi(m_recorder.Content(), m_recorder.written);
        EXPECT_EQ(FramesReadable(m_recorder.Content()), isKept ? 4u : 3u);
        EXPECT_EQ(GetLe32(m_recorder.Content().Range(48, 4).data()), 3u) << "counted in the headers";
        if (!isKept)
        {
            EXPECT_EQ(checked.problems, std::vector<std::string>{});
        }
        ExpectNothingLeft();
    }
}

TEST_F(WriterFault, EveryFailedWrite_LeavesTheFramesOfTheLastFlushReadable)
{
    for (const SKrWritten& written : {SKrWritten{}, WithAudio()})
    {
        const auto record = [&](uint64_t number)
        {
            ASSERT_EQ(m_recorder.Open(written) != 0, number > (written.pcm ? 3u : 2u));
            if (number <= (written.pcm ? 3u : 2u))
                return;
            const size_t accepted = Record(60);
            const bool struckBefore = m_recorder.faults.FaultStruck();
            const int closed = m_recorder.writer->CloseFile();
            EXPECT_EQ(closed, m_recorder.faults.FaultStruck() ? 0 : 1);
            ExpectNothingLeft();
            if (!struckBefore && !m_recorder.faults.FaultStruck())
            {
                EXPECT_EQ(accepted, 60u);
                EXPECT_EQ(m_recorder.Check().video.size(), 60u);
            }
            else
            {
                EXPECT_GE(FramesReadable(m_recorder.Content()) + 25, struckBefore ? accepted : 60u);
            }
        };
        EXPECT_GT(ForEveryFailedCall(m_recorder.faults, EKrFileCall::Write, EKrFaultSpan::FromThenOn, record),
                  60u);
    }
}

TEST_F(WriterFault, FailedOldIndexAtClose_SkipsTheLastFlush)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    ASSERT_EQ(Record(30), 30u);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(FramesReadable(m_recorder.Content()), 25u);
    ExpectNothingLeft();
}

TEST_F(WriterFault, FullDisk_LeavesAReadableFile)
{
    for (uint64_t capacity = 70'000; capacity < 220'000; capacity += 1777)
    {
        m_recorder.files.SetCapacity(capacity);
        ASSERT_EQ(m_recorder.Open({}), 1);
        const size_t accepted = Record(400);
        ASSERT_LT(accepted, 400u);
        m_recorder.writer->CloseFile();
        EXPECT_LE(m_recorder.Content().Size(), capacity);
        EXPECT_GE(FramesReadable(m_recorder.Content()), accepted / 25 * 25);
        ExpectNothingLeft();
        m_recorder.files.SetCapacity(UINT64_MAX);
    }
}

TEST_F(WriterFault, FailedFlush_DoesNotStopTheRecordingAndIsReportedAtTheClose)
{
    for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
    {
        m_recorder.faults.Reset();
        m_recorder.faults.FailCall(EKrFileCall::Flush, 1, span);
        ASSERT_EQ(m_recorder.Open({}), 1);
        EXPECT_EQ(Record(60), 60u);
        EXPECT_TRUE(m_recorder.faults.FaultStruck());
        EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
        EXPECT_EQ(m_recorder.Check().video.size(), 60u) << "the file is whole";
    }
}

TEST_F(WriterFault, FailedFlushOfTheClose_IsReported)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(Record(3), 3u);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Flush, 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1) << "nothing is open any more";
    ASSERT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1) << "the next file starts without it";
}

TEST_F(WriterFault, ViewOfALaterSegmentThatFails_IsReported)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    for (int number = 0; number < 17; ++number)
        ASSERT_EQ(m_recorder.AddZeroVideo(60'000'000), 1);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Map, 1);
    ASSERT_EQ(m_recorder.AddZeroVideo(60'000'000), 1);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    ASSERT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1) << "the next file starts without it";
}

// The remains of a failed write after the last whole chunk.
TEST_F(WriterFault, WriteCutShort_LeavesNothingAfterTheLastSegment)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    ASSERT_EQ(Record(30), 30u);
    m_recorder.faults.Reset();
    m_recorder.faults.ShortenWrite(1, 900'000);
    EXPECT_EQ(m_recorder.AddPatternVideo(1'000'000), 0);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(m_recorder.faults.Calls(EKrFileCall::Cut), 1u);
    const SKrCheckedAvi checked = m_recorder.Check();
    EXPECT_EQ(checked.video.size(), 30u);
    EXPECT_EQ(m_recorder.Content().Size(), checked.segments.back());
}

// A system that maps files may refuse to shorten a file that has views, and writes views out when they end.
TEST_F(WriterFault, Close_EndsAllViewsBeforeTheLastFlush)
{
    CKrStallingFileSystem stalling(m_recorder.files);
    size_t views = 1;
    stalling.beforeFlush = [&]
    {
        views = m_recorder.files.OpenViews();
    };
    const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({stalling, m_recorder.clock}));
    const SKrAviVideoParams params = ParamsFor({});
    ASSERT_EQ(writer->OpenFile(kRecordedPath, &params, 0, nullptr), 1);
    EXPECT_EQ(writer->CloseFile(), 1);
    EXPECT_EQ(views, 0u);
}

TEST_F(WriterFault, CloseOfAFileWithoutFaults_CutsNothing)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    ASSERT_EQ(Record(30), 30u);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
    EXPECT_EQ(m_recorder.faults.Calls(EKrFileCall::Cut), 0u);
}

TEST_F(WriterFault, SampleThatCannotBeLocked_IsReportedAtTheClose)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(Record(2), 2u);
    const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100)));
    sample->RefuseLocks();
    EXPECT_EQ(m_recorder.writer->AddVideoSample(sample.Get()), 1);
    EXPECT_EQ(Record(2), 2u) << "the rest continues";
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(m_recorder.Check().video.size(), 4u);
    ASSERT_EQ(m_recorder.Open({}), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1) << "the next file starts without it";
}

TEST_F(WriterFault, CloseWithoutAFile_HasNothingToTell)
{
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
    m_recorder.faults.FailCall(EKrFileCall::Create, 1);
    EXPECT_EQ(m_recorder.Open({}), 0);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
}

TEST_F(WriterFault, IndexThatCannotBeMapped_LeavesTheOtherStreamComplete)
{
    m_recorder.faults.FailCall(EKrFileCall::Map, 3); // headers, video index, audio index
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    EXPECT_TRUE(m_recorder.faults.FaultStruck());
    EXPECT_EQ(Record(60), 60u);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 0);
    EXPECT_EQ(FramesReadable(m_recorder.Content()), 60u);
    ExpectNothingLeft();
}

TEST_F(WriterFault, SamplesStillQueuedAtTheLastRelease_AreWrittenAndReleased)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 20; ++number)
        ASSERT_EQ(recorder.AddVideo(KrBytes(100)), 1); // all but the first wait for audio
    recorder.writer.Reset();
    EXPECT_EQ(recorder.Check().video.size(), 20u);
    EXPECT_EQ(CKrTestSample::Alive(), 0);
    EXPECT_EQ(recorder.files.OpenFiles(), 0u);
}

TEST_F(WriterFault, AudioWhosePaddingIsCut_IsNotCounted)
{
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    ASSERT_EQ(Record(3), 3u); // V A V A V: the next pair writes A V
    m_recorder.faults.Reset();
    m_recorder.faults.ShortenWrite(1, 8 + kBytesOf25thSecond);
    EXPECT_EQ(Record(1), 0u);
    m_recorder.writer->CloseFile();
    const CKrFileContent file = m_recorder.Content();
    constexpr uint64_t kAudioIndex = 32580;
    EXPECT_EQ(GetLe32(file.Range(kAudioIndex - 60, 4).data()), 2u * 1920) << "dwLength";
    EXPECT_EQ(GetLe32(file.Range(kAudioIndex + 32 + 12, 4).data()), 2u * 1920) << "duration";
}

// The index of entry 4028 cannot be written: the earlier frames keep their entries.
TEST_F(WriterFault, NextIndexThatFails_LeavesTheFramesBeforeItIndexed)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    ASSERT_EQ(Record(4027), 4027u);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 2); // the frame, then the index
    EXPECT_EQ(m_recorder.AddPatternVideo(100), 0);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    EXPECT_EQ(m_recorder.AddPatternVideo(100), 0);
    m_recorder.writer->CloseFile();
    EXPECT_EQ(FramesReadable(m_recorder.Content()), 4028u);
    ExpectNothingLeft();
}

TEST_F(WriterFault, HeadersThatCannotBeMapped_LeaveTheIndexesFilled)
{
    m_recorder.faults.FailCall(EKrFileCall::Map, 1);
    ASSERT_EQ(m_recorder.Open(WithAudio()), 1);
    EXPECT_EQ(Record(60), 60u);
    m_recorder.writer->CloseFile();
    const CKrFileContent file = m_recorder.Content();
    const uint64_t first = 66048; // after the headers of a file with audio
    EXPECT_EQ(GetLe32(file.Range(first + 12, 4).data()), 60u);
    EXPECT_EQ(GetLe32(file.Range(first + 32256 + 12, 4).data()), 60u);
    EXPECT_EQ(GetLe32(file.Range(48, 4).data()), 0u) << "not patched";
    ExpectNothingLeft();
}

// Segments whose headers or indexes cannot be written or mapped.
#include "tests/writer/KrSegmentRecorder.h"

using namespace KrTest;

using WriterSegmentFault = CKrSegmentRecorder;

// After 'idx1', if the next headers could not be written, nothing belongs to any segment.
TEST_F(WriterSegmentFault, HeadersThatFail_LetNoChunkFollowTheOldIndex)
{
    Open(512);
    AddLargeFrames(17);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 2); // 'idx1', then the headers
    EXPECT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 0);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    const uint8_t byte = 1;
    EXPECT_EQ(m_recorder.writer->WriteVideoChunk(&byte, 1), 0);
    const SKrCheckedAvi checked = m_recorder.Close();
    EXPECT_EQ(checked.video.size(), 17u);
    EXPECT_EQ(checked.segments.size() - 1, 1u);
}

TEST_F(WriterSegmentFault, OldIndexThatFails_IsWrittenAtTheClose)
{
    Open(512);
    AddLargeFrames(17);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 1);
    EXPECT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 0);
    EXPECT_EQ(m_recorder.Close().video.size(), 17u);
}

TEST_F(WriterSegmentFault, LaterHeadersThatCannotBeMapped_StayAsTheyWereWritten)
{
    Open(512);
    AddLargeFrames(17);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Map, 1);
    AddLargeFrames(3);
    m_recorder.writer->CloseFile();
    const CKrFileContent file = m_recorder.Content();
    const uint64_t second = uint64_t{GetLe32(file.Range(4, 4).data())} + 8;
    EXPECT_EQ(GetLe32(file.Range(second + 8, 4).data()), FourCcValue("AVIX"));
    EXPECT_EQ(GetLe32(file.Range(second + 4, 4).data()), 512u - 8) << "the headers alone";
    EXPECT_EQ(GetLe32(file.Range(48, 4).data()), 20u) << "frames in all, in the first headers";
}

// The index after a full one does not fit, and the segment that it needs cannot be started.
TEST_F(WriterSegmentFault, IndexWhoseSegmentFails_EndsTheRecording)
{
    Open(512);
    for (int number = 0; number < 4027; ++number)
        ASSERT_EQ(m_recorder.AddZeroVideo(number < 17 ? kLargeFrame : 504), 1);
    const uint64_t tail = OldIndexTail(1 + 4027, 512);
    const uint64_t left = kSegmentLimit - 512 - tail - Size(); // all that fits, with no index after it
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 2); // the frame, then 'idx1'
    EXPECT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(left - 8)), 0);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    EXPECT_EQ(m_recorder.AddZeroVideo(504), 0) << "although the fault is over";
    m_recorder.written.isComplete = false;
    EXPECT_EQ(m_recorder.Close().video.size(), 4028u);
}

// A new index is due before the frame, since its offset would not fit 32 bits.
TEST_F(WriterSegmentFault, IndexForTheReachThatFails_EndsTheRecording)
{
    Open(512);
    AddLargeFrames(72);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 1);
    EXPECT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 0);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    EXPECT_EQ(m_recorder.AddZeroVideo(504), 0) << "although the fault is over";
    m_recorder.writer->CloseFile();
    EXPECT_EQ(FramesReadable(m_recorder.Content()), 72u);
}

// The index takes the room of the frame that it was started for, and the next segment cannot be started.
TEST_F(WriterSegmentFault, SegmentAfterAnIndexForTheReachThatFails_EndsTheRecording)
{
    constexpr size_t kHuge = 530'000'000;
    constexpr uint64_t kUsed = 512 + (8 + kHuge + 8 + 511) / 512 * 512; // headers of the segment, frame nine
    Open(512);
    for (int number = 0; number < 9; ++number)
        ASSERT_EQ(m_recorder.AddZeroVideo(kHuge), 1);
    m_recorder.faults.Reset();
    m_recorder.faults.FailCall(EKrFileCall::Write, 2); // the index, then the headers
    EXPECT_EQ(m_recorder.AddZeroVideo(static_cast<size_t>(kSegmentLimit - kUsed - 512 - 8)), 0);
    ASSERT_TRUE(m_recorder.faults.FaultStruck());
    m_recorder.writer->CloseFile();
    EXPECT_EQ(FramesReadable(m_recorder.Content()), 9u);
}

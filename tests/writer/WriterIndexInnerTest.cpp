// Standard and super indexes: when entries reach the file, when the next index starts, and its limits.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"
#include "writer/KrStreamIndex.h"

using namespace KrTest;

namespace
{
// The entries of a stream's first standard index that are in the file now.
uint32_t EntriesInFile(const CKrRecorder& recorder, uint64_t indexPosition)
{
    return GetLe32(recorder.Content().Range(indexPosition + 12, 4).data());
}

constexpr uint64_t kFirstVideoIndex = 33792; // without audio, at 512 bytes per sector
constexpr uint64_t kFirstVideoIndexBesideAudio = 66048;
constexpr uint64_t kFirstAudioIndex = kFirstVideoIndexBesideAudio + 32256;
} // namespace

class WriterIndexOf : public testing::TestWithParam<size_t>
{
};

TEST_P(WriterIndexOf, VideoAlone_HasAllFramesInItsIndexes)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (size_t number = 0; number < GetParam(); ++number)
        ASSERT_EQ(recorder.AddVideo({1, 2, 3}), 1);
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.video.size(), GetParam());
    EXPECT_EQ(checked.videoIndexes.size(), GetParam() / 4028 + 1);
    EXPECT_EQ(checked.videoIndexes[0].chunks.size(), std::min<size_t>(GetParam(), 4028));
}

TEST_P(WriterIndexOf, BesideAudio_BothHaveTheirs)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (size_t number = 0; number < GetParam(); ++number)
    {
        ASSERT_EQ(recorder.AddAudio(KrBytes(kBytesOf25thSecond, 9)), 1);
        ASSERT_EQ(recorder.AddVideo({1, 2, 3}), 1);
    }
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.video.size(), GetParam());
    EXPECT_EQ(checked.audio.size(), GetParam());
    EXPECT_EQ(checked.videoIndexes.size(), GetParam() / 4028 + 1);
}

INSTANTIATE_TEST_SUITE_P(Frames, WriterIndexOf, testing::Values(1, 24, 25, 26, 4027, 4028, 4029, 8057),
                         testing::PrintToStringParamName());

TEST(WriterIndex, At25PerSecond_TheFirst25FramesAreFlushedTogether)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 24; ++number)
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndex), 0u);
    ASSERT_EQ(recorder.AddVideo({1}), 1);
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndex), 25u);
    for (int number = 25; number < 49; ++number)
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndex), 25u);
    ASSERT_EQ(recorder.AddVideo({1}), 1);
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndex), 50u);
    EXPECT_EQ(recorder.Close().videoIndexes[0].position, kFirstVideoIndex);
}

TEST(WriterIndex, FewerFramesThanASecond_AreIndexedAtClose)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open({}), 1);
    for (int number = 0; number < 24; ++number)
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    recorder.Close();
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndex), 24u);
}

TEST(WriterIndex, AudioIsFlushedWithTheVideoBeforeIt)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    // Blocks of two frames' length: fewer than frames, so that they alone would not be flushed yet.
    for (int number = 0; number < 25; ++number)
    {
        if (number % 2 == 0)
        {
            ASSERT_EQ(recorder.AddZeroAudio(2 * kBytesOf25thSecond), 1);
        }
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    // The last frames wait for their audio, so more are needed until 25 are written.
    for (int number = 25; EntriesInFile(recorder, kFirstVideoIndexBesideAudio) == 0 && number < 60; ++number)
    {
        if (number % 2 == 0)
        {
            ASSERT_EQ(recorder.AddZeroAudio(2 * kBytesOf25thSecond), 1);
        }
        EXPECT_EQ(EntriesInFile(recorder, kFirstAudioIndex), 0u);
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    ASSERT_EQ(EntriesInFile(recorder, kFirstVideoIndexBesideAudio), 25u);
    for (int number = 0; number < 4; ++number)
    {
        ASSERT_EQ(recorder.AddZeroAudio(2 * kBytesOf25thSecond), 1);
        ASSERT_EQ(recorder.AddVideo({1}), 1);
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    EXPECT_GT(EntriesInFile(recorder, kFirstAudioIndex), 0u) << "follows the video's flush";
    EXPECT_LT(EntriesInFile(recorder, kFirstAudioIndex), 25u);
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.audioIndexes[0].position, kFirstAudioIndex);
}

TEST(WriterIndex, NewVideoIndex_IsFollowedByANewAudioIndex)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 4200; ++number)
    {
        if (number % 2 == 0)
        {
            ASSERT_EQ(recorder.AddZeroAudio(2 * kBytesOf25thSecond), 1);
        }
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    const SKrCheckedAvi checked = recorder.Close();
    ASSERT_EQ(checked.videoIndexes.size(), 2u);
    EXPECT_EQ(checked.videoIndexes[0].chunks.size(), 4028u);
    ASSERT_EQ(checked.audioIndexes.size(), 2u) << "although it was half empty";
    EXPECT_GT(checked.audioIndexes[1].position, checked.videoIndexes[1].position);
    EXPECT_LT(checked.audioIndexes[0].chunks.size(), 2020u);
}

TEST(WriterIndex, IndexThatCannotBeMapped_KeepsItsEntriesForTheNext)
{
    CKrRecorder recorder(EKrWorker::None);
    recorder.faults.FailCall(EKrFileCall::Map, 2);
    ASSERT_EQ(recorder.Open({}), 1);
    ASSERT_TRUE(recorder.faults.FaultStruck());
    for (int number = 0; number < 4100; ++number)
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    recorder.writer->CloseFile();
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndex), 0u);
    EXPECT_EQ(recorder.files.OpenViews(), 0u);
    const CKrFileContent file = recorder.Content();
    const uint64_t second = GetLe64(file.Range(212 + 32 + 16, 8).data());
    EXPECT_EQ(GetLe32(file.Range(second, 4).data()), FourCcValue("ix00"));
    EXPECT_EQ(EntriesInFile(recorder, second), 4028u) << "those that waited";
    const uint64_t third = GetLe64(file.Range(212 + 32 + 32, 8).data());
    EXPECT_EQ(EntriesInFile(recorder, third), 72u) << "the others have one of their own";
}

// Several blocks belong to each frame, so that the audio has as many entries before the video has.
TEST(WriterIndex, AudioWithMoreChunks_IsFlushedByItsOwnCount)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 5; ++number)
    {
        for (int block = 0; block < 10; ++block)
            ASSERT_EQ(recorder.AddZeroAudio(kBytesOf25thSecond / 10), 1);
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndexBesideAudio), 0u);
    EXPECT_EQ(EntriesInFile(recorder, kFirstAudioIndex), 25u) << "of the 40 that are written";
    recorder.Close();
}

TEST(WriterIndex, AudioWithMoreChunks_StartsItsNextIndexByItself)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 500; ++number)
    {
        for (int block = 0; block < 10; ++block)
            ASSERT_EQ(recorder.AddZeroAudio(kBytesOf25thSecond / 10), 1);
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.videoIndexes.size(), 1u);
    ASSERT_EQ(checked.audioIndexes.size(), 2u);
    EXPECT_EQ(checked.audioIndexes[0].chunks.size(), 4028u);
    EXPECT_EQ(checked.audioIndexes[1].chunks.size(), 5000u - 4028);
}

// The video's flush is followed by one flush of the audio, not by one for each of its chunks.
TEST(WriterIndex, FlushOfTheVideo_IsFollowedOnce)
{
    CKrRecorder recorder(EKrWorker::None);
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 30; ++number)
    {
        ASSERT_EQ(recorder.AddZeroAudio(kBytesOf25thSecond), 1);
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    // V A V A ...: 24 blocks before the 25th frame, whose flush the 25th block follows.
    EXPECT_EQ(EntriesInFile(recorder, kFirstVideoIndexBesideAudio), 25u);
    EXPECT_EQ(EntriesInFile(recorder, kFirstAudioIndex), 25u);
    recorder.Close();

    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 40; ++number)
    {
        if (number % 2 == 0)
        {
            ASSERT_EQ(recorder.AddZeroAudio(2 * kBytesOf25thSecond), 1);
        }
        ASSERT_EQ(recorder.AddVideo({1}), 1);
    }
    const uint32_t flushed = EntriesInFile(recorder, kFirstAudioIndex);
    EXPECT_GT(flushed, 0u);
    EXPECT_LT(flushed + 3, recorder.Close().audio.size()) << "those since then wait";
}

namespace
{
class CBufferView : public IKrMappedView
{
public:
    explicit CBufferView(KrBytes& bytes) : m_bytes(bytes) {}
    uint8_t* Data() override { return m_bytes.data(); }

private:
    KrBytes& m_bytes;
};

// An index in buffers instead of a file.
class StreamIndex : public testing::Test
{
protected:
    StreamIndex() : m_super(32256 + 64, 0xEE)
    {
        PutLe32(m_super.data(), FourCcValue("indx"));
        PutLe32(m_super.data() + 4, 32248);
        std::fill_n(m_super.begin() + 8, 32248, uint8_t{0});
        m_index.SetSuperIndex({std::make_shared<CBufferView>(m_super), 0});
    }

    void Start(uint64_t position)
    {
        m_std = m_index.EmptyStdIndex();
        m_index.StartStdIndex(position, std::make_unique<CBufferView>(m_std));
    }

    [[nodiscard]] uint32_t SuperEntries() const { return GetLe32(m_super.data() + 12); }
    [[nodiscard]] uint32_t Duration(size_t entry) const
    {
        return GetLe32(m_super.data() + 32 + 16 * entry + 12);
    }

    KrBytes m_super;
    KrBytes m_std;
    CKrManualClock m_clock;
    CKrRecordingStatus m_status{m_clock};
    CKrPatches m_patches{m_status};
    CKrStreamIndex m_index{EKrStream::Video, FourCcValue("00dc"), m_patches};
};
} // namespace

TEST_F(StreamIndex, FullSuperIndex_IsNotOverrun)
{
    for (uint32_t number = 0; number < 2016; ++number)
    {
        Start(uint64_t{number + 1} << 24);
        m_index.Record((uint64_t{number + 1} << 24) + 40000, 10);
        m_index.Flush();
        EXPECT_EQ(GetLe32(m_std.data() + 12), 1u) << "the standard index itself is filled";
        m_index.EndStdIndex();
    }
    EXPECT_EQ(SuperEntries(), 2014u);
    EXPECT_EQ(GetLe64(m_super.data() + 32 + 16 * 2013), uint64_t{2014} << 24);
    for (size_t entry = 0; entry < 2014; ++entry)
        ASSERT_EQ(Duration(entry), 1u) << entry;
    EXPECT_TRUE(
        std::all_of(m_super.begin() + 32256, m_super.end(), [](uint8_t byte) { return byte == 0xEE; }));
}

TEST_F(StreamIndex, OffsetsReachTo32Bits)
{
    Start(1000);
    EXPECT_TRUE(m_index.Reaches(uint64_t{1} << 40)) << "nothing recorded, no base";
    m_index.Record(100'000, 10);
    const uint64_t last = 100'000 + uint64_t{0xFFFFFFFF} - 8;
    EXPECT_TRUE(m_index.Reaches(last));
    EXPECT_FALSE(m_index.Reaches(last + 1));
    m_index.Record(last + 1, 10);
    EXPECT_EQ(m_index.Pending(), 1u) << "left out rather than wrapped";
    m_index.Record(last, 10);
    m_index.Flush();
    EXPECT_EQ(GetLe64(m_std.data() + 20), 100'000u);
    EXPECT_EQ(GetLe32(m_std.data() + 32 + 8), 0xFFFFFFFFu);
}

TEST_F(StreamIndex, SurplusBeyond4028_IsDroppedWithItsIndex)
{
    Start(1000);
    for (uint32_t number = 0; number < 4100; ++number)
        m_index.Record(100'000 + 100 * number, 10);
    EXPECT_TRUE(m_index.IsFull());
    m_index.Flush();
    EXPECT_EQ(GetLe32(m_std.data() + 12), 4028u);
    EXPECT_EQ(Duration(0), 4028u);
    m_index.EndStdIndex();
    EXPECT_EQ(m_index.Pending(), 0u);
    EXPECT_FALSE(m_index.IsFull());
}

TEST_F(StreamIndex, FlushInParts_AppendsAfterWhatIsThere)
{
    Start(1000);
    m_index.Record(100'000, 10);
    m_index.Flush();
    m_index.Record(200'000, 20);
    m_index.Record(300'000, 30);
    m_index.Flush();
    m_index.Flush();
    EXPECT_EQ(GetLe32(m_std.data() + 12), 3u);
    EXPECT_EQ(GetLe64(m_std.data() + 20), 100'000u);
    EXPECT_EQ(GetLe32(m_std.data() + 32), 8u);
    EXPECT_EQ(GetLe32(m_std.data() + 32 + 16), 200'008u);
    EXPECT_EQ(GetLe32(m_std.data() + 32 + 20), 30u);
    EXPECT_EQ(Duration(0), 3u);
}

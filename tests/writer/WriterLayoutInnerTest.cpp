// Small complete files; the checker accounts for each byte.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"

using namespace KrTest;

namespace
{
void AddFrames(CKrRecorder& recorder, size_t count, size_t size = 100)
{
    for (size_t number = 0; number < count; ++number)
        ASSERT_EQ(recorder.AddPatternVideo(size), 1);
}

void AddFramesWithAudio(CKrRecorder& recorder, size_t count, size_t size = 100)
{
    for (size_t number = 0; number < count; ++number)
    {
        ASSERT_EQ(recorder.AddPatternAudio(kBytesOf25thSecond), 1);
        ASSERT_EQ(recorder.AddPatternVideo(size), 1);
    }
}

uint32_t U32(const CKrFileContent& content, uint64_t position)
{
    return GetLe32(content.Range(position, 4).data());
}

// Positions in the headers of every file.
constexpr uint64_t kMainHeader = 32;
constexpr uint64_t kVideoHeader = 108;
constexpr uint64_t kVideoFormat = 172;
constexpr uint64_t kVideoIndex = 212;
constexpr uint64_t kAudioIndex = 32580;
} // namespace

TEST(WriterLayout, VideoOnly_EveryByteIsRight)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    AddFrames(recorder, 3);
    const SKrCheckedAvi checked = recorder.Close();
    ASSERT_EQ(SizesOf(checked.video), (std::vector<uint32_t>{100, 100, 100}));
    for (size_t number = 0; number < 3; ++number)
        EXPECT_EQ(recorder.Content().Range(checked.video[number].data, 100), PatternBytes(0, number, 100));
}

TEST(WriterLayout, WithAudio_EveryByteIsRight)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    AddFramesWithAudio(recorder, 4);
    const SKrCheckedAvi checked = recorder.Close();
    EXPECT_EQ(checked.video.size(), 4u);
    ASSERT_EQ(checked.audio.size(), 4u);
    for (size_t number = 0; number < 4; ++number)
        EXPECT_EQ(recorder.Content().Range(checked.audio[number].data, kBytesOf25thSecond),
                  PatternBytes(1, number, kBytesOf25thSecond));
}

TEST(WriterLayout, NothingSubmitted_IsAValidFile)
{
    for (const SKrWritten& written : {SKrWritten{}, WithAudio()})
    {
        CKrRecorder recorder;
        ASSERT_EQ(recorder.Open(written), 1);
        const SKrCheckedAvi checked = recorder.Close();
        EXPECT_EQ(checked.order, "");
        EXPECT_EQ(checked.videoIndexes.size(), 1u);
    }
}

TEST(WriterLayout, FirstBytes_AreThese)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    AddFrames(recorder, 1);
    recorder.Close();
    const CKrFileContent file = recorder.Content();
    EXPECT_EQ(U32(file, 4) + 8, file.Size());
    EXPECT_EQ(U32(file, kMainHeader), 40000u);
    EXPECT_EQ(U32(file, kMainHeader + 8), 512u);
    EXPECT_EQ(U32(file, kMainHeader + 12), 0x810u);
    EXPECT_EQ(U32(file, kMainHeader + 16), 1u);
    EXPECT_EQ(U32(file, kMainHeader + 24), 1u) << "streams";
    EXPECT_EQ(U32(file, kMainHeader + 28), 108u) << "largest chunk with its header";
    EXPECT_EQ(U32(file, kVideoHeader), FourCcValue("vids"));
    EXPECT_EQ(U32(file, kVideoHeader + 4), FourCcValue("MJPG"));
    EXPECT_EQ(U32(file, kVideoFormat + 20), 3u * 720 * 576) << "biSizeImage";
    EXPECT_EQ(U32(file, kVideoIndex), FourCcValue("indx"));
    EXPECT_EQ(U32(file, kVideoIndex + 4), 32248u);
    EXPECT_EQ(U32(file, kVideoIndex + 12), 1u) << "entries in use";
    EXPECT_EQ(U32(file, kVideoIndex + 16), FourCcValue("00dc"));
    EXPECT_EQ(U32(file, kVideoIndex + 32 + 8), 32256u);
    EXPECT_EQ(U32(file, kVideoIndex + 32 + 12), 1u) << "duration";
}

TEST(WriterLayout, Uncompressed_HasItsOwnChunkIdAndNoHandler)
{
    SKrWritten written;
    written.codec.clear();
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(written), 1);
    AddFrames(recorder, 2);
    recorder.Close();
    EXPECT_EQ(U32(recorder.Content(), kVideoHeader + 4), 0u);
    EXPECT_EQ(U32(recorder.Content(), kVideoIndex + 16), FourCcValue("00db"));
}

TEST(WriterLayout, AudioFormatOf18Bytes_IsAlignedBeforeItsIndex)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    recorder.Close();
    const CKrFileContent file = recorder.Content();
    EXPECT_EQ(U32(file, kAudioIndex), FourCcValue("indx"));
    EXPECT_EQ(kAudioIndex % 4, 0u);
    EXPECT_EQ(U32(file, kAudioIndex - 10), FourCcValue("JUNK"));
    EXPECT_EQ(U32(file, kAudioIndex - 6), 2u);
    EXPECT_EQ(U32(file, kVideoIndex - 48), FourCcValue("strf")) << "no padding before the video index";
}

class WriterLayoutOfSector : public testing::TestWithParam<uint32_t>
{
};

TEST_P(WriterLayoutOfSector, DataStartsAndEndsOnSectors)
{
    for (SKrWritten written : {SKrWritten{}, WithAudio()})
    {
        written.bytesPerSector = GetParam();
        CKrRecorder recorder;
        ASSERT_EQ(recorder.Open(written), 1);
        if (written.pcm)
            AddFramesWithAudio(recorder, 5, 333);
        else
            AddFrames(recorder, 5, 333);
        const SKrCheckedAvi checked = recorder.Close();
        const uint64_t firstIndex = checked.videoIndexes[0].position;
        EXPECT_EQ(firstIndex % GetParam(), 0u) << "after the type of 'movi'";
        EXPECT_EQ(checked.segments.back() % GetParam(), 0u) << "'idx1' ends on a sector";
        EXPECT_EQ(checked.video.size(), 5u);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, WriterLayoutOfSector, testing::Values(512, 1024, 2048, 4096),
                         testing::PrintToStringParamName());

TEST(WriterLayout, VolumeThatReportsNothing_CountsAs512)
{
    CKrRecorder recorder;
    recorder.files.SetBytesPerSector(0);
    const SKrAviVideoParams params = ParamsFor({});
    ASSERT_EQ(recorder.writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), nullptr), 1);
    AddFrames(recorder, 2);
    recorder.Close();
    EXPECT_EQ(recorder.files.LastVolumeFolder(), L"folder");
}

TEST(WriterLayout, LengthsAroundTheSector_ArePaddedToIt)
{
    // Headers of 8 bytes: 504 ends on a sector; 496 leaves room for an empty 'JUNK' only; 497 needs another
    // sector.
    for (const size_t size :
         {1u, 2u, 7u, 495u, 496u, 497u, 503u, 504u, 505u, 511u, 512u, 1000u, 4087u, 5001u})
    {
        SCOPED_TRACE(size);
        CKrRecorder recorder;
        ASSERT_EQ(recorder.Open({}), 1);
        AddFrames(recorder, 3, size);
        const SKrCheckedAvi checked = recorder.Close();
        ASSERT_EQ(checked.video.size(), 3u);
        const uint64_t step = (size + 8) % 512 == 0 ? size + 8 : (size + 16 + 511) / 512 * 512;
        EXPECT_EQ(checked.video[1].data - checked.video[0].data, step);
    }
}

struct SRateCase
{
    uint32_t code;
    uint32_t rate;
    uint32_t scale;
    uint32_t microSeconds; // per frame at the truncated rate
};

class WriterLayoutOfRate : public testing::TestWithParam<SRateCase>
{
};

TEST_P(WriterLayoutOfRate, HeadersCarryIt)
{
    SKrWritten written;
    written.frameRate = GetParam().code;
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(written), 1);
    AddFrames(recorder, 2);
    recorder.Close();
    EXPECT_EQ(U32(recorder.Content(), kMainHeader), GetParam().microSeconds);
    EXPECT_EQ(U32(recorder.Content(), kVideoHeader + 20), GetParam().scale);
    EXPECT_EQ(U32(recorder.Content(), kVideoHeader + 24), GetParam().rate);
}

INSTANTIATE_TEST_SUITE_P(Codes, WriterLayoutOfRate,
                         testing::Values(SRateCase{0, 24000, 1001, 43478}, SRateCase{1, 24, 1, 41666},
                                         SRateCase{2, 25, 1, 40000}, SRateCase{3, 30000, 1001, 34482},
                                         SRateCase{4, 30, 1, 33333}, SRateCase{5, 50, 1, 20000},
                                         SRateCase{6, 60000, 1001, 16949}, SRateCase{7, 60, 1, 16666}),
                         [](const auto& info) { return "Code" + std::to_string(info.param.code); });

struct SAspectCase
{
    uint32_t mode;
    uint16_t displayWidth;
    uint32_t width;
    uint32_t horizontal;
    uint32_t vertical;
};

class WriterLayoutOfAspect : public testing::TestWithParam<SAspectCase>
{
};

TEST_P(WriterLayoutOfAspect, PrivateChunksCarryIt)
{
    SKrWritten written;
    written.width = GetParam().width;
    written.height = 1080;
    written.aspectHorizontal = GetParam().horizontal;
    written.aspectVertical = GetParam().vertical;
    CKrRecorder recorder;
    recorder.written = written;
    SKrAviVideoParams params = ParamsFor(written);
    params.displayWidth = GetParam().displayWidth;
    params.aspectMode = GetParam().mode;
    ASSERT_EQ(recorder.writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), nullptr), 1);
    AddFrames(recorder, 1);
    recorder.Close();
}

INSTANTIATE_TEST_SUITE_P(Modes, WriterLayoutOfAspect,
                         testing::Values(SAspectCase{0, 1920, 1440, 4, 3}, SAspectCase{1, 1920, 1440, 4, 3},
                                         SAspectCase{1, 1024, 720, 64, 45}, SAspectCase{0, 1, 720, 1, 720},
                                         SAspectCase{2, 1920, 1440, 1, 1}, SAspectCase{3, 1920, 1440, 1, 1},
                                         SAspectCase{4, 1920, 1440, 648, 720},
                                         SAspectCase{5, 1920, 1440, 864, 720},
                                         SAspectCase{6, 1920, 1440, 1, 1}));

TEST(WriterLayout, ScanModes_AreStoredAsTheirLowByte)
{
    for (const int mode : {0, 1, 2, 255})
    {
        SKrWritten written;
        written.scanMode = static_cast<uint8_t>(mode);
        CKrRecorder recorder;
        ASSERT_EQ(recorder.Open(written), 1);
        recorder.Close();
    }
    SKrWritten unknown;
    unknown.scanMode = 0xFF;
    CKrRecorder recorder;
    recorder.written = unknown;
    SKrAviVideoParams params = ParamsFor(unknown);
    params.scanMode = -1;
    ASSERT_EQ(recorder.writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), nullptr), 1);
    recorder.Close();
}

TEST(WriterLayout, SecondFile_StartsFresh)
{
    for (const SKrWritten& second : {SKrWritten{}, WithAudio()})
    {
        CKrRecorder recorder;
        ASSERT_EQ(recorder.Open(WithAudio()), 1);
        AddFramesWithAudio(recorder, 60, 5000);
        recorder.Close();
        ASSERT_EQ(recorder.Open(second), 1) << "closes, deletes and writes anew";
        if (second.pcm)
            AddFramesWithAudio(recorder, 2);
        else
            AddFrames(recorder, 2);
        const SKrCheckedAvi checked = recorder.Close();
        EXPECT_EQ(checked.order, second.pcm ? "VAVA" : "VV");
        EXPECT_EQ(checked.maxBytesPerSec, 0u);
    }
}

TEST(WriterLayout, OpenOnAnOpenWriter_CompletesTheFileBefore)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open({}), 1);
    AddFrames(recorder, 3);
    const SKrAviVideoParams params = ParamsFor({});
    ASSERT_EQ(recorder.writer->OpenFile(L"folder/other.avi", &params, FourCcValue("MJPG"), nullptr), 1);
    EXPECT_EQ(recorder.Check().video.size(), 3u);
    recorder.writer->CloseFile();
}

TEST(WriterLayout, FormatWithMoreThanPcm_KeepsItsFirst16Bytes)
{
    CKrRecorder recorder;
    recorder.written = WithAudio();
    const SKrAviVideoParams params = ParamsFor({});
    WAVEFORMATEX format = WaveFormatFor(*recorder.written.pcm);
    format.cbSize = 22;
    ASSERT_EQ(recorder.writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), &format), 1);
    recorder.Close();
}

TEST(WriterLayout, HeadersThatEnd8BytesBeforeASector_HaveAnEmptyPadding)
{
    SKrWritten written;
    written.bytesPerSector = 32;
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(written), 1);
    AddFrames(recorder, 2);
    const uint64_t first = recorder.Close().videoIndexes[0].position;
    EXPECT_EQ(U32(recorder.Content(), first - 20), FourCcValue("JUNK"));
    EXPECT_EQ(U32(recorder.Content(), first - 16), 0u);
}

TEST(WriterLayout, ImageSize_IsThatOfWholeBytesPerPixel)
{
    SKrWritten written;
    written.bitCount = 12;
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(written), 1);
    recorder.Close();
    EXPECT_EQ(U32(recorder.Content(), kVideoFormat + 20), 720u * 576);
}

TEST(WriterLayout, AudioFormat_IsTheCallersOwn)
{
    CKrRecorder recorder;
    const SKrAviVideoParams params = ParamsFor({});
    WAVEFORMATEX format{};
    format.wFormatTag = 0x1234;
    format.nChannels = 3;
    format.nSamplesPerSec = 44'100;
    format.nAvgBytesPerSec = 0x01020304;
    format.nBlockAlign = 7;
    format.wBitsPerSample = 13;
    ASSERT_EQ(recorder.writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), &format), 1);
    recorder.writer->CloseFile();
    const KrBytes stored = recorder.Content().Range(kAudioIndex - 10 - 18, 18);
    EXPECT_EQ(stored, (KrBytes{0x34, 0x12, 3, 0, 0x44, 0xAC, 0, 0, 4, 3, 2, 1, 7, 0, 13, 0, 0, 0}));
}

TEST(WriterLayout, ScanModesBeyondTheKnown_AreStoredToo)
{
    for (const int mode : {7, 0x102})
    {
        SKrWritten written;
        written.scanMode = static_cast<uint8_t>(mode);
        CKrRecorder recorder;
        recorder.written = written;
        SKrAviVideoParams params = ParamsFor(written);
        params.scanMode = mode;
        ASSERT_EQ(recorder.writer->OpenFile(kRecordedPath, &params, FourCcValue("MJPG"), nullptr), 1);
        recorder.Close();
    }
}

// Durations in the super index count whole samples of each block, the header's length those of all bytes.
TEST(WriterLayout, AudioBlocksWithPartsOfSamples_CountAsTheyDo)
{
    CKrRecorder recorder;
    ASSERT_EQ(recorder.Open(WithAudio()), 1);
    for (int number = 0; number < 4; ++number)
    {
        ASSERT_EQ(recorder.AddPatternAudio(kBytesOf25thSecond + 3), 1);
        ASSERT_EQ(recorder.AddPatternVideo(100), 1);
    }
    recorder.Close();
    const CKrFileContent file = recorder.Content();
    EXPECT_EQ(U32(file, kAudioIndex + 32 + 12), 4u * 1920) << "duration";
    constexpr uint64_t kAudioHeader = kAudioIndex - 10 - 18 - 8 - 56;
    EXPECT_EQ(U32(file, kAudioHeader), FourCcValue("auds"));
    EXPECT_EQ(U32(file, kAudioHeader + 32), 4u * 1920 + 3) << "12 bytes make three more";
}

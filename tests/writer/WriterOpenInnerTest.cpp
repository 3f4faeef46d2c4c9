// OpenFile and OpenFileFromInfo: what they refuse, what they leave behind.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"

#include <cstring>
#include <functional>
#include <memory>

using namespace KrTest;

namespace
{
const SKrAviVideoParams kParams = ParamsFor({});
const WAVEFORMATEX kFormat = WaveFormatFor({});

class WriterOpen : public testing::Test
{
protected:
    int Open(const wchar_t* path, const SKrAviVideoParams* params = &kParams,
             const WAVEFORMATEX* format = nullptr)
    {
        return m_recorder.writer->OpenFile(path, params, FourCcValue("MJPG"), format);
    }

    // Refused arguments: no file is created. An open file stays open if there is no path, else it is closed.
    void ExpectRefused(const std::function<int()>& open, bool closes = true)
    {
        EXPECT_EQ(open(), 0);
        EXPECT_FALSE(m_recorder.files.Exists(L"new.avi"));
        ASSERT_EQ(m_recorder.Open({}), 1);
        EXPECT_EQ(open(), 0);
        EXPECT_EQ(m_recorder.AddPatternVideo(10), closes ? 0 : 1);
        EXPECT_EQ(m_recorder.files.OpenFiles(), closes ? 0u : 1u);
        EXPECT_EQ(m_recorder.Close().video.size(), closes ? 0u : 1u);
        EXPECT_FALSE(m_recorder.files.Exists(L"new.avi"));
    }

    void ExpectNothingLeft()
    {
        EXPECT_EQ(m_recorder.files.OpenFiles(), 0u);
        EXPECT_EQ(m_recorder.files.OpenViews(), 0u);
        EXPECT_FALSE(m_recorder.files.Exists(kRecordedPath));
        EXPECT_EQ(m_recorder.AddPatternVideo(10), 0) << "no file is open";
    }

    CKrRecorder m_recorder;
};
} // namespace

TEST_F(WriterOpen, NullOrEmptyPath_IsRefused)
{
    ExpectRefused([this] { return Open(nullptr); }, false);
    ExpectRefused([this] { return Open(L""); }, false);
}

TEST_F(WriterOpen, NullParameters_AreRefused)
{
    ExpectRefused([this] { return Open(L"new.avi", nullptr); });
}

TEST_F(WriterOpen, ParametersThatNoFileCanHave_AreRefused)
{
    const auto refuse = [this](auto change)
    {
        SKrAviVideoParams params = kParams;
        change(params);
        ExpectRefused([this, params] { return Open(L"new.avi", &params); });
    };
    refuse([](SKrAviVideoParams& params) { params.frameRate = 8; });
    refuse([](SKrAviVideoParams& params) { params.frameRate = 0xFFFFFFFF; });
    refuse([](SKrAviVideoParams& params) { params.width = 0; });
    refuse([](SKrAviVideoParams& params) { params.width = -1; });
    refuse([](SKrAviVideoParams& params) { params.height = 0; });
    refuse([](SKrAviVideoParams& params) { params.height = -576; });
}

TEST_F(WriterOpen, AudioWithoutBlockAlignOrRate_IsRefused)
{
    const auto refuse = [this](auto change)
    {
        WAVEFORMATEX format = kFormat;
        change(format);
        ExpectRefused([this, format] { return Open(L"new.avi", &kParams, &format); });
    };
    refuse([](WAVEFORMATEX& format) { format.nBlockAlign = 0; });
    refuse([](WAVEFORMATEX& format) { format.nSamplesPerSec = 0; });
}

TEST_F(WriterOpen, FileOpenForReading_IsNeitherDeletedNorReplaced)
{
    m_recorder.files.Set(kRecordedPath, KrBytes{1, 2, 3});
    {
        const std::unique_ptr<IKrFile> reader = m_recorder.files.OpenForReading(kRecordedPath);
        EXPECT_EQ(Open(kRecordedPath), 0);
        EXPECT_EQ(m_recorder.Content().ToBytes(), (KrBytes{1, 2, 3}));
    }
    EXPECT_EQ(Open(kRecordedPath), 1);
    EXPECT_EQ(m_recorder.Close().order, "");
}

TEST_F(WriterOpen, OldFileThatCannotBeDeleted_FailsTheOpenAndClosesTheFileBefore)
{
    ASSERT_EQ(m_recorder.Open({}), 1);
    m_recorder.files.Set(L"new.avi", KrBytes{1});
    m_recorder.faults.FailCall(EKrFileCall::Delete, 1);
    EXPECT_EQ(Open(L"new.avi"), 0);
    EXPECT_EQ(m_recorder.AddPatternVideo(10), 0);
    EXPECT_EQ(m_recorder.files.Content(L"new.avi").Size(), 1u);
    EXPECT_EQ(m_recorder.Check().order, "");
}

TEST_F(WriterOpen, CreateThatFails_FailsTheOpen)
{
    m_recorder.faults.FailCall(EKrFileCall::Create, 1);
    EXPECT_EQ(Open(kRecordedPath), 0);
    ExpectNothingLeft();
}

TEST_F(WriterOpen, EveryFailedOrShortWrite_LeavesNoFile)
{
    const auto open = [this](uint64_t number)
    {
        const int status = Open(kRecordedPath, &kParams, &kFormat);
        EXPECT_EQ(status, m_recorder.faults.FaultStruck() ? 0 : 1) << number;
        if (status == 0)
            ExpectNothingLeft();
        m_recorder.writer->CloseFile();
    };
    EXPECT_EQ(ForEveryFailedCall(m_recorder.faults, EKrFileCall::Write, EKrFaultSpan::Once, open), 4u)
        << "headers, two indexes, and 'idx1' at the close";
    for (uint64_t number = 1; number <= 3; ++number)
    {
        m_recorder.faults.Reset();
        m_recorder.faults.ShortenWrite(number, 100);
        open(number);
    }
}

TEST_F(WriterOpen, NoViewOfTheHeaders_RecordsAllTheSame)
{
    constexpr uint64_t kFirstChunk = 66048 + 2 * 32256; // after the headers and both indexes
    for (uint64_t number = 1; number <= 3; ++number)
    {
        m_recorder.faults.Reset();
        m_recorder.faults.FailCall(EKrFileCall::Map, number, EKrFaultSpan::FromThenOn);
        ASSERT_EQ(Open(kRecordedPath, &kParams, &kFormat), 1);
        EXPECT_EQ(m_recorder.AddVideo({7, 8, 9}), 1);
        EXPECT_EQ(m_recorder.writer->CloseFile(), 0) << "it says that fields or an index are missing";
        ASSERT_GT(m_recorder.Content().Size(), kFirstChunk + 11);
        EXPECT_EQ(m_recorder.Content().Range(kFirstChunk, 11),
                  (KrBytes{'0', '0', 'd', 'c', 3, 0, 0, 0, 7, 8, 9}));
        EXPECT_EQ(m_recorder.files.OpenViews(), 0u);
    }
}

TEST_F(WriterOpen, FolderOfThePath_SelectsTheVolume)
{
    const auto folderOf = [this](const wchar_t* path)
    {
        EXPECT_EQ(Open(path), 1);
        m_recorder.writer->CloseFile();
        return m_recorder.files.LastVolumeFolder();
    };
    EXPECT_EQ(folderOf(L"bare.avi"), L"") << "the current folder";
    EXPECT_EQ(folderOf(L"a/b/c.avi"), L"a/b");
    EXPECT_EQ(folderOf(L"C:\\videos\\c.avi"), L"C:\\videos");
    EXPECT_EQ(folderOf(L"C:\\c.avi"), L"C:\\");
    EXPECT_EQ(folderOf(L"/c.avi"), L"/");
}

TEST_F(WriterOpen, LastReleaseClosesTheFile)
{
    for (const EKrWorker worker : {EKrWorker::Thread, EKrWorker::None})
    {
        CKrRecorder recorder(worker);
        ASSERT_EQ(recorder.Open({}), 1);
        ASSERT_EQ(recorder.AddPatternVideo(100), 1);
        recorder.writer.Reset();
        EXPECT_EQ(recorder.Check().video.size(), 1u);
        EXPECT_EQ(recorder.files.OpenFiles(), 0u);
        EXPECT_EQ(CKrTestSample::Alive(), 0);
    }
}

TEST_F(WriterOpen, CloseWithoutAFile_DoesNothing)
{
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
    EXPECT_EQ(m_recorder.writer->CloseFile(), 1);
}

namespace
{
SKrMediaInfo Info()
{
    SKrMediaInfo info{};
    info.videoStreamCount = 1;
    info.width = 720;
    info.height = 576;
    info.frameRate = 2;
    info.scanMode = 1;
    info.reservedA = 7;
    info.reservedB = 9;
    info.channels = 6;
    info.bitsPerSample = 24;
    info.samplesPerSec = 96000;
    return info;
}
} // namespace

TEST_F(WriterOpen, FromInfo_WritesUncompressedWith8Bits)
{
    const SKrMediaInfo info = Info();
    m_recorder.written.codec.clear();
    m_recorder.written.bitCount = 8;
    m_recorder.written.aspectHorizontal = m_recorder.written.aspectVertical = 1; // 720 over 720
    ASSERT_EQ(m_recorder.writer->OpenFileFromInfo(kRecordedPath, &info), 1);
    ASSERT_EQ(m_recorder.AddPatternVideo(100), 1);
    EXPECT_EQ(m_recorder.AddPatternAudio(18), 0) << "it has no audio stream";
    EXPECT_EQ(m_recorder.Close().video.size(), 1u);
}

TEST_F(WriterOpen, FromInfoWithAudio_FormsThePcmFormat)
{
    SKrMediaInfo info = Info();
    info.audioStreamCount = 2;
    m_recorder.written.codec.clear();
    m_recorder.written.bitCount = 8;
    m_recorder.written.aspectHorizontal = m_recorder.written.aspectVertical = 1;
    m_recorder.written.pcm = SKrPcmFormat{6, 96000, 24};
    ASSERT_EQ(m_recorder.written.pcm->BlockAlign(), 18);
    ASSERT_EQ(m_recorder.writer->OpenFileFromInfo(kRecordedPath, &info), 1);
    ASSERT_EQ(m_recorder.AddPatternAudio(180), 1);
    EXPECT_EQ(m_recorder.Close().audio.size(), 1u);
}

TEST_F(WriterOpen, FromInfoThatHasNoVideo_IsRefused)
{
    SKrMediaInfo info = Info();
    ExpectRefused([this, &info] { return m_recorder.writer->OpenFileFromInfo(nullptr, &info); }, false);
    ExpectRefused([this, &info] { return m_recorder.writer->OpenFileFromInfo(L"", &info); }, false);
    ExpectRefused([this] { return m_recorder.writer->OpenFileFromInfo(L"new.avi", nullptr); }, false);
    info.videoStreamCount = 0;
    ExpectRefused([this, &info] { return m_recorder.writer->OpenFileFromInfo(L"new.avi", &info); }, false);
}

TEST_F(WriterOpen, FromInfo_TakesTheAspectModeAndTheLow16BitsOfTheSize)
{
    SKrMediaInfo info = Info();
    info.aspectMode = 4;
    m_recorder.written.codec.clear();
    m_recorder.written.bitCount = 8;
    m_recorder.written.aspectHorizontal = 648;
    m_recorder.written.aspectVertical = 720;
    ASSERT_EQ(m_recorder.writer->OpenFileFromInfo(kRecordedPath, &info), 1);
    m_recorder.Close();

    info.aspectMode = 0;
    info.width = 65536 + 720; // displayed as 720 wide
    m_recorder.written.width = info.width;
    m_recorder.written.aspectHorizontal = 720 / 16;
    m_recorder.written.aspectVertical = info.width / 16;
    ASSERT_EQ(m_recorder.writer->OpenFileFromInfo(kRecordedPath, &info), 1);
    m_recorder.Close();
}

TEST_F(WriterOpen, FromInfo_FormsTheBlockAlignIn16Bits)
{
    SKrMediaInfo info = Info();
    info.audioStreamCount = 1;
    info.channels = 32769;
    info.bitsPerSample = 16; // 65538 bytes: 2
    m_recorder.written.codec.clear();
    m_recorder.written.bitCount = 8;
    m_recorder.written.aspectHorizontal = m_recorder.written.aspectVertical = 1;
    m_recorder.written.pcm = SKrPcmFormat{32769, 96000, 16};
    ASSERT_EQ(m_recorder.written.pcm->BlockAlign(), 2);
    ASSERT_EQ(m_recorder.writer->OpenFileFromInfo(kRecordedPath, &info), 1);
    m_recorder.Close();
    info.bitsPerSample = 15; // one whole byte
    info.channels = 2;
    m_recorder.written.pcm = SKrPcmFormat{2, 96000, 15};
    ASSERT_EQ(m_recorder.writer->OpenFileFromInfo(kRecordedPath, &info), 1);
    m_recorder.Close();
}

TEST_F(WriterOpen, AudioFormat_IsReadFor16BytesOnly)
{
    const auto bytes = std::make_unique<uint8_t[]>(16);
    std::memcpy(bytes.get(), &kFormat, 16);
    ASSERT_EQ(Open(kRecordedPath, &kParams, reinterpret_cast<const WAVEFORMATEX*>(bytes.get())), 1);
    m_recorder.written.pcm = SKrPcmFormat{};
    m_recorder.Close();
}

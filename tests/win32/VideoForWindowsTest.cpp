// What Video for Windows reads from the writer's files.
#include "tests/writer/KrRecorder.h"

#include "tests/support/KrTempFolder.h"

#include <vfw.h>

#include <algorithm>

using namespace KrTest;

namespace
{
struct SFound
{
    DWORD streams = 0;
    LONG frames = 0;
    LONG samples = 0; // of sound
    std::vector<uint32_t> frameSizes;
};

// Reads only the frames known to be accessible: a request for others crashes some versions.
SFound Open(const std::wstring& path, size_t framesInReach)
{
    SFound found;
    PAVIFILE file = nullptr;
    EXPECT_EQ(AVIFileOpenW(&file, path.c_str(), OF_READ | OF_SHARE_DENY_WRITE, nullptr), 0);
    if (file == nullptr)
        return found;
    AVIFILEINFOW info{};
    EXPECT_EQ(AVIFileInfoW(file, &info, sizeof info), 0);
    found.streams = info.dwStreams;
    PAVISTREAM video = nullptr;
    EXPECT_EQ(AVIFileGetStream(file, &video, streamtypeVIDEO, 0), 0);
    found.frames = AVIStreamLength(video);
    for (LONG number = 0; number < static_cast<LONG>(framesInReach); ++number)
    {
        LONG bytes = 0;
        LONG samples = 0;
        EXPECT_EQ(AVIStreamRead(video, number, 1, nullptr, 0, &bytes, &samples), 0);
        found.frameSizes.push_back(static_cast<uint32_t>(bytes));
    }
    AVIStreamRelease(video);
    PAVISTREAM audio = nullptr;
    if (AVIFileGetStream(file, &audio, streamtypeAUDIO, 0) == 0)
    {
        found.samples = AVIStreamLength(audio);
        AVIStreamRelease(audio);
    }
    AVIFileRelease(file);
    return found;
}

class VideoForWindows : public testing::Test
{
protected:
    VideoForWindows() { AVIFileInit(); }
    ~VideoForWindows() override { AVIFileExit(); }

    // Records frames of different sizes, with their sound where the file has any, and opens the file.
    SFound Record(bool withAudio, size_t frames, size_t zeroBytes = 0)
    {
        CKrRecorder recorder(EKrWorker::None);
        SKrWritten written;
        if (withAudio)
            written.pcm = SKrPcmFormat{};
        EXPECT_EQ(recorder.Open(written), 1);
        for (size_t number = 0; number < frames; ++number)
        {
            if (withAudio)
            {
                EXPECT_EQ(recorder.AddPatternAudio(kBytesOf25thSecond), 1);
            }
            EXPECT_EQ(zeroBytes != 0 ? recorder.AddZeroVideo(zeroBytes)
                                     : recorder.AddPatternVideo(100 + number),
                      1);
        }
        m_checked = recorder.Close();
        return Open(m_folder.Write(L"recorded.avi", recorder.Content()), FramesOfFirstSegment());
    }

    [[nodiscard]] size_t FramesOfFirstSegment() const
    {
        return static_cast<size_t>(std::count_if(m_checked.video.begin(), m_checked.video.end(),
                                                 [](const SKrWrittenChunk& chunk)
                                                 { return chunk.segment == 0; }));
    }

    CKrTempFolder m_folder;
    SKrCheckedAvi m_checked;
};
} // namespace

TEST_F(VideoForWindows, VideoAlone_IsFoundWhole)
{
    const SFound found = Record(false, 60);
    EXPECT_EQ(found.streams, 1u);
    EXPECT_EQ(found.frames, 60);
    EXPECT_EQ(found.frameSizes, SizesOf(m_checked.video));
}

TEST_F(VideoForWindows, VideoAndSound_AreFoundWhole)
{
    const SFound found = Record(true, 60);
    EXPECT_EQ(found.streams, 2u);
    EXPECT_EQ(found.frames, 60);
    EXPECT_EQ(found.frameSizes, SizesOf(m_checked.video));
    EXPECT_EQ(found.samples, 60 * 1920);
}

// Video for Windows predates files of several segments: it finds the chunks in 'idx1', those of the first
// segment. The lengths of its streams are still those of the headers.
TEST_F(VideoForWindows, ThreeSegments_AreFoundAsFarAsTheFirst)
{
    constexpr size_t kLargeFrame = 60'000'000;
    constexpr size_t kFrames = 50;
    for (const bool withAudio : {false, true})
    {
        SCOPED_TRACE(withAudio);
        const SFound found = Record(withAudio, kFrames, kLargeFrame);
        ASSERT_EQ(m_checked.segments.size(), 4u) << "three segments and the end of the last";
        EXPECT_EQ(found.streams, withAudio ? 2u : 1u);
        EXPECT_EQ(found.frames, static_cast<LONG>(kFrames));
        EXPECT_EQ(found.frameSizes, std::vector<uint32_t>(FramesOfFirstSegment(), kLargeFrame));
        EXPECT_EQ(found.samples, withAudio ? static_cast<LONG>(kFrames) * 1920 : 0);
    }
}

// Bytes as a script of a host's calls to a writer. Every file that is closed is checked byte by byte and read
// back.
#include "fuzz/KrFuzzing.h"
#include "tests/writer/KrRecorder.h"

using namespace KrTest;

namespace
{
constexpr size_t kMostSteps = 400;
constexpr size_t kLargeFrame = 60'000'000;
constexpr size_t kMostLarge = 20; // one segment and the start of the next

class CKrHost
{
public:
    explicit CKrHost(KrFuzz::CKrScript& script)
        : m_script(script), m_recorder(script.Byte() % 2 == 0 ? EKrWorker::None : EKrWorker::Stopped),
          m_mayBeLarge(script.Byte() % 64 == 0)
    {
    }

    void Run()
    {
        Open();
        for (size_t step = 0; step < kMostSteps && !m_script.IsAtEnd(); ++step)
            Step();
        Close();
        m_recorder.writer.Reset();
        EXPECT_EQ(m_recorder.files.OpenFiles(), 0u);
        EXPECT_EQ(m_recorder.files.OpenViews(), 0u);
        EXPECT_EQ(CKrTestSample::Alive(), 0);
    }

private:
    void Open()
    {
        const uint32_t sectors[] = {512, 4096, 1, 32};
        SKrWritten written;
        const uint8_t choice = m_script.Byte();
        written.bytesPerSector = sectors[choice & 3];
        written.codec = (choice & 4) != 0 ? "" : "MJPG";
        written.frameRate = choice >> 5;
        if ((choice & 8) != 0)
            written.pcm = SKrPcmFormat{.channels = static_cast<uint16_t>(1 + m_script.Byte() % 4),
                                       .samplesPerSec = 8000 + m_script.Number(2),
                                       .bitsPerSample = static_cast<uint16_t>(8 * (1 + m_script.Byte() % 4))};
        written.hasDirectChunks = (choice & 16) != 0;
        ASSERT_EQ(m_recorder.Open(written), 1);
        m_large = 0;
    }

    void Close()
    {
        const SKrCheckedAvi checked = m_recorder.Close();
        EXPECT_EQ(checked.problems, std::vector<std::string>{});
    }

    void Step()
    {
        const uint8_t what = m_script.Byte();
        const size_t size = what >= 0x80 ? m_script.Number(2) : m_script.Byte();
        const bool hasAudio = m_recorder.written.pcm.has_value();
        switch (what % 16)
        {
        case 0:
        case 1:
        case 2:
        case 3:
        case 4:
            EXPECT_EQ(m_recorder.AddPatternVideo(size), size > 0 ? 1 : 0);
            break;
        case 5:
        case 6:
        case 7:
        case 8:
            EXPECT_EQ(m_recorder.AddPatternAudio(size), hasAudio && size > 0 ? 1 : 0);
            break;
        case 9:
            AddOneFrameOfAudio();
            break;
        case 10:
            AddUnlockable(size);
            break;
        case 11:
            for (size_t number = 0; number < size % 64; ++number)
                EXPECT_EQ(m_recorder.AddZeroVideo(1 + number), 1);
            break;
        case 12:
            AddLarge();
            break;
        case 13:
            Close();
            Open();
            break;
        default:
            WriteDirect(size, what % 16 == 14);
            break;
        }
    }

    void AddOneFrameOfAudio()
    {
        if (!m_recorder.written.pcm)
            return;
        const SKrPcmFormat& pcm = *m_recorder.written.pcm;
        EXPECT_EQ(m_recorder.AddZeroAudio(pcm.samplesPerSec / 25 * pcm.BlockAlign()), 1);
    }

    void AddUnlockable(size_t size)
    {
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(1 + size % 100)));
        sample->RefuseLocks();
        EXPECT_EQ(m_recorder.writer->AddVideoSample(sample.Get()), 1);
    }

    // They are slow, so only a few scripts have them.
    void AddLarge()
    {
        for (int number = 0; number < 4 && m_large < kMostLarge && m_mayBeLarge; ++number, ++m_large)
            EXPECT_EQ(m_recorder.AddZeroVideo(kLargeFrame), 1);
    }

    void WriteDirect(size_t size, bool isVideo)
    {
        if (!m_recorder.written.hasDirectChunks)
            return;
        const KrBytes bytes(size, 9);
        const auto length = static_cast<int32_t>(size);
        const int wanted = size > 0 && (isVideo || m_recorder.written.pcm) ? 1 : 0;
        EXPECT_EQ(isVideo ? m_recorder.writer->WriteVideoChunk(bytes.data(), length)
                          : m_recorder.writer->WriteAudioChunk(bytes.data(), length),
                  wanted);
    }

    KrFuzz::CKrScript& m_script;
    CKrRecorder m_recorder;
    const bool m_mayBeLarge;
    size_t m_large = 0;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KrFuzz::CKrScript script(data, size);
    CKrHost(script).Run();
    return 0;
}

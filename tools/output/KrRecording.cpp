#include "tools/output/KrRecording.h"

#include "KrOsTypes.h"
#include "format/KrAviHeaders.h"
#include "platform/KrFileProbe.h"
#include "platform/KrUtf8.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrToolError.h"
#include "tools/output/KrOutputFile.h"

#include <utility>

namespace KrTool
{
namespace
{
constexpr unsigned long kPatience = 50; // milliseconds until another pool is made
constexpr unsigned long kLargestPool = 65536;

WAVEFORMATEX WaveFormat(const SKrPcm& pcm)
{
    return {.wFormatTag = kFormatTagPcm,
            .nChannels = pcm.channels,
            .nSamplesPerSec = pcm.samplesPerSec,
            .nAvgBytesPerSec = pcm.samplesPerSec * pcm.blockAlign,
            .nBlockAlign = pcm.blockAlign,
            .wBitsPerSample = pcm.bitsPerSample,
            .cbSize = 0};
}
} // namespace

CKrRecording::CKrRecording(std::string target, bool replace, const SKrRecordingFormat& format,
                           CKrProgress& progress)
    : m_target(std::move(target)), m_replace(replace), m_progress(progress)
{
    if (KrCreateAviWriter(m_writer.Put()) == 0)
        throw CKrToolError(m_target, "out of memory");
    const std::string temporary = FreeTemporaryName(m_target);
    const WAVEFORMATEX wave = format.audio ? WaveFormat(*format.audio) : WAVEFORMATEX{};
    if (m_writer->OpenFile(WidePath(temporary).c_str(), &format.video, format.codec,
                           format.audio ? &wave : nullptr) == 0)
        Fail("it cannot be written");
    m_temporary = temporary;
}

CKrRecording::~CKrRecording()
{
    m_loader->Stop();
    m_writer.Reset();
    m_pools.clear();
    if (!m_temporary.empty())
        RemoveFile(m_temporary);
}

// The writer gives no reason; a trial file may have one.
void CKrRecording::Fail(const std::string& cause) const
{
    const std::string reason = WhyNotWritable(m_target, m_frameBytes + m_audioBytes);
    throw CKrToolError(m_target, reason.empty() ? cause : "it cannot be written: " + reason);
}

void CKrRecording::AddPool()
{
    CKrRef<IKrdsMediaSamplePool> pool;
    if (KrCreateMediaSamplePool(m_poolSize, pool.Put()) == 0)
        throw CKrToolError(m_target, "out of memory");
    m_pools.push_back(std::move(pool));
    m_poolSize = std::min(2 * m_poolSize, kLargestPool);
}

// A pool's sample around the bytes. Frames can wait for audio that never comes, so that no number of samples
// is always enough: more are made when none is returned for a while.
CKrRef<IKrMediaSample> CKrRecording::Borrow(SKrSampleBytes bytes)
{
    const auto source = CKrRef<CKrLazySample>::Adopt(new CKrLazySample(m_loader, std::move(bytes)));
    for (;;)
    {
        m_progress.StopIfAsked();
        for (size_t number = m_pools.size(); number > 0; --number)
        {
            CKrRef<IKrMediaSample> sample;
            const unsigned long wait = number == 1 ? kPatience : 0;
            if (m_pools[number - 1]->GetSample(wait, source.Get(), sample.Put()) != 0)
                return sample;
        }
        AddPool();
    }
}

void CKrRecording::Check(int status)
{
    m_loader->ThrowIfFailed();
    if (status == 0)
        Fail("writing failed; the disk may be full");
}

void CKrRecording::AddFrame(SKrSampleBytes frame)
{
    m_frameBytes += frame.length;
    Check(m_writer->AddVideoSample(Borrow(std::move(frame)).Get()));
    ++m_frames;
}

void CKrRecording::AddAudio(SKrSampleBytes block)
{
    m_audioBytes += block.length;
    Check(m_writer->AddAudioSample(Borrow(std::move(block)).Get()));
}

SKrRecordingStatus CKrRecording::Status() const
{
    SKrRecordingStatus status{};
    status.size = sizeof status;
    m_writer->GetRecordingStatus(&status);
    return status;
}

SKrRecordingResult CKrRecording::Commit()
{
    const bool isWhole = m_writer->CloseFile() != 0;
    m_loader->ThrowIfFailed();
    m_progress.StopIfAsked(); // frames are then left out
    if (!isWhole)
        Fail("writing failed; the disk may be full");
    const SKrRecordingResult result = ReadBackOrFail();
    const SKrOsResult moved = MoveIntoPlace(m_temporary, m_target, m_replace);
    if (!moved.Ok())
        throw CKrToolError(m_target, OsErrorText(moved.error));
    m_temporary.clear();
    return result;
}

// A new file that the reader refuses was not written whole.
SKrRecordingResult CKrRecording::ReadBackOrFail() const
{
    try
    {
        return ReadBack();
    }
    catch (const CKrToolError&)
    {
        Fail("writing failed; the disk may be full");
    }
}

// What the indexes of the new file lead to.
SKrRecordingResult CKrRecording::ReadBack() const
{
    const CKrAviFile file(m_temporary);
    SKrRecordingResult result;
    result.fileBytes = file.Length();
    const Chunks video = LoadIndex(file, EKrStreamKind::Video, nullptr).value_or(Chunks());
    result.frames = video.size();
    SKrAudioChunkPattern pattern{};
    if (m_audioBytes > 0)
        result.audioBytes = TotalBytes(LoadIndex(file, EKrStreamKind::Audio, &pattern).value_or(Chunks()));
    if (result.frames != m_frames || result.audioBytes != m_audioBytes)
        Fail("writing failed; the disk may be full");
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    if (file.Reader().FindFirstRiffSegment() != 0)
    {
        for (int more = 1; more != 0; ++result.segments)
            more = file.Reader().FindNextRiffSegment(&type, &size, &offset, nullptr);
    }
    return result;
}
} // namespace KrTool

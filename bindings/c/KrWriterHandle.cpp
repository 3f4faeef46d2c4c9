#include "bindings/c/KrWriterHandle.h"

#include "bindings/c/KrBorrowedSample.h"
#include "bindings/c/KrPaths.h"

#include "KrOsTypes.h"
#include "format/KrFrameTables.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>

namespace
{
constexpr uint32_t kMost16 = std::numeric_limits<uint16_t>::max();
constexpr uint32_t kMost8 = std::numeric_limits<uint8_t>::max();

// Whether the fields hold values that the header names.
bool IsKnown(const kr_clip& clip)
{
    static constexpr uint32_t kAspectModes[] = {kAspectMode4x3, kAspectMode16x9, kAspectModeUnknown,
                                                kAspectMode648x720, kAspectMode864x720};
    return clip.scan_mode >= KR_SCAN_UNKNOWN && clip.scan_mode <= KR_SCAN_PROGRESSIVE &&
           std::ranges::count(kAspectModes, clip.aspect_mode) != 0 &&
           std::ranges::count(clip.reserved, 0u) == std::ssize(clip.reserved);
}

// Nothing when a number does not fit.
std::optional<SKrAviVideoParams> VideoOf(const kr_clip& clip)
{
    const uint32_t displayWidth = clip.display_width != 0 ? clip.display_width : clip.width;
    const uint32_t displayHeight = clip.display_height != 0 ? clip.display_height : clip.height;
    if (displayWidth > kMost16 || displayHeight > kMost16 || clip.bit_count > kMost8 ||
        clip.width > INT32_MAX || clip.height > INT32_MAX || !IsKnown(clip))
        return std::nullopt;
    SKrAviVideoParams video = {};
    video.displayWidth = static_cast<uint16_t>(displayWidth);
    video.displayHeight = static_cast<uint16_t>(displayHeight);
    video.bitCount = static_cast<uint8_t>(clip.bit_count);
    video.aspectMode = clip.aspect_mode;
    video.frameRate = clip.frame_rate;
    video.scanMode = clip.scan_mode;
    video.width = static_cast<int32_t>(clip.width);
    video.height = static_cast<int32_t>(clip.height);
    return video;
}

std::optional<WAVEFORMATEX> SoundOf(const kr_clip& clip)
{
    const uint64_t frameBytes = uint64_t{clip.audio_channels} * (clip.audio_bits_per_sample / 8);
    if (clip.audio_bits_per_sample % 8 != 0 || clip.audio_bits_per_sample > 32 || frameBytes == 0 ||
        frameBytes > kMost16 || frameBytes * clip.audio_samples_per_sec > UINT32_MAX)
        return std::nullopt;
    WAVEFORMATEX sound = {};
    sound.wFormatTag = kFormatTagPcm;
    sound.nChannels = static_cast<uint16_t>(clip.audio_channels);
    sound.nSamplesPerSec = clip.audio_samples_per_sec;
    sound.wBitsPerSample = static_cast<uint16_t>(clip.audio_bits_per_sample);
    sound.nBlockAlign = static_cast<uint16_t>(frameBytes);
    sound.nAvgBytesPerSec = static_cast<uint32_t>(frameBytes * clip.audio_samples_per_sec);
    return sound;
}
} // namespace

SKrRecordingStatus CKrWriterHandle::Status()
{
    SKrRecordingStatus status = {};
    status.size = sizeof status;
    m_writer->GetRecordingStatus(&status);
    return status;
}

SKrOutcome CKrWriterHandle::OpenBy(const std::wstring& path, const kr_clip& clip,
                                   std::shared_ptr<CKrOutput> output)
{
    // Whatever ends it, also an exception: the old output ends with its file.
    struct SOutputOfTheFile
    {
        ~SOutputOfTheFile() { object.KeepOutput(std::move(output)); }
        CKrWriterHandle& object;
        std::shared_ptr<CKrOutput> output;
    };
    const std::optional<SKrAviVideoParams> video = VideoOf(clip);
    const bool hasAudio = clip.audio_channels != 0;
    const std::optional<WAVEFORMATEX> sound = hasAudio ? SoundOf(clip) : std::nullopt;
    const WAVEFORMATEX* const format = sound ? &*sound : nullptr;
    if (!video || hasAudio != sound.has_value() || !MakeWriterSetup(&*video, clip.codec, format))
        return KR_ERROR_ARGUMENT; // the old file stays open
    SOutputOfTheFile kept{*this, nullptr};
    m_files.StartOpen();
    if (m_writer->OpenFile(path.c_str(), &*video, clip.codec, format) == 0)
    {
        if (m_files.OpenedLast())
            return {KR_ERROR_WRITE, Status().systemError};
        return KrOutcomeOf(WhyNotWritten(path.c_str()));
    }
    m_hasAudio = hasAudio;
    if (output != nullptr)
        output->Take();
    kept.output = std::move(output);
    return KR_OK;
}

SKrOutcome CKrWriterHandle::Open(const std::wstring& path, const kr_clip& clip)
{
    return OpenBy(path, clip, nullptr);
}

SKrOutcome CKrWriterHandle::OpenOutput(const kr_output& callbacks, const kr_clip& clip)
{
    const auto output = std::make_shared<CKrOutput>(callbacks, *this);
    return OpenBy(CKrHandleFiles::PathOf(output), clip, output);
}

// The old one ends here, under no lock.
void CKrWriterHandle::KeepOutput(std::shared_ptr<CKrOutput> output)
{
    const std::lock_guard guard(m_outputLock);
    m_output.swap(output);
}

SKrOutcome CKrWriterHandle::Close()
{
    const bool isWhole = m_writer->CloseFile() != 0;
    const SKrRecordingStatus status = Status();
    KeepOutput(nullptr);
    if (isWhole)
        return KR_OK;
    const bool failed = (status.state & (kKrStateWriteFailed | kKrStateFlushFailed)) != 0;
    return failed ? SKrOutcome(KR_ERROR_WRITE, status.systemError) : SKrOutcome(KR_ERROR_INCOMPLETE);
}

// Why the writer did not take a sample or chunk.
SKrOutcome CKrWriterHandle::WhyRefused(EKrStream stream)
{
    const SKrRecordingStatus status = Status();
    if ((status.state & kKrStateOpen) == 0)
        return KR_ERROR_CLOSED;
    if (stream == EKrStream::Audio && !m_hasAudio)
        return KR_ERROR_NO_STREAM;
    if ((status.state & kKrStateWriteFailed) != 0)
        return {KR_ERROR_WRITE, status.systemError};
    return KR_ERROR_REFUSED;
}

bool CKrWriterHandle::Submit(EKrStream stream, IKrMediaSample& sample)
{
    return (stream == EKrStream::Video ? m_writer->AddVideoSample(&sample)
                                       : m_writer->AddAudioSample(&sample)) != 0;
}

SKrOutcome CKrWriterHandle::Add(EKrStream stream, KrByteSpan bytes, kr_release_fn release, void* context)
{
    // Forgotten until it is taken, also where that ends with an exception.
    struct SUntaken
    {
        ~SUntaken()
        {
            if (!taken)
                sample->Forget();
            sample->Release();
        }
        CKrBorrowedSample* sample;
        bool taken = false;
    };
    SUntaken untaken{new CKrBorrowedSample(bytes, release, context, CallbackThreads())};
    untaken.taken = Submit(stream, *untaken.sample);
    return untaken.taken ? SKrOutcome(KR_OK) : WhyRefused(stream);
}

SKrOutcome CKrWriterHandle::AddCopy(EKrStream stream, KrByteSpan bytes)
{
    const auto sample = CKrRef<CKrCopiedSample>::Adopt(new CKrCopiedSample(bytes));
    return Submit(stream, *sample) ? SKrOutcome(KR_OK) : WhyRefused(stream);
}

SKrOutcome CKrWriterHandle::WriteChunk(EKrStream stream, KrByteSpan bytes)
{
    const auto length = static_cast<int32_t>(bytes.size());
    const int written = stream == EKrStream::Video ? m_writer->WriteVideoChunk(bytes.data(), length)
                                                   : m_writer->WriteAudioChunk(bytes.data(), length);
    return written != 0 ? SKrOutcome(KR_OK) : WhyRefused(stream);
}

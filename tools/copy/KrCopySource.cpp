#include "tools/copy/KrCopySource.h"

#include "format/KrFrameTables.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrKeyFrames.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrRecordingOptions.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace KrTool
{
namespace
{
std::vector<uint8_t> BytesAfter(const std::vector<uint8_t>& bytes, size_t count)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size())), bytes.end()};
}

class CKrCopyPreparation
{
public:
    CKrCopyPreparation(const std::string& path, const SKrFrameRange& range, const SKrCopyOptions& options,
                       CKrReport& report, CKrProgress& progress)
        : m_range(range), m_options(options), m_report(report), m_progress(progress),
          m_opened(std::make_shared<CKrAviFile>(path)), m_file(*m_opened),
          m_facts(ReadFacts(m_file, progress))
    {
        m_source.clip.source = m_opened;
        ReportFileFindings(m_file, m_facts, report);
    }

    SKrCopySource Run()
    {
        CheckOtherStreams();
        PrepareVideo();
        PrepareAudio();
        return std::move(m_source);
    }

private:
    [[noreturn]] void Refuse(const std::string& cause) const { throw CKrToolError(m_file.Path(), cause); }

    // What the writer cannot store is left out only on request.
    void CheckOtherStreams() const
    {
        const auto videos = std::ranges::count_if(m_facts.streams, &SKrAviStream::IsVideo);
        const auto audios = std::ranges::count_if(m_facts.streams, &SKrAviStream::IsAudio);
        if (!m_options.video && videos > 1)
            Refuse("it has more than one video stream; --video N chooses one");
        if (!m_options.audio && !m_options.noAudio && audios > 1)
            Refuse("it has more than one audio stream; --audio N chooses one, --no-audio leaves them out");
        if (!m_options.lossyHeader && std::cmp_less(videos + audios, m_facts.streams.size()))
            Refuse("it has streams that are neither video nor audio; --lossy-header leaves them out");
    }

    SKrStreamChunks ChunksOf(EKrStreamKind kind, const std::optional<uint64_t>& wanted)
    {
        SKrStreamChunks stream =
            ChunksOfStream(m_file, m_facts, kind, StreamNumber(wanted), m_report, m_progress);
        if (stream.stream >= m_facts.streams.size())
            Refuse(Format("its headers do not describe stream {}", stream.stream));
        return stream;
    }

    // The new file starts both streams together.
    void CheckStart(const SKrAviStream& header)
    {
        if (header.start == 0)
            return;
        const std::string text = StartText(header, header.number);
        if (!m_options.lossyHeader)
            Refuse(text + ", which the writer cannot store; --lossy-header leaves it out");
        m_report.Note("left out: " + text);
    }

    void PrepareVideo()
    {
        const SKrStreamChunks stream = ChunksOf(EKrStreamKind::Video, m_options.video);
        CheckStart(m_facts.streams[stream.stream]);
        TakeVideoFormat(m_facts.streams[stream.stream]);
        TakeRange(stream);
        CheckKeyFrames(stream);
        Chunks& frames = m_source.clip.frames;
        frames.assign(stream.chunks.begin() + static_cast<std::ptrdiff_t>(m_source.firstFrame),
                      stream.chunks.begin() + static_cast<std::ptrdiff_t>(m_source.endFrame));
        const auto cut = std::ranges::find_if(frames, [this](const SKrChunkIndexEntry& frame)
                                              { return frame.position + frame.size > m_file.Length(); });
        if (cut != frames.end())
            Refuse(Format("frames of stream {} from {} on are past the end of the file", stream.stream,
                          m_source.firstFrame + static_cast<uint64_t>(cut - frames.begin())));
        const size_t empty =
            std::erase_if(frames, [](const SKrChunkIndexEntry& frame) { return frame.size == 0; });
        if (empty != 0 && !m_options.dropEmpty)
            Refuse(Format("{}{} no data (repeated frames); --drop-empty leaves them out",
                          Counted(empty, "frame"), empty == 1 ? " has" : " have"));
        if (empty != 0)
            m_report.Note(Format("left out: {} without data", Counted(empty, "frame")));
        if (frames.empty())
            Refuse("it has no frames");
        if (std::ranges::max(frames, {}, &SKrChunkIndexEntry::size).size > kLargestFrame)
            Refuse("a frame is larger than 2 GiB");
    }

    void TakeRange(const SKrStreamChunks& stream)
    {
        const uint64_t count = stream.chunks.size();
        if (count == 0)
            Refuse("it has no frames");
        m_source.firstFrame = m_range.first;
        m_source.endFrame = m_range.last ? *m_range.last + 1 : count;
        if (m_source.firstFrame >= count || m_source.endFrame > count)
            Refuse(Format("no such frames: video stream {} has {}", stream.stream, Counted(count, "frame")));
    }

    // Checks the selected frames; empty ones may be left out.
    void CheckKeyFrames(const SKrStreamChunks& stream)
    {
        const std::vector<bool> keys = KeyFrames(m_file, m_facts, stream.stream, stream.chunks);
        std::optional<uint64_t> first;
        uint64_t others = 0;
        for (uint64_t frame = m_source.firstFrame; frame < m_source.endFrame; ++frame)
        {
            if (m_options.dropEmpty && stream.chunks[frame].size == 0)
                continue;
            first = first.value_or(frame);
            others += keys[frame] ? 0 : 1;
        }
        if (others == 0)
            return;
        m_report.Note(DependingText(others, stream.stream));
        if (!keys[*first])
            FindKeysAround(keys, *first);
    }

    void FindKeysAround(const std::vector<bool>& keys, uint64_t first)
    {
        const auto place = keys.begin() + static_cast<std::ptrdiff_t>(first);
        const auto next = std::find(place, keys.end(), true);
        const auto before = std::find(std::make_reverse_iterator(place), keys.rend(), true);
        std::string text = Format("frame {} is not a key frame: ", first);
        if (before != keys.rend())
            text += Format("it needs frames from {} on; cut there", keys.rend() - before - 1);
        else
            text += "the frames it needs are not in the file";
        if (next != keys.end())
            text += Format("; the next key frame is {}", next - keys.begin());
        m_report.Finding(text);
    }

    void TakeVideoFormat(const SKrAviStream& header)
    {
        const std::vector<uint8_t>& strf = header.format;
        if (strf.size() < SKrBitmapHeader::kEncodedSize)
            Refuse("its video format is not complete");
        const SKrBitmapHeader picture = DecodeBitmapHeader(strf);
        if (strf.size() > SKrBitmapHeader::kEncodedSize && !m_options.lossyHeader)
            Refuse(Format(
                "{} keeps {} of decoder settings that this layout cannot store; --lossy-header leaves them out",
                picture.compression == 0 ? "its format" : FourCcText(picture.compression),
                Counted(strf.size() - SKrBitmapHeader::kEncodedSize, "byte")));
        m_source.moreVideoFormat = BytesAfter(strf, SKrBitmapHeader::kEncodedSize);
        if (picture.width < 1 || picture.height < 1)
            Refuse(
                Format("the writer cannot store its picture size ({} x {}; a negative height means top-down)",
                       picture.width, picture.height));
        std::optional<uint32_t> code = FrameRateCode(header.rate, header.scale);
        if (!m_options.rate.empty())
            code = ParseFrameRate(m_options.rate);
        if (!code)
            Refuse(Format("its frame rate {}/{} is not supported; --rate sets another one", header.rate,
                          header.scale));
        SKrRecordingFormat& format = m_source.format;
        format.video = ReaderFormat();
        format.video.width = picture.width;
        format.video.height = picture.height;
        format.video.bitCount = static_cast<uint8_t>(picture.bitCount);
        format.video.frameRate = *code;
        format.codec = picture.compression;
    }

    // Scan mode and pixel aspect ratio as the reader knows them.
    [[nodiscard]] SKrAviVideoParams ReaderFormat() const
    {
        const SKrVideoAnswer answer(m_file.Reader());
        if (answer.isValid != 0)
            return answer.format;
        SKrAviVideoParams known{};
        known.aspectMode = kAspectModeUnknown;
        known.scanMode = static_cast<int32_t>(EKrScanMode::Unknown);
        return known;
    }

    void PrepareAudio()
    {
        const bool hasAudio = std::ranges::any_of(m_facts.streams, &SKrAviStream::IsAudio);
        if (m_options.noAudio || (!hasAudio && !m_options.audio))
            return;
        SKrStreamChunks stream = ChunksOf(EKrStreamKind::Audio, m_options.audio);
        CheckStart(m_facts.streams[stream.stream]);
        TakeAudioFormat(m_facts.streams[stream.stream]);
        m_source.clip.audio = AudioOfRange(std::move(stream.chunks));
        if (CountCutChunks(m_file, m_source.clip.audio) != 0)
            Refuse(Format("audio chunks of stream {} are past the end of the file", stream.stream));
    }

    void TakeAudioFormat(const SKrAviStream& header)
    {
        const SKrAudioFormat format = AudioFormat(header);
        if (format.formatTag != kFormatTagPcm || format.blockAlign == 0 || format.samplesPerSec == 0)
            Refuse("its audio is not PCM; --no-audio leaves it out");
        if (format.blockAlign != format.channels * ((format.bitsPerSample + 7) / 8))
            Refuse(Format(
                "its audio format is inconsistent ({} channels of {} bits, {} a sample frame); --no-audio leaves it out",
                format.channels, format.bitsPerSample, Counted(format.blockAlign, "byte")));
        if (header.format.size() > SKrWaveFormat::kEncodedSize && !m_options.lossyHeader)
            Refuse(
                "its audio format has further bytes that this layout cannot store; --lossy-header leaves them out");
        m_source.moreAudioFormat = BytesAfter(header.format, SKrWaveFormat::kEncodedSize);
        m_source.format.audio =
            SKrPcm{format.channels, format.samplesPerSec, format.bitsPerSample, format.blockAlign};
    }

    // All of it if all frames are taken, including sound without frames.
    [[nodiscard]] Chunks AudioOfRange(Chunks chunks) const
    {
        if (m_range.first == 0 && !m_range.last)
            return chunks;
        const SKrPcm& pcm = *m_source.format.audio;
        const uint64_t first = SampleFramesUntil(m_source.firstFrame, m_source.format);
        const uint64_t end =
            m_range.last ? SampleFramesUntil(m_source.endFrame, m_source.format) : UINT64_MAX;
        Chunks part = UnitsOf(chunks, {{pcm.samplesPerSec, 1}, pcm.blockAlign}, first, end);
        const uint64_t wanted = SampleFramesUntil(m_source.endFrame, m_source.format) - first;
        if (const uint64_t there = TotalBytes(part) / pcm.blockAlign; there < wanted)
            m_report.Note(
                Format("the sound ends {} before the last frame", Counted(wanted - there, "sample frame")));
        return part;
    }

    const SKrFrameRange& m_range;
    const SKrCopyOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    const std::shared_ptr<const CKrAviFile> m_opened; // still read by the copy
    const CKrAviFile& m_file;
    SKrAviFacts m_facts;
    SKrCopySource m_source;
};
} // namespace

SKrCopySource PrepareCopy(const std::string& path, const SKrFrameRange& range, const SKrCopyOptions& options,
                          CKrReport& report, CKrProgress& progress)
{
    return CKrCopyPreparation(path, range, options, report, progress).Run();
}

void CopyFrames(const std::string& file, const SKrFrameRange& range, const SKrCopyOptions& options,
                CKrReport& report, CKrProgress& progress)
{
    CheckTarget(options.output, options.force, file);
    SKrCopySource source = PrepareCopy(file, range, options, report, progress);
    const SKrRecordingResult result =
        WriteClips({std::move(source.clip)}, source.format, options.output, options.force, progress);
    report.Fact("file", file);
    report.Fact("firstFrame", source.firstFrame);
    report.Fact("lastFrame", source.endFrame - 1);
    ReportRecording(result, source.format, options.output, report);
}
uint64_t SampleFramesUntil(uint64_t frame, const SKrRecordingFormat& format)
{
    const SKrFrameRate rate = KrFrameRates()[format.video.frameRate];
    const auto samples = AudioUnitsUntil(frame, {rate.rate, rate.scale}, {format.audio->samplesPerSec, 1});
    if (!samples)
        throw CKrToolError({}, "too many frames to count their samples");
    return *samples;
}

uint64_t SampleFramesOf(const SKrClip& clip, const SKrRecordingFormat& format)
{
    return TotalBytes(clip.audio) / format.audio->blockAlign;
}
} // namespace KrTool

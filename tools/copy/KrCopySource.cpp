#include "tools/copy/KrCopySource.h"

#include "format/KrChunkHeader.h"
#include "format/KrFrameTables.h"
#include "format/KrPrivateChunks.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrKeyFrames.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrCarriedHeader.h"
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
constexpr char kNotHere[] = ", which the layout of recordings cannot store";

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

    // What the writer cannot store is refused; streams are left out on request.
    void CheckOtherStreams() const
    {
        const auto videos = std::ranges::count_if(m_facts.streams, &SKrAviStream::IsVideo);
        const auto audios = std::ranges::count_if(m_facts.streams, &SKrAviStream::IsAudio);
        if (!m_options.streams.video && videos > 1)
            Refuse("it has more than one video stream; --video N chooses one");
        if (!m_options.streams.audio && !m_options.streams.noAudio && audios > 1)
            Refuse("it has more than one audio stream; --audio N chooses one, --no-audio leaves them out");
        if (std::cmp_less(videos + audios, m_facts.streams.size()))
            Refuse(Format("it has streams that are neither video nor audio{}", kNotHere));
        if (const std::string texts = TextsLeftOut(); !texts.empty())
            m_report.Note("left out: " + texts);
    }

    // Names of streams, and texts about the file.
    [[nodiscard]] std::string TextsLeftOut() const
    {
        const std::optional<SKrCarriedHeader> header = ReadCarriedHeader(m_file);
        if (!header)
            return {};
        std::vector<std::string> names;
        const auto add = [&names](const SKrCarriedBytes& chunk)
        {
            const bool isKept = chunk.id == kFccStrf || FindPrivateChunkKind(chunk.id) != nullptr;
            const bool isList = chunk.id == kFccList && chunk.data.size() >= kListTypeSize;
            const std::string name = FourCcText(isList ? GetLe32(chunk.data.data()) : chunk.id);
            if (!isKept && std::ranges::find(names, name) == names.end())
                names.push_back(name);
        };
        for (const SKrCarriedStream& stream : header->streams)
            std::ranges::for_each(stream.chunks, add);
        for (const auto* chunks :
             {&header->headerChunks, &header->openDml, &header->beforeData, &header->afterData})
            std::ranges::for_each(*chunks, add);
        return Joined(names, ", ");
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
    void CheckStart(const SKrAviStream& header) const
    {
        if (header.start != 0)
            Refuse(StartText(header, header.number) + kNotHere);
    }

    void PrepareVideo()
    {
        const SKrStreamChunks stream = ChunksOf(EKrStreamKind::Video, m_options.streams.video);
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
            ReportShortening(empty);
        if (frames.empty())
            Refuse("it has no frames");
        if (std::ranges::max(frames, {}, &SKrChunkIndexEntry::size).size > kLargestFrame)
            Refuse("a frame is larger than 2 GiB");
    }

    void ReportShortening(size_t frames) const
    {
        const SKrFrameRate rate = KrFrameRates()[m_source.format.video.frameRate];
        const double seconds = static_cast<double>(frames) * rate.scale / rate.rate;
        m_report.Finding(
            Format("left out: {} without data; the picture is {:.2f} s shorter, the sound is not",
                   Counted(frames, "frame"), seconds));
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

    // The layout marks each frame as a key frame; empty ones may be left out.
    void CheckKeyFrames(const SKrStreamChunks& stream) const
    {
        const std::vector<bool> keys = KeyFrames(m_file, m_facts, stream.stream, stream.chunks);
        uint64_t others = 0;
        for (uint64_t frame = m_source.firstFrame; frame < m_source.endFrame; ++frame)
        {
            const bool isLeftOut = m_options.dropEmpty && stream.chunks[frame].size == 0;
            others += keys[frame] || isLeftOut ? 0 : 1;
        }
        if (others != 0)
            Refuse(Format("{} of stream {} {} on others{}", Counted(others, "frame"), stream.stream,
                          others == 1 ? "depends" : "depend", kNotHere));
    }

    void TakeVideoFormat(const SKrAviStream& header)
    {
        const std::vector<uint8_t>& strf = header.format;
        if (strf.size() < SKrBitmapHeader::kEncodedSize)
            Refuse("its video format is not complete");
        const SKrBitmapHeader picture = DecodeBitmapHeader(strf);
        if (strf.size() > SKrBitmapHeader::kEncodedSize)
            Refuse(Format("{} keeps {} of decoder settings{}",
                          picture.compression == 0 ? "its format" : FourCcText(picture.compression),
                          Counted(strf.size() - SKrBitmapHeader::kEncodedSize, "byte"), kNotHere));
        if (picture.width < 1 || picture.height < 1)
            Refuse(
                Format("the writer cannot store its picture size ({} x {}; a negative height means top-down)",
                       picture.width, picture.height));
        std::optional<uint32_t> code = FrameRateCode(header.rate, header.scale);
        if (!m_options.streams.rate.empty())
            code = ParseFrameRate(m_options.streams.rate);
        if (!code)
            Refuse(Format("its frame rate {}/{} is not supported; --rate sets another one", header.rate,
                          header.scale));
        SKrRecordingFormat& format = m_source.format;
        format.video = DeclaredFormat();
        format.video.width = picture.width;
        format.video.height = picture.height;
        format.video.bitCount = static_cast<uint8_t>(picture.bitCount);
        format.video.frameRate = *code;
        format.codec = picture.compression;
    }

    [[nodiscard]] SKrAviVideoParams DeclaredFormat() const
    {
        const SKrVideoAnswer answer = DeclaredVideo(m_file);
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
        if (m_options.streams.noAudio || (!hasAudio && !m_options.streams.audio))
            return;
        SKrStreamChunks stream = ChunksOf(EKrStreamKind::Audio, m_options.streams.audio);
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
        if (header.format.size() > SKrWaveFormat::kEncodedSize)
            Refuse(Format("its audio format has further bytes{}", kNotHere));
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

// kravi extract: frames and audio of a file, byte for byte.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkCopier.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrFollowedFile.h"
#include "tools/avi/KrFrameRange.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/input/KrFramePattern.h"
#include "tools/output/KrPictureStream.h"
#include "tools/verbs/KrExtractOptions.h"
#include "tools/verbs/KrFrameFiles.h"
#include "tools/verbs/KrSoundExtraction.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace KrTool
{
namespace
{
class CKrExtraction
{
public:
    CKrExtraction(const SKrExtractOptions& options, CKrReport& report, CKrProgress& progress)
        : m_options(options), m_report(report), m_progress(progress),
          m_followed(options.follow ? std::make_unique<CKrFollowedFile>(options.file) : nullptr),
          m_opened(options.follow ? nullptr : std::make_unique<CKrAviFile>(options.file)),
          m_file(options.follow ? m_followed->File() : *m_opened), m_facts(ReadFacts(m_file, progress)),
          m_copier(m_file, progress), m_sound(options, m_file, m_facts, report, progress)
    {
        if (!options.follow)
            ReportFileFindings(m_file, m_facts, report);
    }

    // Checks everything before writing anything.
    void Run()
    {
        if (!m_options.video.empty())
            m_pattern.emplace(m_options.video);
        if (m_options.follow)
            Follow();
        else
            Extract();
    }

private:
    void Extract()
    {
        if (!m_options.video.empty())
            PrepareVideo();
        if (!m_options.audio.empty())
            m_sound.Prepare(VideoHeader());
        Json video;
        Json audio;
        if (!m_options.video.empty())
            video = WriteVideo();
        if (!m_options.audio.empty())
            audio = m_sound.Write(m_copier);
        Report(video, audio);
    }

    void Report(const Json& video, const Json& audio)
    {
        m_report.Fact("file", m_file.Path());
        m_report.Fact("video", video);
        m_report.Fact("audio", audio);
    }

    void Follow()
    {
        if (!m_options.audio.empty())
            CheckStreamTarget(m_options.audio, m_options.force, m_file.Path());
        const Json video = m_options.video.empty() ? Json() : FollowVideo();
        Json audio;
        if (!m_options.audio.empty())
        {
            WaitForAudio();
            m_sound.Prepare(VideoHeader());
            audio = m_sound.Write(m_copier);
        }
        Report(video, audio);
        m_report.Fact("state", RecordingName(m_followed->State()));
        m_followed->ReportEnd(m_report);
    }

    [[nodiscard]] bool IsBeingWritten() const { return m_followed->State() == EKrRecording::BeingWritten; }

    // Writes the frames as they come. If no index leads to them, all are written when the recording ends.
    Json FollowVideo()
    {
        const std::optional<uint32_t> wanted = StreamNumber(m_options.videoStream);
        m_video = {ChooseStream(m_file, m_facts, EKrStreamKind::Video, wanted), true, {}};
        m_firstFrame = m_options.from.value_or(0);
        m_endFrame = m_options.to ? *m_options.to + 1 : UINT64_MAX;
        CheckVideoTarget(m_firstFrame);
        CKrFrameFiles files(*m_pattern, m_options.force, m_copier);
        m_progress.Begin("writing video", m_options.to ? m_endFrame - m_firstFrame : 0, EKrUnit::Frame);
        TakeFrames(files);
        while (IsBeingWritten() && m_video.chunks.size() < m_endFrame)
        {
            m_followed->Wait(m_progress);
            TakeFrames(files);
        }
        if (m_video.chunks.empty() && !IsBeingWritten())
        {
            m_video = ChunksOfStream(m_file, m_facts, EKrStreamKind::Video, wanted, m_report, m_progress);
            for (uint64_t frame = m_firstFrame; frame < FramesToTake(); ++frame)
                WriteFollowed(files, frame);
        }
        const uint64_t bytes = files.Finish();
        m_progress.End();
        if (m_options.to && m_video.chunks.size() < m_endFrame)
            m_report.Finding(Format("the recording ended before frame {}", *m_options.to));
        m_endFrame = std::max(FramesToTake(), m_firstFrame);
        if (m_endFrame == m_firstFrame)
            m_report.Finding(Format("video stream {} has no frames{}", m_video.stream,
                                    m_firstFrame != 0 ? Format(" from {} on", m_firstFrame) : ""));
        return VideoJson(bytes);
    }

    [[nodiscard]] uint64_t FramesToTake() const
    {
        return std::min<uint64_t>(m_video.chunks.size(), m_endFrame);
    }

    void TakeFrames(CKrFrameFiles& files)
    {
        const auto added = LoadStreamIndex(m_file, m_video.stream, m_video.chunks.size());
        if (!added)
            return;
        for (const SKrChunkIndexEntry& chunk : ChunksOfIndex(*added))
        {
            const uint64_t frame = m_video.chunks.size();
            m_video.chunks.push_back(chunk);
            if (frame >= m_firstFrame && frame < m_endFrame)
                WriteFollowed(files, frame);
        }
    }

    void WriteFollowed(CKrFrameFiles& files, uint64_t frame)
    {
        if (m_pattern->IsNumbered())
            CheckVideoTarget(frame);
        files.Write(frame, m_video.chunks[static_cast<size_t>(frame)]);
        m_progress.Advance(frame - m_firstFrame);
    }

    // The sound of the last frame may come after the frame.
    void WaitForAudio()
    {
        const uint32_t stream =
            ChooseStream(m_file, m_facts, EKrStreamKind::Audio, StreamNumber(m_options.audioStream));
        while (IsBeingWritten())
        {
            const SKrAviStream* const video = m_options.to ? VideoHeader() : nullptr;
            if (video != nullptr && m_sound.HasUntil(*m_options.to + 1, *video, stream))
                return;
            m_followed->Wait(m_progress);
        }
    }

    void PrepareVideo()
    {
        m_video = ChunksOfStream(m_file, m_facts, EKrStreamKind::Video, StreamNumber(m_options.videoStream),
                                 m_report, m_progress);
        const uint64_t count = m_video.chunks.size();
        m_firstFrame = m_options.from.value_or(0);
        m_endFrame = m_options.to ? *m_options.to + 1 : count;
        if (m_options.HasRange() && (m_firstFrame >= count || m_endFrame > count))
            throw CKrToolError(m_file.Path(), Format("no such frames: video stream {} has {}", m_video.stream,
                                                     Counted(count, "frame")));
        if (count == 0)
            m_report.Finding(Format("video stream {} has no frames", m_video.stream));
        CheckVideoTargets();
        if (!m_options.y4m.empty())
            m_pictures.emplace(m_file, VideoStream());
    }

    [[nodiscard]] const SKrAviStream& VideoStream() const
    {
        if (m_video.stream >= m_facts.streams.size())
            throw CKrToolError(m_file.Path(), "it has no headers that describe its pictures");
        return m_facts.streams[m_video.stream];
    }

    void CheckVideoTargets()
    {
        const uint64_t names = m_pattern->IsNumbered() ? m_endFrame - m_firstFrame : 1;
        for (uint64_t index = 0; index < names; ++index)
        {
            CheckVideoTarget(m_firstFrame + index);
            m_progress.StopIfAsked();
        }
    }

    void CheckVideoTarget(uint64_t frame) const
    {
        const std::string name = m_pattern->NameOf(frame);
        if (name == m_options.audio)
            throw CKrToolError(name, "video and audio need different files");
        CheckStreamTarget(name, m_options.force, m_file.Path());
    }

    const SKrAviStream* VideoHeader() const
    {
        if (m_options.video.empty() && !m_options.videoStream)
            return FirstVideoStream(m_facts);
        const uint64_t number = m_options.video.empty() ? *m_options.videoStream : m_video.stream;
        const bool isThere = number < m_facts.streams.size() && m_facts.streams[number].IsVideo();
        return isThere ? &m_facts.streams[number] : nullptr;
    }

    // Uncompressed pictures for a pipe.
    Json WritePictures()
    {
        m_progress.Begin("writing pictures", m_endFrame - m_firstFrame, EKrUnit::Frame);
        m_pictures->Open(m_options.video, m_options.force);
        uint64_t cut = 0;
        for (uint64_t frame = m_firstFrame; frame < m_endFrame; ++frame)
        {
            cut += m_pictures->Write(m_video.chunks[static_cast<size_t>(frame)]) ? 0 : 1;
            m_progress.Advance(frame - m_firstFrame);
        }
        const uint64_t written = m_pictures->Finish();
        m_progress.End();
        ReportCut(cut, "frame", m_report);
        return VideoJson(written);
    }

    Json WriteVideo()
    {
        if (m_pictures)
            return WritePictures();
        m_progress.Begin("writing video", m_endFrame - m_firstFrame, EKrUnit::Frame);
        const uint64_t cutBefore = m_copier.CutChunks();
        const uint64_t blankBefore = m_copier.BlankChunks();
        CKrFrameFiles files(*m_pattern, m_options.force, m_copier);
        for (uint64_t frame = m_firstFrame; frame < m_endFrame; ++frame)
        {
            files.Write(frame, m_video.chunks[static_cast<size_t>(frame)]);
            m_progress.Advance(frame - m_firstFrame);
        }
        const uint64_t bytes = files.Finish();
        m_progress.End();
        ReportCut(m_copier.CutChunks() - cutBefore, "frame", m_report);
        ReportBlankFrames(m_facts, m_video.stream, m_copier.BlankChunks() - blankBefore, m_report);
        return VideoJson(bytes);
    }

    [[nodiscard]] Json VideoJson(uint64_t bytes) const
    {
        const uint64_t frames = m_endFrame - m_firstFrame;
        return {{"stream", m_video.stream},
                {"source", SourceName(m_video)},
                {"frames", frames},
                {"firstFrame", frames != 0 ? Json(m_firstFrame) : Json()},
                {"lastFrame", frames != 0 ? Json(m_endFrame - 1) : Json()},
                {"bytes", bytes},
                {"output", m_options.video}};
    }

    const SKrExtractOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    const std::unique_ptr<CKrFollowedFile> m_followed; // one of
    const std::unique_ptr<const CKrAviFile> m_opened;  // these two
    const CKrAviFile& m_file;
    SKrAviFacts m_facts;
    CKrChunkCopier m_copier;
    std::optional<CKrFramePattern> m_pattern;
    std::optional<CKrPictureStream> m_pictures; // with --y4m
    SKrStreamChunks m_video;
    uint64_t m_firstFrame = 0;
    uint64_t m_endFrame = 0;
    CKrSoundExtraction m_sound;
};

void RunExtract(SKrExtractOptions options, CKrReport& report, CKrProgress& progress)
{
    if (!options.y4m.empty())
        TakePictures(options);
    if (options.video.empty() && options.audio.empty())
        throw CKrToolError({}, "nothing to extract: give --video, --y4m, --audio or two of them");
    if (IsStandardOutput(options.video) || IsStandardOutput(options.audio))
        report.LeaveOutput();
    const SKrFrameNumbers frames = ReadRange(options.range, options.file, options.videoStream, progress);
    options.from = frames.first;
    options.to = frames.last;
    if (!options.video.empty())
        CKrFramePattern check(options.video);
    CKrExtraction(options, report, progress).Run();
}
} // namespace

void AddExtractVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrExtractOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kExtractHelp, options->file,
                  [options](auto& report, auto& progress) { RunExtract(*options, report, progress); });
    AddExtractOptions(verb, *options);
}
} // namespace KrTool

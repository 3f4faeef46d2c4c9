#include "tools/verbs/KrSoundExtraction.h"

#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkCopier.h"
#include "tools/avi/KrCodecNames.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/output/KrWaveFile.h"
#include "tools/verbs/KrExtractOptions.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace KrTool
{
void CKrSoundExtraction::Prepare(const SKrAviStream* video)
{
    CheckStreamTarget(m_options.audio, m_options.force, m_file.Path());
    m_audio = ChunksOfStream(m_file, m_facts, EKrStreamKind::Audio, StreamNumber(m_options.audioStream),
                             m_report, m_progress);
    const std::string name = Format("audio stream {}", m_audio.stream);
    if (m_audio.stream < m_facts.streams.size())
        m_header = &m_facts.streams[m_audio.stream];
    if (m_header != nullptr)
        m_format = WaveFormatBytes(m_header->format);
    if (m_format.empty())
        throw CKrToolError(m_file.Path(), name + " has no format for a WAVE file");
    if (const uint16_t tag = AudioFormat(*m_header).formatTag; NeedsItsChunks(tag))
        throw CKrToolError(m_file.Path(),
                           Format("{} is {}, which a WAVE file cannot carry: without its chunks "
                                  "nobody could decode it",
                                  name, SoundCodecName(tag)));
    if (m_audio.chunks.empty())
        m_report.Finding(name + " has no chunks");
    if (m_options.HasRange())
        TakeFrames(video);
}

// Keeps the audio that belongs to the frames asked for.
void CKrSoundExtraction::TakeFrames(const SKrAviStream* video)
{
    if (video == nullptr)
        throw CKrToolError(m_file.Path(), "--from and --to need a video stream");
    CheckFramesOf(*video);
    const auto first = AudioUnitAtFrame(m_options.from.value_or(0), *video, *m_header);
    const auto end =
        m_options.to ? AudioUnitAtFrame(*m_options.to + 1, *video, *m_header) : std::optional(INT64_MAX);
    if (!first || !end)
        throw CKrToolError(m_file.Path(), "the rates in the headers do not relate audio to frames");
    m_audio.chunks = UnitsOf(m_audio.chunks, AudioUnit(*m_header), std::max<int64_t>(*first, 0),
                             std::max<int64_t>(*end, 0));
    if (*first < 0)
        m_report.Note(Format("the sound starts {} after the first frame of the range",
                             Counted(static_cast<uint64_t>(-*first), "unit")));
}

// The frames of a range are there also where only their sound is asked for.
void CKrSoundExtraction::CheckFramesOf(const SKrAviStream& video) const
{
    const auto index = LoadStreamIndex(m_file, video.number);
    const uint64_t frames = index ? index->entries.size() : video.length;
    if (!m_options.follow && frames != 0 &&
        std::max(m_options.from.value_or(0), m_options.to.value_or(0)) >= frames)
        throw CKrToolError(m_file.Path(), Format("no such frames: video stream {} has {}", video.number,
                                                 Counted(frames, "frame")));
}

Json CKrSoundExtraction::Write(CKrChunkCopier& copier)
{
    const uint64_t cutBefore = copier.CutChunks();
    const uint64_t total = TotalBytes(m_audio.chunks);
    m_progress.Begin("writing audio", total, EKrUnit::Byte);
    uint64_t bytes = 0;
    const uint64_t sampleFrames = SampleFrames(*m_header, m_audio.chunks);
    CKrWaveFile output(m_options.audio, m_options.force, m_format, total, sampleFrames);
    for (const SKrChunkIndexEntry& chunk : m_audio.chunks)
    {
        bytes += copier.Copy(chunk, output);
        m_progress.Advance(bytes);
    }
    output.Commit();
    m_progress.End();
    ReportCut(copier.CutChunks() - cutBefore, "audio chunk", m_report);
    return {{"stream", m_audio.stream},
            {"source", SourceName(m_audio)},
            {"chunks", m_audio.chunks.size()},
            {"sampleFrames", sampleFrames},
            {"bytes", bytes},
            {"output", m_options.audio}};
}

bool CKrSoundExtraction::HasUntil(uint64_t frame, const SKrAviStream& video, uint32_t stream) const
{
    const SKrAviStream& audio = m_facts.streams.at(stream);
    const std::optional<int64_t> end = AudioUnitAtFrame(frame, video, audio);
    const auto index = LoadStreamIndex(m_file, stream);
    if (!end || !index)
        return !end;
    return std::cmp_greater_equal(UnitsIn(ChunksOfIndex(*index), AudioUnit(audio)), *end);
}
} // namespace KrTool

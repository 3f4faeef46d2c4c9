// kravi recover: a complete file from a damaged one, with every whole frame and block of sound.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrKeyFrames.h"
#include "tools/avi/KrOtherFormats.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/copy/KrClips.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrRecording.h"
#include "tools/output/KrRecordingOptions.h"
#include "tools/recover/KrChunkScan.h"
#include "tools/recover/KrDamagedHeaders.h"
#include "tools/recover/KrFileRecovery.h"
#include "tools/recover/KrRecoveredFormat.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace KrTool
{
namespace
{
const SKrVerbHelp kRecoverHelp = {
    "recover",
    "Make a complete AVI file from a damaged one",
    {
        R"(Scans the file for the chunks of all its streams without its indexes and list sizes: for files that
        were truncated, partly overwritten, or never completed. Every complete chunk is copied unchanged.)",
        R"(What is lost in between is replaced by frames without data and by silence, so that picture and sound
        stay together; the file's index says what is missing, or the lengths in its headers do. Coded sound is
        replaced by packets of zeros. --no-fill leaves the gaps out.)",
        R"(Lost headers come from a file of the same recorder (--like), or from --size, --rate, --codec ('DIB ' for
        uncompressed frames), --bits (24) and --pcm, which override the others. With these, and with --layout
        recording, the new file has the layout of recordings: one video stream and PCM sound, without filled gaps,
        and top-down uncompressed frames are stored bottom-up.)",
        "Findings: frames and chunks that are lost or left out; bytes outside complete chunks.",
    },
    {
        "kravi recover cut.avi whole.avi",
        "kravi recover headless.avi whole.avi --like yesterday.avi",
        "kravi recover headless.avi whole.avi --size 720x576 --rate 25 --codec MJPG --pcm 48000,2,16",
    },
};

constexpr uint64_t kMostFrames = uint64_t{1} << 28; // more than correct headers declare

// Makes the sound after each damage start with a whole sample frame by removing the rest of a truncated one.
// Returns the bytes removed.
uint64_t CutBrokenSamples(SKrFoundStream& stream, uint32_t blockAlign)
{
    uint64_t taken = 0;
    size_t first = 0;
    for (const size_t next : stream.breaks)
    {
        uint64_t bytes = 0;
        for (size_t number = first; number < next; ++number)
            bytes += stream.chunks[number].size;
        auto left = static_cast<uint32_t>(bytes % blockAlign);
        taken += left;
        for (size_t number = next; left > 0; --number)
        {
            uint32_t& size = stream.chunks[number - 1].size;
            const uint32_t part = std::min(left, size);
            size -= part;
            left -= part;
        }
        first = next;
    }
    return taken;
}

class CKrRecovery
{
public:
    CKrRecovery(const SKrRecoverOptions& options, CKrReport& report, CKrProgress& progress)
        : m_options(options), m_report(report), m_progress(progress),
          m_source(std::make_shared<CKrInputFile>(options.file)), m_headers(*m_source),
          m_format(options, m_headers.Headers(), report)
    {
    }

    void Run()
    {
        CheckTarget(m_options.output, m_options.force, m_options.file);
        m_scan = FindWholeChunks(*m_source, m_headers.Headers().streams.size(), m_progress);
        PrepareVideo();
        PrepareAudio();
        ReportOtherStreams();
        const SKrRecordingResult result = Write();
        m_report.Fact("file", m_options.file);
        ReportRecording(result, m_format.Format(), m_options.output, m_report);
        ReportLosses();
    }

private:
    [[noreturn]] void Refuse(const std::string& cause) const { throw CKrToolError(m_options.file, cause); }

    // The stream that the user named, or the first in the headers, or the one with most chunks.
    std::optional<uint32_t> Choose(EKrStreamKind kind, const std::optional<uint64_t>& wanted) const
    {
        const auto hasChunks = [this, kind](uint32_t number)
        {
            const auto found = m_scan.streams.find({number, kind});
            return found != m_scan.streams.end() && !found->second.chunks.empty();
        };
        if (wanted)
        {
            if (!hasChunks(*StreamNumber(wanted)))
                Refuse(Format("it has no complete {} chunk of stream {}", KindName(kind), *wanted));
            return StreamNumber(wanted);
        }
        const SKrAviStream* const header = FirstStream(m_headers.Headers().streams, kind);
        if (header != nullptr && hasChunks(header->number))
            return header->number;
        std::optional<uint32_t> best;
        size_t most = 0;
        for (const auto& [key, stream] : m_scan.streams)
        {
            if (key.second != kind || stream.chunks.size() <= most)
                continue;
            best = key.first;
            most = stream.chunks.size();
        }
        return best;
    }

    void PrepareVideo()
    {
        m_videoStream = Choose(EKrStreamKind::Video, m_options.video);
        if (!m_videoStream)
        {
            const std::string other = OtherFormatText(*m_source);
            Refuse(other.empty() ? "it has no whole frame" : other);
        }
        m_videoHeader = m_headers.HeaderOf(EKrStreamKind::Video, *m_videoStream);
        NoteStart(m_videoHeader, *m_videoStream);
        m_format.TakeVideo(m_videoHeader);
        m_video = std::move(m_scan.streams.at({*m_videoStream, EKrStreamKind::Video}));
        m_tooLarge = std::erase_if(m_video.chunks, [](auto& frame) { return frame.size > kLargestFrame; });
        if (m_tooLarge != 0)
            m_report.Finding(Format("left out: {} of 2 GiB or more", Counted(m_tooLarge, "frame")));
        ReportRows();
        ReportKeyFrames();
        if (m_video.emptyChunks != 0)
            m_report.Finding(
                Format("left out: {} without data (repeated frames)", Counted(m_video.emptyChunks, "frame")));
    }

    // Rows are reversed only in frames of their total size.
    void ReportRows() const
    {
        if (m_format.TurnedRow() == 0)
            return;
        const uint64_t bytes = m_format.TurnedRow() * static_cast<uint32_t>(m_format.Format().video.height);
        const auto others = static_cast<uint64_t>(
            std::ranges::count_if(m_video.chunks, [bytes](auto& frame) { return frame.size != bytes; }));
        m_report.Note("its pictures are top-down and are stored bottom-up");
        if (others != 0)
            m_report.Finding(Format("still top-down: {} of another size than {}", Counted(others, "frame"),
                                    Counted(bytes, "byte")));
    }

    // From the remaining index; without it or without headers nothing is known.
    void ReportKeyFrames() const
    {
        if (m_headers.Headers().streams.empty())
            return;
        try
        {
            const CKrAviFile file(m_options.file);
            const SKrAviFacts facts = ReadFacts(file, m_progress);
            const std::vector<bool> keys = KeyFrames(file, facts, *m_videoStream, m_video.chunks);
            const auto others = static_cast<uint64_t>(std::ranges::count(keys, false));
            if (others != 0)
                m_report.Note(DependingText(others, *m_videoStream));
        }
        catch (const CKrToolError&) // the reader cannot open what is left
        {
        }
    }

    void PrepareAudio()
    {
        if (m_options.noAudio)
            return;
        m_audioStream = Choose(EKrStreamKind::Audio, m_options.audio);
        const SKrAviStream* const header =
            m_audioStream ? m_headers.HeaderOf(EKrStreamKind::Audio, *m_audioStream)
                          : FirstStream(m_headers.Headers().streams, EKrStreamKind::Audio);
        const bool isThere = m_audioStream || header != nullptr || !m_options.pcm.empty();
        if (!isThere || !m_format.TakeAudio(header) || !m_audioStream)
            return;
        NoteStart(header, *m_audioStream);
        m_audio = std::move(m_scan.streams.at({*m_audioStream, EKrStreamKind::Audio}));
        const uint64_t cut = CutBrokenSamples(m_audio, m_format.Format().audio->blockAlign);
        if (cut != 0)
            m_report.Finding(Format("left out: {} of samples that the damage cut", Counted(cut, "byte")));
    }

    // The written file starts all its streams together.
    void NoteStart(const SKrAviStream* header, uint32_t number) const
    {
        if (header != nullptr && header->start != 0)
            m_report.Note("left out: " + StartText(*header, number));
    }

    // Streams that the output cannot store: a finding unless the user chose the stream.
    void ReportOtherStreams() const
    {
        for (const auto& [key, stream] : m_scan.streams)
        {
            const auto& [number, kind] = key;
            const bool isTaken = number == (kind == EKrStreamKind::Video ? m_videoStream : m_audioStream);
            if (isTaken || stream.chunks.empty())
                continue;
            const std::string text =
                Format("left out: stream {} with {}", number,
                       Counted(stream.chunks.size(), std::string(KindName(kind)) + " chunk"));
            const bool isChosen = kind == EKrStreamKind::Video ? m_options.video.has_value()
                                                               : m_options.noAudio || m_options.audio;
            if (isChosen)
                m_report.Note(text);
            else
                m_report.Finding(Format("{}; --{} {} selects it", text, KindName(kind), number));
        }
        if (m_scan.otherChunks != 0)
            m_report.Finding(Format("left out: {} of streams that are neither video nor audio",
                                    Counted(m_scan.otherChunks, "chunk")));
        for (const SKrAviStream& stream : m_headers.Headers().streams)
        {
            if (stream.hasHeader && !stream.IsVideo() && !stream.IsAudio())
                m_report.Finding(Format("left out: stream {} ('{}'), neither video nor audio", stream.number,
                                        FourCcText(stream.type)));
        }
    }

    SKrRecordingResult Write() const
    {
        return WriteClips({{m_source, m_video.chunks, m_audio.chunks, 0, m_format.TurnedRow()}},
                          m_format.Format(), m_options.output, m_options.force, m_progress);
    }

    // Missing frames according to the headers; nothing if they have no count or one below the frames found,
    // as in files that were never completed.
    std::optional<uint64_t> FramesLost() const
    {
        const uint64_t there = m_video.chunks.size() + m_video.emptyChunks + m_tooLarge;
        uint64_t counted = m_headers.Headers().declaredFramesInAll.value_or(0);
        if (m_videoHeader != nullptr)
            counted = std::max<uint64_t>(counted, m_videoHeader->length);
        if (counted < there || counted > kMostFrames)
            return std::nullopt;
        return counted - there;
    }

    void ReportLosses() const
    {
        const std::optional<uint64_t> framesLost = FramesLost();
        const uint64_t cutChunks = m_video.cutChunks + m_audio.cutChunks;
        Json regions = Json::array();
        for (const SKrDamage& damage : m_scan.damages)
            regions.push_back({{"offset", damage.offset}, {"bytes", damage.bytes}});
        const Json lost = framesLost ? Json(*framesLost) : Json();
        m_report.Fact("framesLost", lost,
                      framesLost ? lost : Json("unknown (the headers give no usable count)"));
        m_report.Fact("emptyFrames", m_video.emptyChunks);
        m_report.Fact("cutChunks", cutChunks);
        m_report.Fact("bytesSkipped", m_scan.bytesSkipped);
        m_report.Fact("damagedRegionCount", m_scan.damageCount);
        m_report.Fact("damagedRegions", regions);
        if (framesLost.value_or(0) != 0)
            m_report.Finding("lost according to the headers: " + Counted(*framesLost, "frame"));
        if (cutChunks != 0)
            m_report.Finding("lost because their data are incomplete: " + Counted(cutChunks, "chunk"));
        if (m_scan.bytesSkipped != 0)
            m_report.Finding(Format("in no whole chunk: {} at {}", Counted(m_scan.bytesSkipped, "byte"),
                                    Counted(m_scan.damageCount, "place")));
    }

    const SKrRecoverOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    const std::shared_ptr<const CKrInputFile> m_source;
    const CKrDamagedHeaders m_headers;
    CKrRecoveredFormat m_format;
    SKrScanResult m_scan;
    std::optional<uint32_t> m_videoStream;
    const SKrAviStream* m_videoHeader = nullptr;
    SKrFoundStream m_video;
    uint64_t m_tooLarge = 0;
    std::optional<uint32_t> m_audioStream;
    SKrFoundStream m_audio;
};

void Recover(const SKrRecoverOptions& options, CKrReport& report, CKrProgress& progress)
{
    if (!options.like.empty() && (options.isRecording || options.OverridesHeaders()))
        throw CKrToolError(
            {},
            "--like takes all headers from a file; it excludes --layout recording and options that set parts of them");
    const bool takesParts = options.isRecording || options.OverridesHeaders();
    if (takesParts || !RecoverWholeFile(options, report, progress))
        CKrRecovery(options, report, progress).Run();
}
} // namespace

void AddRecoverVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrRecoverOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kRecoverHelp, options->file,
                  [options](auto& report, auto& progress) { Recover(*options, report, progress); });
    verb.AddArgument("OUTPUT", options->output, "The AVI file to write");
    verb.AddNumber("--video", options->video, "Number of the video stream to take");
    verb.AddNumber("--audio", options->audio, "Number of the audio stream to take");
    verb.AddSwitch("--no-audio", options->noAudio, "Leave the sound out");
    verb.AddText("--size", options->size, "WIDTHxHEIGHT", "Size of the pictures");
    verb.AddText("--rate", options->rate, "RATE", "Frames per second");
    verb.AddText("--codec", options->codec, "FOURCC", "FourCC of the frames");
    verb.AddNumber("--bits", options->bits, "Bits per pixel");
    verb.AddText("--pcm", options->pcm, "RATE,CHANNELS,BITS", "Format of the sound");
    verb.AddText("--like", options->like, "FILE", "Take the headers from this file");
    verb.AddSwitch("--no-fill", options->noFill, "Leave gaps out instead of filling them");
    verb.AddChoice<bool>("--layout", options->isRecording, "LAYOUT", {{"full", false}, {"recording", true}},
                         "Layout of the new file");
    verb.AddSwitch("--force", options->force, "Replace an existing file");
}
} // namespace KrTool

// kravi rewrap: the frames and the sound of a file in a new one, unchanged.
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/input/KrAviFacts.h"
#include "tools/input/KrAviFile.h"
#include "tools/input/KrFileFindings.h"
#include "tools/input/KrJoinedChunks.h"
#include "tools/input/KrLittleEndian.h"
#include "tools/input/KrStreamChunks.h"
#include "tools/input/KrWaveInput.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrRecording.h"
#include "tools/output/KrRecordingOptions.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace KrTool
{
namespace
{
const SKrVerbHelp kHelp = {
    "rewrap",
    "Copy frames and sound of an AVI file into a new one",
    {
        "Frames and PCM sound come out unchanged, with complete indexes. What the new file cannot carry is "
        "refused with the reason, or left out where an option says so: further streams, sound that is not "
        "PCM, frame rates other than 23.976, 24, 25, 29.97, 30, 50, 59.94 and 60, format data behind the 40 "
        "bytes of the picture format, frames without data.",
        "Findings: what is wrong with the file that is read (see info).",
    },
    {
        "kravi rewrap download.avi clip.avi --audio 1",
    },
};

struct SKrRewrapOptions
{
    std::string file;
    std::string output;
    std::optional<uint64_t> video; // stream numbers
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string rate; // instead of the file's own
    bool lossyHeader = false;
    bool dropEmpty = false;
    bool force = false;
};

constexpr size_t kBitmapHeaderSize = 40;
constexpr uint16_t kTagPcm = 1;
constexpr uint64_t kLargestChunk = INT32_MAX;

class CKrRewrap
{
public:
    CKrRewrap(const SKrRewrapOptions& options, CKrReport& report, CKrProgress& progress)
        : m_options(options), m_report(report), m_progress(progress), m_file(options.file),
          m_facts(ReadFacts(m_file, progress)), m_source(OpenInput(options.file))
    {
        ReportFileFindings(m_file, m_facts, report);
    }

    void Run()
    {
        CheckTarget(m_options.output, m_options.force, m_options.file);
        CheckOtherStreams();
        PrepareVideo();
        PrepareAudio();
        Write();
    }

private:
    [[noreturn]] void Refuse(const std::string& cause) const { throw CKrToolError(m_file.Path(), cause); }

    // What the writer has no place for is left out only when the user asked for that.
    void CheckOtherStreams() const
    {
        const auto count = [this](auto isOfKind)
        {
            return std::ranges::count_if(m_facts.streams, isOfKind);
        };
        if (!m_options.video && count([](auto& stream) { return stream.IsVideo(); }) > 1)
            Refuse("it has more than one video stream; --video N chooses one");
        if (!m_options.audio && !m_options.noAudio &&
            count([](auto& stream) { return stream.IsAudio(); }) > 1)
            Refuse("it has more than one audio stream; --audio N chooses one, --no-audio leaves them out");
        if (!m_options.lossyHeader &&
            count([](auto& stream) { return !stream.IsVideo() && !stream.IsAudio(); }) > 0)
            Refuse("it has streams that are neither video nor audio; --lossy-header leaves them out");
    }

    Chunks ChunksOf(EKrStreamKind kind, const std::optional<uint64_t>& wanted, const SKrStreamHeader*& header)
    {
        std::optional<uint32_t> number;
        if (wanted)
            number = static_cast<uint32_t>(std::min<uint64_t>(*wanted, UINT32_MAX));
        SKrStreamChunks stream = ChunksOfStream(m_file, m_facts, kind, number, m_report, m_progress);
        if (stream.stream >= m_facts.streams.size())
            Refuse("its headers do not describe stream " + std::to_string(stream.stream));
        header = &m_facts.streams[stream.stream];
        if (CountCutChunks(m_file, stream.chunks) != 0)
            Refuse("chunks of stream " + std::to_string(stream.stream) + " reach behind the end of the file");
        return std::move(stream.chunks);
    }

    void PrepareVideo()
    {
        const SKrStreamHeader* header = nullptr;
        m_frames = ChunksOf(EKrStreamKind::Video, m_options.video, header);
        TakeVideoFormat(*header);
        const size_t all = m_frames.size();
        std::erase_if(m_frames, [](const SKrChunkIndexEntry& frame) { return frame.size == 0; });
        if (m_frames.size() != all && !m_options.dropEmpty)
            Refuse(Counted(all - m_frames.size(), "frame") +
                   " have no data, by which some programs repeat a frame; --drop-empty leaves them out");
        if (m_frames.size() != all)
            m_report.Note("left out: " + Counted(all - m_frames.size(), "frame") + " without data");
        if (m_frames.empty())
            Refuse("it has no frames");
        if (std::ranges::max(m_frames, {}, &SKrChunkIndexEntry::size).size > kLargestChunk)
            Refuse("a frame is larger than 2 GiB");
    }

    void TakeVideoFormat(const SKrStreamHeader& header)
    {
        const std::vector<uint8_t>& strf = header.format;
        if (strf.size() < kBitmapHeaderSize)
            Refuse("its video format is not complete");
        if (strf.size() > kBitmapHeaderSize && !m_options.lossyHeader)
            Refuse("its video format has " + std::to_string(strf.size() - kBitmapHeaderSize) +
                   " bytes behind the 40 that the writer stores; --lossy-header leaves them out");
        const auto width = static_cast<int32_t>(GetLe32(strf, 4));
        const auto height = static_cast<int32_t>(GetLe32(strf, 8));
        if (width < 1 || height < 1)
            Refuse("its pictures have no size that the writer stores (" + std::to_string(width) + " x " +
                   std::to_string(height) + "; a negative height means rows from the top)");
        std::optional<uint32_t> code = FrameRateCode(header.rate, header.scale);
        if (!m_options.rate.empty())
            code = ParseFrameRate(m_options.rate);
        if (!code)
            Refuse("its frame rate " + std::to_string(header.rate) + "/" + std::to_string(header.scale) +
                   " is none that the writer has; --rate sets another one");
        m_format.video = ReaderFormat();
        m_format.video.width = width;
        m_format.video.height = height;
        m_format.video.bitCount = static_cast<uint8_t>(GetLe16(strf, 14));
        m_format.video.frameRate = *code;
        m_format.codec = GetLe32(strf, 16);
    }

    // Scan mode and pixel aspect ratio as the reader knows them.
    SKrAviVideoParams ReaderFormat() const
    {
        SKrAviVideoParams known{};
        uint32_t compression = 0;
        uint16_t bitCount = 0;
        int valid = 0;
        uint32_t chunkId = 0;
        m_file.Reader().GetVideoStreamInfo(&known, &compression, &bitCount, &valid, &chunkId);
        if (valid != 0)
            return known;
        known = {};
        known.aspectMode = 3;
        known.scanMode = static_cast<int32_t>(EKrScanMode::Unknown);
        return known;
    }

    void PrepareAudio()
    {
        const bool hasAudio =
            std::ranges::any_of(m_facts.streams, [](auto& stream) { return stream.IsAudio(); });
        if (m_options.noAudio || (!hasAudio && !m_options.audio))
            return;
        const SKrStreamHeader* header = nullptr;
        Chunks chunks = ChunksOf(EKrStreamKind::Audio, m_options.audio, header);
        const SKrAudioFormat format = AudioFormat(*header);
        if (format.tag != kTagPcm || format.blockAlign == 0 || format.samplesPerSec == 0)
            Refuse("its audio is not PCM; --no-audio leaves it out");
        if (header->format.size() > 18 && !m_options.lossyHeader)
            Refuse(
                "its audio format has bytes that the writer does not store; --lossy-header leaves them out");
        m_format.audio =
            SKrPcm{format.channels, format.samplesPerSec, format.bitsPerSample, format.blockAlign};
        m_audioBytes = TotalBytes(chunks);
        m_audio.emplace(m_source, m_file.Path(), std::move(chunks));
    }

    void Write()
    {
        CKrRecording recording(m_options.output, m_options.force, m_format, m_progress);
        CKrSoundByFrame sound(m_format.audio.value_or(SKrPcm{}), m_format.video.frameRate, m_audioBytes,
                              [this](uint64_t, uint32_t length) { return m_audio->Next(length); });
        CKrJoinedChunks frames(m_source, m_file.Path(), m_frames);
        m_progress.Begin("writing", m_frames.size(), EKrUnit::Frame);
        for (size_t number = 0; number < m_frames.size(); ++number)
        {
            sound.AddForFrame(recording);
            recording.AddFrame(frames.Next(m_frames[number].size));
            m_progress.Advance(number);
        }
        sound.AddRest(recording);
        const SKrRecordingResult result = recording.Commit();
        m_progress.End();
        m_report.Fact("file", m_file.Path());
        ReportRecording(result, m_format, m_options.output, m_report);
    }

    const SKrRewrapOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    CKrAviFile m_file;
    SKrAviFacts m_facts;
    std::shared_ptr<IKrFile> m_source;
    SKrRecordingFormat m_format;
    Chunks m_frames;
    std::optional<CKrJoinedChunks> m_audio;
    uint64_t m_audioBytes = 0;
};
void RunRewrap(const SKrRewrapOptions& options, CKrReport& report, CKrProgress& progress)
{
    CKrRewrap(options, report, progress).Run();
}
} // namespace

void AddRewrapVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrRewrapOptions>();
    CLI::App& verb =
        verbs.Add(kHelp, options->file,
                  [options](auto& report, auto& progress) { RunRewrap(*options, report, progress); });
    verb.add_option("OUTPUT", options->output, "The AVI file that is written")->required()->type_name("");
    AddNumber(verb, "--video", options->video, "The video stream to take, by its number");
    AddNumber(verb, "--audio", options->audio, "The audio stream to take, by its number");
    verb.add_flag("--no-audio", options->noAudio, "Leave the sound out");
    verb.add_option("--rate", options->rate, "Frames per second, instead of the file's own")
        ->type_name("RATE");
    verb.add_flag("--lossy-header", options->lossyHeader,
                  "Leave out further format data, and streams that are neither video nor audio");
    verb.add_flag("--drop-empty", options->dropEmpty, "Leave out frames without data");
    verb.add_flag("--force", options->force, "Replace a file that exists");
}
} // namespace KrTool

#include "tools/recover/KrFileRecovery.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFieldPlaces.h"
#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrCopyReport.h"
#include "tools/copier/KrStreamChoice.h"
#include "tools/output/KrOutputFile.h"
#include "tools/recover/KrGapFilling.h"
#include "tools/recover/KrRecoveredFormat.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <numeric>

namespace KrTool
{
namespace
{
constexpr size_t kMostRegionsReported = 100;

// Whether the streams can be carried as they are described.
bool IsUsable(const SKrCarriedHeader& header)
{
    const auto isUsable = [](const SKrCarriedStream& stream)
    {
        const SKrStreamHeader fields = stream.Fields();
        const size_t least = fields.type == kFccVids   ? SKrBitmapHeader::kEncodedSize
                             : fields.type == kFccAuds ? kShortestWaveFormat
                                                       : 0;
        const bool isTimed = fields.type != kFccVids || (fields.rate != 0 && fields.scale != 0);
        return stream.header.size() >= KrStrh::kShortestSize && stream.Format().size() >= least && isTimed;
    };
    SKrMainHeader main;
    CKrByteReader in(header.mainHeader);
    return Decode(in, main) && main.streams == header.streams.size() && !header.streams.empty() &&
           header.streams.size() <= kStreamLimit && std::ranges::all_of(header.streams, isUsable);
}

class CKrFileRecovery
{
public:
    CKrFileRecovery(const SKrRecoverOptions& options, CKrReport& report, CKrProgress& progress)
        : m_options(options), m_report(report), m_progress(progress),
          m_file(std::make_shared<CKrInputFile>(options.file))
    {
    }

    bool Run()
    {
        if (!TakeHeaders())
            return false;
        CheckTarget(m_options.output, m_options.force, m_options.file);
        if (!m_options.like.empty())
            CheckTarget(m_options.output, m_options.force, m_options.like);
        m_scanned = ScanForChunks(*m_file, m_source.header.streams.size(), m_progress);
        const std::vector<SKrExpectedChunk> expected = ExpectedChunks(*m_file, m_source.header, m_scanned);
        m_filled = FillGaps(m_source.header, m_scanned, expected, m_file->Length(), !m_options.noFill);
        if (m_scanned.chunks.empty())
            throw CKrToolError(m_options.file, "it has no whole chunk of its streams");
        SetUnknownKeys(*m_file, m_source.header, m_filled.chunks, m_filled.isKeyKnown);
        m_source.file = m_file;
        m_source.chunks = std::move(m_filled.chunks);
        const SKrCarriedHeader all = m_source.header;
        TakeStreams(m_source, {m_options.video, m_options.audio, m_options.noAudio, {}});
        SKrCopyJob job;
        job.header = std::move(m_source.header);
        job.clips.push_back({m_file, std::move(m_source.chunks)});
        SetLengths(job);
        const SKrCopyResult result = WriteCopy(job, m_options.output, m_options.force, m_progress);
        m_report.Fact("file", m_options.file);
        ReportCopy(job, result, m_options.output, m_report);
        ReportLosses(all);
        return true;
    }

private:
    bool TakeHeaders()
    {
        std::optional<SKrCarriedHeader> header = ReadCarriedHeader(*m_file);
        if (!m_options.like.empty())
        {
            const uint64_t start = header ? header->dataPosition : 0;
            header = ReadCarriedHeader(CKrInputFile(m_options.like));
            if (!header || !IsUsable(*header))
                throw CKrToolError(m_options.like, "it has no whole stream headers");
            header->dataPosition = start;
            const auto isText = [](const SKrCarriedBytes& chunk)
            {
                return chunk.id == kFccList;
            };
            std::erase_if(header->beforeData, isText); // of another recording
            header->afterData.clear();
            m_areLengthsKnown = false;
        }
        if (!header || !IsUsable(*header))
            return false;
        if (!m_areLengthsKnown)
        {
            for (SKrCarriedStream& stream : header->streams)
                stream.SetLength(0);
        }
        m_source.header = std::move(*header);
        return true;
    }

    [[nodiscard]] static double Seconds(const SKrCarriedStream& stream, uint64_t units)
    {
        const SKrStreamHeader fields = stream.Fields();
        return fields.rate == 0 ? 0 : static_cast<double>(units) * fields.scale / fields.rate;
    }

    void ReportLosses(const SKrCarriedHeader& header)
    {
        const std::optional<uint32_t> video = FirstStreamOfType(header, kFccVids);
        const std::optional<uint32_t> audio = FirstStreamOfType(header, kFccAuds);
        const SKrStreamLoss none;
        const SKrStreamLoss& frames = video ? m_filled.streams[*video] : none;
        const SKrStreamLoss& sound = audio ? m_filled.streams[*audio] : none;
        const bool isKnown = video && (m_filled.isNamed || header.streams[*video].Fields().length != 0);
        m_report.Fact("framesLost", isKnown ? Json(frames.units) : Json(),
                      isKnown ? Json(frames.units) : Json("unknown (the headers give no usable count)"));
        m_report.Fact("framesFilled", frames.filled);
        if (audio)
        {
            m_report.Fact("soundLost", Seconds(header.streams[*audio], sound.units));
            m_report.Fact("soundFilled", Seconds(header.streams[*audio], sound.filled));
        }
        m_report.Fact("emptyFrames", frames.empty);
        ReportDamage();
        for (uint32_t number = 0; number < header.streams.size(); ++number)
            ReportStream(number, header.streams[number]);
    }

    void ReportDamage()
    {
        const uint64_t cutChunks =
            std::accumulate(m_scanned.cutChunks.begin(), m_scanned.cutChunks.end(), uint64_t{0});
        Json regions = Json::array();
        for (const SKrLostStretch& lost : m_scanned.lost)
        {
            if (regions.size() < kMostRegionsReported)
                regions.push_back({{"offset", lost.position}, {"bytes", lost.bytes}});
        }
        m_report.Fact("cutChunks", cutChunks);
        m_report.Fact("bytesSkipped", m_scanned.lostBytes);
        m_report.Fact("damagedRegionCount", m_scanned.lost.size());
        m_report.Fact("damagedRegions", regions);
        if (cutChunks != 0)
            m_report.Finding("lost because their data are incomplete: " + Counted(cutChunks, "chunk"));
        if (m_scanned.lostBytes != 0)
            m_report.Finding(Format("in no whole chunk: {} at {}", Counted(m_scanned.lostBytes, "byte"),
                                    Counted(m_scanned.lost.size(), "place")));
        if (m_scanned.strangeChunks != 0)
            m_report.Finding(Format("left out: {} of streams that the headers do not have",
                                    Counted(m_scanned.strangeChunks, "chunk")));
    }

    void ReportStream(uint32_t number, const SKrCarriedStream& stream)
    {
        const SKrStreamLoss& loss = m_filled.streams[number];
        const bool isVideo = stream.Fields().type == kFccVids;
        if (loss.cutBytes != 0)
            m_report.Finding(
                Format("left out: {} of samples that the damage cut", Counted(loss.cutBytes, "byte")));
        if (loss.units == 0)
            return;
        std::string text =
            Format("stream {}: lost according to the {}: ", number, m_filled.isNamed ? "index" : "headers");
        text += isVideo ? Format("{}, {:.3f} s", Counted(loss.units, "frame"), Seconds(stream, loss.units))
                        : Format("{:.3f} s", Seconds(stream, loss.units));
        if (loss.filled != 0)
            text += Format("; {:.3f} s are filled by {}", Seconds(stream, loss.filled),
                           isVideo ? "frames without data" : "silence");
        m_report.Finding(text);
    }

    const SKrRecoverOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    const std::shared_ptr<const CKrInputFile> m_file;
    bool m_areLengthsKnown = true;
    SKrCarriedSource m_source;
    SKrScannedChunks m_scanned;
    SKrFilledChunks m_filled;
};
} // namespace

bool RecoverWholeFile(const SKrRecoverOptions& options, CKrReport& report, CKrProgress& progress)
{
    return CKrFileRecovery(options, report, progress).Run();
}
} // namespace KrTool

#include "tools/copier/KrCopyReport.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/copier/KrCarriedSource.h"
#include "tools/output/KrRecordingOptions.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <numeric>

namespace KrTool
{
namespace
{
std::string CodecText(const SKrCarriedStream& stream)
{
    const SKrStreamHeader fields = stream.Fields();
    if (fields.type == kFccVids)
    {
        const uint32_t codec = DecodeBitmapHeader(stream.Format()).compression;
        return codec != 0 ? FourCcText(codec) : "uncompressed";
    }
    if (fields.type == kFccAuds)
        return Format("0x{:04x}", DecodeResolvedWaveFormat(stream.Format()).formatTag);
    return FourCcText(fields.handler);
}

void ReportPictures(const SKrCarriedStream& stream, uint64_t frames, CKrReport& report)
{
    const SKrStreamHeader fields = stream.Fields();
    const SKrBitmapHeader format = DecodeBitmapHeader(stream.Format());
    report.Fact("frames", frames);
    report.Fact("frameRate", RateText(fields.rate, fields.scale));
    report.Fact("width", std::abs(int64_t{format.width}));
    report.Fact("height", std::abs(int64_t{format.height}));
    report.Fact("codec", CodecText(stream));
}

void ReportSound(const SKrCarriedStream& stream, uint64_t bytes, CKrReport& report)
{
    SKrAudioFormat format = {DecodeResolvedWaveFormat(stream.Format())};
    if (!format.IsUncompressed())
        return;
    report.Fact("audioBytes", bytes);
    report.Fact("sampleFrames", bytes / format.blockAlign);
}
} // namespace

std::string RateText(uint32_t rate, uint32_t scale)
{
    if (const std::optional<uint32_t> code = FrameRateCode(rate, scale))
        return FrameRateName(*code);
    const uint32_t divisor = std::max(std::gcd(rate, scale), 1U);
    return scale == divisor ? std::to_string(rate / divisor)
                            : Format("{}/{}", rate / divisor, scale / divisor);
}

void ReportCopy(const SKrCopyJob& job, const SKrCopyResult& result, const std::string& output,
                CKrReport& report)
{
    report.Fact("output", output);
    const std::vector<SKrCarriedStream>& streams = job.header.streams;
    if (const std::optional<uint32_t> video = FirstStreamOfType(job.header, kFccVids))
        ReportPictures(streams[*video], result.chunks[*video], report);
    if (const std::optional<uint32_t> audio = FirstStreamOfType(job.header, kFccAuds))
        ReportSound(streams[*audio], result.bytes[*audio], report);
    Json rows = Json::array();
    for (size_t number = 0; number < streams.size(); ++number)
    {
        rows.push_back({{"type", FourCcText(streams[number].Fields().type)},
                        {"codec", CodecText(streams[number])},
                        {"chunks", result.chunks[number]},
                        {"bytes", result.bytes[number]}});
        if (result.blankFrames[number] != 0)
            report.Finding(
                Format("stream {}: {} of zeros alone", number, Counted(result.blankFrames[number], "frame")));
    }
    report.Fact("streams", rows);
    report.Fact("segments", result.segments);
    report.Fact("bytes", result.fileBytes);
}
} // namespace KrTool

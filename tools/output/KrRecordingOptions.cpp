#include "tools/output/KrRecordingOptions.h"

#include "format/KrFourCC.h"
#include "format/KrFrameTables.h"
#include "siblings/KrAVUtils/KrAVUtils.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace KrTool
{
namespace
{
// Far more than the sound of a frame; headers may declare more.
constexpr uint64_t kLargestAudioBlock = uint64_t{16} << 20;

uint32_t ParseDimension(const char* from, const char* end)
{
    uint32_t value = 0;
    const auto [rest, error] = std::from_chars(from, end, value);
    if (error != std::errc() || rest != end || value == 0 || value > kMostPixels)
        throw CKrToolError({}, "--size must be WIDTHxHEIGHT, each from 1 to 32768");
    return value;
}

// The code of "30000/1001"; nothing for other texts, and for rates without a code.
std::optional<uint32_t> CodeOfFraction(const std::string& text)
{
    uint32_t rate = 0;
    uint32_t scale = 0;
    const char* const end = text.data() + text.size();
    const auto [slash, error] = std::from_chars(text.data(), end, rate);
    if (error != std::errc() || slash == end || *slash != '/')
        return std::nullopt;
    const auto [rest, scaleError] = std::from_chars(slash + 1, end, scale);
    const bool isFraction = scaleError == std::errc() && rest == end;
    return isFraction ? FrameRateCode(rate, scale) : std::nullopt;
}
} // namespace

SKrPictureSize ParseSize(const std::string& text)
{
    const size_t cross = text.find('x');
    if (cross == std::string::npos)
        throw CKrToolError({}, "--size must be WIDTHxHEIGHT");
    const char* const from = text.data();
    return {ParseDimension(from, from + cross), ParseDimension(from + cross + 1, from + text.size())};
}

uint32_t ParseCodec(const std::string& text)
{
    if (text.empty())
        return 0;
    if (text.size() != 4)
        throw CKrToolError({}, "--codec must be four characters");
    return KrFourCC(text[0], text[1], text[2], text[3]);
}

uint32_t ParseFrameRate(const std::string& text)
{
    const auto rates = KrFrameRates();
    const auto found = std::ranges::find(rates, std::string_view(text), &SKrFrameRate::name);
    if (found != rates.end())
        return static_cast<uint32_t>(found - rates.begin());
    if (const std::optional<uint32_t> code = CodeOfFraction(text))
        return *code;
    throw CKrToolError(
        {}, Format("--rate: '{}' is not one of 23.976, 24, 25, 29.97, 30, 50, 59.94, 60, nor one of "
                   "these as a fraction such as 30000/1001",
                   text));
}

std::optional<uint32_t> FrameRateCode(uint32_t rate, uint32_t scale)
{
    const auto rates = KrFrameRates();
    for (uint32_t code = 0; code < rates.size(); ++code)
    {
        if (scale != 0 && uint64_t{rate} * rates[code].scale == uint64_t{rates[code].rate} * scale)
            return code;
    }
    return std::nullopt;
}

std::string FrameRateName(uint32_t code)
{
    return KrFrameRates()[code].name;
}

std::vector<std::string> FrameRateNames()
{
    std::vector<std::string> names;
    for (const SKrFrameRate& rate : KrFrameRates())
        names.emplace_back(rate.name);
    return names;
}

const std::vector<std::pair<std::string, EKrScanMode>>& ScanModes()
{
    static const std::vector<std::pair<std::string, EKrScanMode>> modes = {
        {"upper", EKrScanMode::UpperFieldFirst},
        {"lower", EKrScanMode::LowerFieldFirst},
        {"progressive", EKrScanMode::Progressive},
        {"unknown", EKrScanMode::Unknown}};
    return modes;
}

std::string ScanModeName(int32_t mode)
{
    const auto isThat = [mode](const auto& named)
    {
        return static_cast<int32_t>(named.second) == mode;
    };
    const auto found = std::ranges::find_if(ScanModes(), isThat);
    return found != ScanModes().end() ? found->first : "unknown";
}

CKrSoundByFrame::CKrSoundByFrame(const SKrPcm& format, uint32_t frameRate, uint64_t bytes, Part part)
    : m_format(format), m_frameRate(frameRate), m_bytes(bytes), m_part(std::move(part))
{
}

void CKrSoundByFrame::Add(CKrRecording& recording, uint64_t length)
{
    for (uint64_t left = std::min(length, m_bytes - m_done); left > 0;)
    {
        const uint64_t now = std::min(left, kLargestAudioBlock);
        recording.AddAudio(m_part(m_done, static_cast<uint32_t>(now)));
        m_done += now;
        left -= now;
    }
}

void CKrSoundByFrame::AddForFrame(CKrRecording& recording)
{
    const auto rate = static_cast<EKrFrameRate>(m_frameRate);
    const uint64_t samples = KrAudioUtils::GetAudioSampleCounts(m_format.samplesPerSec, rate, m_frame++, 1);
    Add(recording, samples * m_format.blockAlign);
}

void CKrSoundByFrame::AddRest(CKrRecording& recording)
{
    const uint64_t second = uint64_t{m_format.samplesPerSec} * m_format.blockAlign;
    while (m_done < m_bytes)
        Add(recording, second);
}

void ReportRecording(const SKrRecordingResult& result, const SKrRecordingFormat& format,
                     const std::string& output, CKrReport& report)
{
    report.Fact("output", output);
    report.Fact("frames", result.frames);
    report.Fact("frameRate", FrameRateName(format.video.frameRate));
    report.Fact("width", format.video.width);
    report.Fact("height", format.video.height);
    report.Fact("codec", format.codec != 0 ? Json(FourCcText(format.codec)) : Json("uncompressed"));
    if (format.audio)
    {
        report.Fact("audioBytes", result.audioBytes);
        report.Fact("sampleFrames", result.audioBytes / format.audio->blockAlign);
    }
    report.Fact("segments", result.segments);
    report.Fact("bytes", result.fileBytes);
}
} // namespace KrTool

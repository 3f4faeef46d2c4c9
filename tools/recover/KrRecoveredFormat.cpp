#include "tools/recover/KrRecoveredFormat.h"

#include "format/KrFrameTables.h"
#include "tools/avi/KrAviFile.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/output/KrRecordingOptions.h"

#include <array>
#include <charconv>
#include <cstdlib>

namespace KrTool
{
namespace
{
constexpr int kBitsOfByte = 8;
constexpr uint64_t kMostBits = 64;
constexpr int64_t kMicroSeconds = 1000000;

// Rate, channels and bits of --pcm.
SKrPcm ParsePcm(const std::string& text)
{
    std::array<uint32_t, 3> numbers{};
    const char* from = text.data();
    const char* const end = from + text.size();
    bool isGood = true;
    for (uint32_t& number : numbers)
    {
        const auto [after, error] = std::from_chars(from, end, number);
        const bool isLast = &number == &numbers.back();
        isGood = isGood && error == std::errc() && number != 0 &&
                 (isLast ? after == end : after != end && *after == ',');
        from = isGood && !isLast ? after + 1 : end;
    }
    const auto [rate, channels, bits] = numbers;
    if (!isGood || rate > 1000000 || channels > 64 || bits > 64 || bits % kBitsOfByte != 0)
        throw CKrToolError({}, "--pcm must be RATE,CHANNELS,BITS, such as 48000,2,16");
    return {static_cast<uint16_t>(channels), rate, static_cast<uint16_t>(bits),
            static_cast<uint16_t>(channels * bits / kBitsOfByte)};
}

// A picture format with a plausible size; zeros or garbage do not count.
bool IsUsable(const SKrAviStream* stream)
{
    if (stream == nullptr || stream->format.size() < SKrBitmapHeader::kEncodedSize)
        return false;
    const SKrBitmapHeader picture = DecodeBitmapHeader(stream->format);
    return picture.width > 0 && picture.width <= static_cast<int32_t>(kMostPixels) && picture.height != 0 &&
           std::abs(int64_t{picture.height}) <= kMostPixels;
}

// The rate from the microseconds of a frame, which are truncated or rounded.
std::optional<uint32_t> RateOfDuration(uint32_t microSecPerFrame)
{
    const auto rates = KrFrameRates();
    for (uint32_t code = 0; code < rates.size(); ++code)
    {
        const int64_t difference =
            int64_t{microSecPerFrame} * rates[code].rate - kMicroSeconds * rates[code].scale;
        if (std::abs(difference) <= rates[code].rate)
            return code;
    }
    return std::nullopt;
}
} // namespace

CKrRecoveredFormat::CKrRecoveredFormat(const SKrRecoverOptions& options, const SKrAviFacts& headers,
                                       CKrReport& report)
    : m_options(options), m_headers(headers), m_report(report)
{
}

void CKrRecoveredFormat::Refuse(const std::string& cause) const
{
    throw CKrToolError(m_options.file, cause);
}

void CKrRecoveredFormat::TakeVideo(const SKrAviStream* stream)
{
    TakeSize(stream);
    TakeCodec(stream);
    TakeRate(stream);
    if (!m_missing.empty())
        Refuse("its headers have no video format; give" + m_missing);
    TakeRowOrder(stream);
    TakeScanModeAndAspect();
}

void CKrRecoveredFormat::TakeSize(const SKrAviStream* stream)
{
    SKrAviVideoParams& video = m_format.video;
    if (!m_options.size.empty())
    {
        const SKrPictureSize size = ParseSize(m_options.size);
        video.width = static_cast<int32_t>(size.width);
        video.height = static_cast<int32_t>(size.height);
    }
    else if (IsUsable(stream))
    {
        const SKrBitmapHeader picture = DecodeBitmapHeader(stream->format);
        video.width = picture.width;
        video.height = std::abs(picture.height);
    }
    else if (m_headers.mainHeader.width - 1 < kMostPixels && m_headers.mainHeader.height - 1 < kMostPixels)
    {
        video.width = static_cast<int32_t>(m_headers.mainHeader.width);
        video.height = static_cast<int32_t>(m_headers.mainHeader.height);
    }
    else
    {
        m_missing += " --size";
    }
}

void CKrRecoveredFormat::TakeCodec(const SKrAviStream* stream)
{
    const bool isUsable = IsUsable(stream);
    m_format.codec = ParseCodec(m_options.codec);
    if (m_options.codec.empty())
    {
        if (isUsable)
            m_format.codec = DecodeBitmapHeader(stream->format).compression;
        else if (stream != nullptr && stream->handler != 0)
            m_format.codec = stream->handler;
        else
            m_missing += " --codec";
    }
    if (m_format.codec == kFccDib)
        m_format.codec = 0;
    if (m_options.bits.value_or(1) == 0 || m_options.bits.value_or(1) > kMostBits)
        throw CKrToolError({}, "--bits must be 1 to 64");
    const uint64_t known = isUsable ? DecodeBitmapHeader(stream->format).bitCount : kUsualBits;
    m_format.video.bitCount = static_cast<uint8_t>(m_options.bits.value_or(known));
    if (isUsable && stream->format.size() > SKrBitmapHeader::kEncodedSize)
        m_report.Finding(
            "left out: " + Counted(stream->format.size() - SKrBitmapHeader::kEncodedSize, "byte") +
            " of decoder settings, which this layout cannot store");
}

void CKrRecoveredFormat::TakeRate(const SKrAviStream* stream)
{
    if (!m_options.rate.empty())
    {
        m_format.video.frameRate = ParseFrameRate(m_options.rate);
        return;
    }
    std::optional<uint32_t> code;
    if (stream != nullptr && stream->rate != 0 && stream->scale != 0)
    {
        code = FrameRateCode(stream->rate, stream->scale);
        if (!code)
            Refuse("its frame rate " + std::to_string(stream->rate) + "/" + std::to_string(stream->scale) +
                   " is not supported; --rate sets another one");
    }
    else
    {
        code = RateOfDuration(m_headers.mainHeader.microSecPerFrame);
    }
    if (code)
        m_format.video.frameRate = *code;
    else
        m_missing += " --rate";
}

// A negative height means top-down rows, whatever size the options give. It applies only to uncompressed
// frames, whose rows are reversed; its meaning for others is unknown.
void CKrRecoveredFormat::TakeRowOrder(const SKrAviStream* stream)
{
    if (!IsUsable(stream) || DecodeBitmapHeader(stream->format).height > 0)
        return;
    const SKrAviVideoParams& video = m_format.video;
    if (m_format.codec == 0)
        m_turnedRow = (uint64_t{static_cast<uint32_t>(video.width)} * video.bitCount + 31) / 32 * 4;
    else if (m_options.size.empty())
        Refuse("its pictures are top-down, which the writer cannot store; --size " +
               std::to_string(video.width) + 'x' + std::to_string(video.height) + " stores them unchanged");
}

// The reader knows both where it can open the file.
void CKrRecoveredFormat::TakeScanModeAndAspect()
{
    SKrAviVideoParams& video = m_format.video;
    video.aspectMode = kAspectModeUnknown;
    video.scanMode = static_cast<int32_t>(EKrScanMode::Unknown);
    if (m_headers.streams.empty())
        return;
    try
    {
        const CKrAviFile file(m_options.file);
        SKrVideoAnswer known = DeclaredVideo(file);
        if (known.isValid == 0 || known.format.width != video.width || known.format.height != video.height)
            return;
        known.format.bitCount = video.bitCount;
        known.format.frameRate = video.frameRate;
        video = known.format;
    }
    catch (const CKrToolError&) // the reader cannot open what is left
    {
    }
}

bool CKrRecoveredFormat::TakeAudio(const SKrAviStream* stream)
{
    if (!m_options.pcm.empty())
    {
        m_format.audio = ParsePcm(m_options.pcm);
        return true;
    }
    const SKrAudioFormat format = stream != nullptr ? AudioFormat(*stream) : SKrAudioFormat();
    if (format.formatTag == 0 || format.channels == 0 || format.samplesPerSec == 0 || format.blockAlign == 0)
    {
        m_report.Finding("left out: the sound, because the headers have no format; --pcm sets it");
        return false;
    }
    if (format.formatTag != kFormatTagPcm)
        Refuse("its audio is not PCM; --no-audio leaves it out");
    if (stream->format.size() > SKrWaveFormat::kEncodedSize)
        m_report.Finding("left out: further bytes of the audio format, which this layout cannot store");
    // Formats of 14 bytes have no sample size.
    const int bits =
        format.bitsPerSample != 0 ? format.bitsPerSample : kBitsOfByte * format.blockAlign / format.channels;
    m_format.audio =
        SKrPcm{format.channels, format.samplesPerSec, static_cast<uint16_t>(bits), format.blockAlign};
    return true;
}
} // namespace KrTool

// 'strh' and 'strf' of each stream, against each other and against the content.
#include "format/KrAviHeaders.h"
#include "format/KrFieldPlaces.h"
#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// Places of fields in 'strf' of sound
constexpr uint64_t kByteRateAt = 8;
constexpr uint64_t kBlockAlignAt = 12;
constexpr uint64_t kExtraSizeAt = 16;

// Checks one stream.
class CKrStreamCheck
{
public:
    CKrStreamCheck(const SKrVerifyContext& context, SKrVerifyStream& stream, size_t number)
        : m_context(context), m_results(context.results), m_stream(stream),
          m_name(Format("stream {}", number))
    {
    }

    void Run()
    {
        if (m_stream.header)
            CheckHeader(*m_stream.header);
        else
            m_results.Add(EKrCheck::StrhMissing, m_stream.position, "strh", m_name + " without");
        if (!m_stream.format)
            m_results.Add(EKrCheck::StrfMissing, m_stream.position, "strf", m_name + " without");
        else if (m_stream.type == kFccVids)
            CheckVideoFormat(*m_stream.format);
        else if (m_stream.type == kFccAuds)
            CheckAudioFormat(*m_stream.format);
        const bool isUsual = m_stream.type == kFccVids || m_stream.type == kFccAuds;
        if (isUsual && m_stream.chunks == 0 && !m_context.model.isCut)
            m_results.Add(EKrCheck::StreamEmpty, m_stream.position, "data chunks of " + m_name, "none");
    }

private:
    template <class NUMBER, class FOUND>
    void Differs(EKrCheck check, uint64_t position, NUMBER expected, FOUND found)
    {
        m_results.Add(check, position, Numbers(expected, found));
    }

    void CheckHeader(const SKrPlacedChunk& chunk)
    {
        const uint32_t full = SKrStreamHeader::kEncodedSize;
        if (chunk.size < full)
            m_results.Add(EKrCheck::StrhShort, chunk.position, "56 bytes", Counted(chunk.size, "byte"));
        else if (chunk.size > full)
            m_results.Add(EKrCheck::StrhWide, chunk.position, "56 bytes", Counted(chunk.size, "byte"));
        const bool isKnown =
            m_stream.type == kFccVids || m_stream.type == kFccAuds || m_stream.type == kFccTxts;
        if (!isKnown)
            m_results.Add(EKrCheck::StrhType, chunk.Data(), "vids, auds or txts", FourCcText(m_stream.type));
        if (m_stream.scale == 0)
            m_results.Add(EKrCheck::StrhRateZero, chunk.Data() + KrStrh::kScaleAt, "a scale", "0");
        if (m_stream.rate == 0)
            m_results.Add(EKrCheck::StrhRateZero, chunk.Data() + KrStrh::kRateAt, "a rate", "0");
        if (m_stream.suggestedBufferSize != 0 && m_stream.suggestedBufferSize < m_stream.largest)
            m_results.Add(EKrCheck::StrhBufferSmall, chunk.Data() + KrStrh::kBufferAt,
                          Format("{} at least", m_stream.largest),
                          std::to_string(m_stream.suggestedBufferSize));
        if (chunk.size >= full && m_stream.chunks != 0)
            CheckLength(chunk);
    }

    // The length of the whole file, or, from writers of the time before OpenDML, of the first segment.
    void CheckLength(const SKrPlacedChunk& chunk)
    {
        const bool hasSamples = m_stream.type == kFccAuds && m_stream.sampleSize != 0;
        const auto units = [this, hasSamples](uint64_t chunks, uint64_t bytes)
        {
            return hasSamples ? bytes / m_stream.sampleSize : chunks;
        };
        const uint64_t inAll = units(m_stream.chunks, m_stream.bytes);
        const uint64_t inFirst = units(m_stream.chunksInFirstSegment, m_stream.bytesInFirstSegment);
        const bool isRounded =
            hasSamples && m_stream.bytes % m_stream.sampleSize != 0 && m_stream.length == inAll + 1;
        if (m_stream.length != inAll && m_stream.length != inFirst && !isRounded && !m_context.model.isCut)
            Differs(EKrCheck::StrhLength, chunk.Data() + KrStrh::kLengthAt, inAll, m_stream.length);
    }

    void CheckVideoFormat(const SKrPlacedChunk& chunk)
    {
        constexpr uint32_t kFull = SKrBitmapHeader::kEncodedSize;
        const SKrBitmapHeader format =
            DecodeBitmapHeader(m_context.window.At(chunk.Data(), std::min(chunk.size, kFull)));
        if (chunk.size < kFull)
        {
            m_results.Add(EKrCheck::StrfShort, chunk.position, "40 bytes", Counted(chunk.size, "byte"));
            return;
        }
        if (format.size < kFull || format.size > chunk.size)
            m_results.Add(EKrCheck::StrfOwnSize, chunk.Data(), Format("40 to {}", chunk.size),
                          std::to_string(format.size));
        if (format.width <= 0 || format.height == 0)
            m_results.Add(EKrCheck::StrfPictureSize, chunk.Data() + 4, "a width and a height",
                          Format("{} x {}", format.width, format.height));
        else if (format.height < 0)
            m_results.Add(EKrCheck::StrfTopDown, chunk.Data() + 8, "a positive height",
                          std::to_string(format.height));
        if (format.bitCount == 0)
            m_results.Add(EKrCheck::StrfBitCount, chunk.Data() + 14, "a bit count", "0");
    }

    void CheckAudioFormat(const SKrPlacedChunk& chunk)
    {
        const auto size = std::min<size_t>(chunk.size, SKrWaveFormat::kEncodedSize);
        const SKrWaveFormat format = DecodeWaveFormat(m_context.window.At(chunk.Data(), size));
        const bool isPcm = format.formatTag == kFormatTagPcm;
        m_stream.pcmBlockAlign = isPcm ? format.blockAlign : 0;
        const size_t shortest = isPcm ? kPcmWaveFormatSize : kShortestWaveFormat;
        if (chunk.size < shortest)
        {
            m_results.Add(EKrCheck::StrfShort, chunk.position, Counted(shortest, "byte"),
                          Counted(chunk.size, "byte"));
            return;
        }
        if (chunk.size >= SKrWaveFormat::kEncodedSize &&
            format.extraSize > chunk.size - SKrWaveFormat::kEncodedSize)
            m_results.Add(EKrCheck::StrfExtraSize, chunk.Data() + kExtraSizeAt,
                          Format("{} at most", chunk.size - SKrWaveFormat::kEncodedSize),
                          std::to_string(format.extraSize));
        if (format.channels == 0 || format.samplesPerSec == 0 || format.blockAlign == 0)
        {
            m_results.Add(EKrCheck::StrfAudioZero, chunk.Data(), "channels, sample rate and block align",
                          Format("{}, {} and {}", format.channels, format.samplesPerSec, format.blockAlign));
            return;
        }
        if (isPcm || format.formatTag == kFormatTagFloat || format.formatTag == kFormatTagExtensible)
            CheckPcm(chunk, format);
    }

    void CheckPcm(const SKrPlacedChunk& chunk, const SKrWaveFormat& format)
    {
        const uint64_t align = uint64_t{format.channels} * ((format.bitsPerSample + 7u) / 8);
        const uint64_t bytes = uint64_t{format.samplesPerSec} * format.blockAlign;
        if (format.blockAlign != align)
            Differs(EKrCheck::StrfBlockAlign, chunk.Data() + kBlockAlignAt, align, format.blockAlign);
        if (format.avgBytesPerSec != bytes)
            Differs(EKrCheck::StrfByteRate, chunk.Data() + kByteRateAt, bytes, format.avgBytesPerSec);
        if (!m_stream.header)
            return;
        const uint64_t header = m_stream.header->Data();
        if (m_stream.sampleSize != format.blockAlign)
            Differs(EKrCheck::StrhSampleSize, header + KrStrh::kSampleSizeAt, format.blockAlign,
                    m_stream.sampleSize);
        const bool hasRate = m_stream.rate != 0 && m_stream.scale != 0;
        if (hasRate && m_stream.rate != uint64_t{m_stream.scale} * format.samplesPerSec)
            m_results.Add(EKrCheck::StrhAudioRate, header + KrStrh::kScaleAt,
                          std::to_string(format.samplesPerSec),
                          Format("{} / {}", m_stream.rate, m_stream.scale));
    }

    const SKrVerifyContext& m_context;
    CKrVerifyResults& m_results;
    SKrVerifyStream& m_stream;
    const std::string m_name;
};

void CheckPcmChunks(const SKrVerifyContext& context)
{
    const std::vector<SKrVerifyStream>& streams = context.model.streams;
    for (const SKrDataChunk& chunk : context.model.chunks)
    {
        const uint32_t align = chunk.stream < streams.size() ? streams[chunk.stream].pcmBlockAlign : 0;
        if (align != 0 && chunk.kind == EKrContent::Audio && chunk.size % align != 0)
            context.results.Add(EKrCheck::AudioChunkSplit, chunk.position,
                                [&] {
                                    return SKrExpectation{"a multiple of " + Counted(align, "byte"),
                                                          Counted(chunk.size, "byte")};
                                });
    }
}
} // namespace

void CheckStreamHeaders(const SKrVerifyContext& context)
{
    for (size_t number = 0; number < context.model.streams.size(); ++number)
        CKrStreamCheck(context, context.model.streams[number], number).Run();
    CheckPcmChunks(context);
}
} // namespace KrTool

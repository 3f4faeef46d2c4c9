#include "tools/map/KrMapTrack.h"

#include "tools/avi/KrAviFacts.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
constexpr double kAssumedFrameRate = 25;

EKrSpanKind SpanKindOf(EKrStreamKind kind)
{
    return kind == EKrStreamKind::Video ? EKrSpanKind::Video : EKrSpanKind::Audio;
}
} // namespace

std::optional<CKrMapTrack> CKrMapTrack::Choose(const SKrFileSpans& file, const SKrAviFacts& facts,
                                               EKrStreamKind kind)
{
    std::array<uint64_t, kMostStreams> chunks{};
    for (const SKrSpan& span : file.spans)
        chunks[span.stream] += span.kind == SpanKindOf(kind) ? 1 : 0;
    const SKrAviStream* const header =
        kind == EKrStreamKind::Video ? FirstVideoStream(facts) : FirstUsableAudioStream(facts);
    if (header != nullptr && header->number < chunks.size() && chunks[header->number] != 0)
        return CKrMapTrack(file, facts, kind, header->number);
    const auto most = std::ranges::max_element(chunks);
    if (*most == 0)
        return std::nullopt;
    return CKrMapTrack(file, facts, kind, static_cast<uint32_t>(most - chunks.begin()));
}

CKrMapTrack::CKrMapTrack(const SKrFileSpans& file, const SKrAviFacts& facts, EKrStreamKind kind,
                         uint32_t stream)
    : m_file(file), m_kind(kind), m_stream(stream)
{
    uint64_t bytes = 0;
    for (size_t place = 0; place < file.spans.size(); ++place)
    {
        const SKrSpan& span = file.spans[place];
        if (span.kind != SpanKindOf(kind) || span.stream != stream)
            continue;
        m_spans.push_back(static_cast<uint32_t>(place));
        m_bytesBefore.push_back(bytes);
        bytes += span.payload;
    }
    m_bytesBefore.push_back(bytes);
    TakeTime(facts);
}

void CKrMapTrack::TakeTime(const SKrAviFacts& facts)
{
    SKrUnitRate rate;
    if (m_stream < facts.streams.size())
    {
        const SKrAviStream& header = facts.streams[m_stream];
        rate = {header.rate, header.scale};
        if (rate.IsValid())
            m_startSeconds = static_cast<double>(header.start) * rate.scale / rate.rate;
        if (m_kind == EKrStreamKind::Audio)
        {
            const SKrAudioUnit unit = AudioUnit(header);
            rate = unit.rate;
            m_unitBytes = unit.bytes;
        }
    }
    if (rate.IsValid())
        m_secondsPerUnit = static_cast<double>(rate.scale) / rate.rate;
    else if (m_kind == EKrStreamKind::Video)
        m_secondsPerUnit = 1 / kAssumedFrameRate;
    m_rateAssumed = !rate.IsValid();
}

double CKrMapTrack::SecondsAtChunk(uint64_t chunk) const
{
    const uint64_t units = m_unitBytes == 0 ? chunk : m_bytesBefore[chunk];
    const double unitsInOne = m_unitBytes == 0 ? 1 : static_cast<double>(m_unitBytes);
    return m_startSeconds + static_cast<double>(units) / unitsInOne * m_secondsPerUnit;
}
} // namespace KrTool

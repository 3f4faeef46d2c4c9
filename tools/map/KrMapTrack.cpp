#include "tools/map/KrMapTrack.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFacts.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
constexpr double kAssumedFrameRate = 25;

using ChunkCounts = std::array<uint64_t, kMostStreams>;

EKrSpanKind SpanKindOf(EKrStreamKind kind)
{
    return kind == EKrStreamKind::Video ? EKrSpanKind::Video : EKrSpanKind::Audio;
}

std::optional<uint32_t> ChosenStream(const ChunkCounts& chunks, const SKrAviStream* header)
{
    if (header != nullptr && header->number < chunks.size() && chunks[header->number] != 0)
        return header->number;
    const auto most = std::ranges::max_element(chunks);
    return *most != 0 ? std::optional(static_cast<uint32_t>(most - chunks.begin())) : std::nullopt;
}

std::vector<SKrStreamIndexEntry> ByPosition(std::vector<SKrStreamIndexEntry> entries)
{
    std::erase_if(entries, [](auto& entry) { return entry.position < kChunkHeaderSize; });
    std::ranges::sort(entries, {}, &SKrStreamIndexEntry::position);
    return entries;
}
} // namespace

std::vector<CKrMapTrack::Key> CKrMapTrack::StreamsOf(const SKrFileSpans& file, const SKrAviFacts& facts)
{
    ChunkCounts video{};
    ChunkCounts audio{};
    for (const SKrSpan& span : file.spans)
    {
        video[span.stream] += span.kind == EKrSpanKind::Video ? 1 : 0;
        audio[span.stream] += span.kind == EKrSpanKind::Audio ? 1 : 0;
    }
    std::vector<Key> keys;
    if (const auto stream = ChosenStream(video, FirstVideoStream(facts)))
        keys.emplace_back(EKrStreamKind::Video, *stream);
    if (const auto stream = ChosenStream(audio, FirstUsableAudioStream(facts)))
        keys.emplace_back(EKrStreamKind::Audio, *stream);
    const auto add = [&keys](EKrStreamKind kind, uint32_t stream)
    {
        const Key key = {kind, stream};
        if (std::ranges::find(keys, key) == keys.end())
            keys.push_back(key);
    };
    for (uint32_t stream = 0; stream < kMostStreams; ++stream)
    {
        if (video[stream] != 0)
            add(EKrStreamKind::Video, stream);
        if (audio[stream] != 0)
            add(EKrStreamKind::Audio, stream);
    }
    return keys;
}

CKrMapTrack::CKrMapTrack(const SKrFileSpans& file, const SKrAviFacts& facts, Key key,
                         const SKrStreamIndex& index)
    : m_file(file), m_kind(key.first), m_stream(key.second)
{
    TakeTime(facts);
    const std::vector<SKrStreamIndexEntry> entries = ByPosition(index.entries);
    m_hasIndex = !entries.empty();
    auto next = entries.begin();
    const auto passEntries = [&](uint64_t until)
    {
        for (; next != entries.end() && next->position - kChunkHeaderSize < until; ++next)
        {
            const uint64_t start = next->position - kChunkHeaderSize;
            const bool isTwice = next != entries.begin() && std::prev(next)->position == next->position;
            if (!isTwice && IsHole(start))
                Add({start, 0, kLost, true, (next->flags & kKeyFrame) != 0}, next->size);
        }
    };
    for (size_t place = 0; place < file.spans.size(); ++place)
    {
        const SKrSpan& span = file.spans[place];
        if (span.kind != SpanKindOf(m_kind) || span.stream != m_stream)
            continue;
        passEntries(span.start);
        const bool isIndexed = next != entries.end() && next->position - kChunkHeaderSize == span.start;
        const bool isKey = isIndexed && (next->flags & kKeyFrame) != 0;
        Add({span.start, 0, static_cast<uint32_t>(place), isIndexed, isKey}, span.payload);
        ++m_found;
    }
    passEntries(UINT64_MAX);
}

bool CKrMapTrack::LacksEntries() const
{
    for (size_t chunk = 0; chunk < m_chunks.size(); ++chunk)
    {
        if (!IsIndexed(chunk) && Payload(chunk) != 0)
            return true;
    }
    return false;
}

void CKrMapTrack::Insert(const std::vector<SKrRemovedChunk>& removed)
{
    std::vector<SKrTrackChunk> found = std::move(m_chunks);
    std::erase_if(found, [](const SKrTrackChunk& chunk) { return chunk.span == kLost; });
    m_chunks.clear();
    m_amount = 0;
    auto next = found.cbegin();
    for (const SKrRemovedChunk& gone : removed)
    {
        if (gone.kind != SpanKindOf(m_kind) || gone.stream != m_stream)
            continue;
        for (; next != found.cend() && next->start < gone.place; ++next)
            AddFound(*next);
        Add({gone.place, 0, kLost, true, false}, gone.size);
    }
    for (; next != found.cend(); ++next)
        AddFound(*next);
}

void CKrMapTrack::Add(SKrTrackChunk chunk, uint32_t size)
{
    chunk.before = m_amount;
    m_chunks.push_back(chunk);
    m_amount += m_unitBytes == 0 ? 1 : size;
}

// Whether no chunk is there, or one that has no meaning.
bool CKrMapTrack::IsHole(uint64_t position) const
{
    const auto after = std::ranges::upper_bound(m_file.spans, position, {}, &SKrSpan::start);
    if (after == m_file.spans.begin() || position >= m_file.length)
        return false;
    const EKrSpanKind kind = std::prev(after)->kind;
    return kind == EKrSpanKind::Unaccounted || kind == EKrSpanKind::Padding;
}

uint64_t CKrMapTrack::End(size_t chunk) const
{
    const SKrTrackChunk& found = m_chunks[chunk];
    return found.span == kLost ? found.start + kChunkHeaderSize : m_file.EndOf(found.span);
}

uint32_t CKrMapTrack::Payload(size_t chunk) const
{
    return IsLost(chunk) ? 0 : m_file.spans[m_chunks[chunk].span].payload;
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
    const uint64_t units = chunk < m_chunks.size() ? m_chunks[static_cast<size_t>(chunk)].before : m_amount;
    const double unitsInOne = m_unitBytes == 0 ? 1 : static_cast<double>(m_unitBytes);
    return m_startSeconds + static_cast<double>(units) / unitsInOne * m_secondsPerUnit;
}
} // namespace KrTool

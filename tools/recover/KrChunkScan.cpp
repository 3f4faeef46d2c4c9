#include "tools/recover/KrChunkScan.h"

#include "format/KrChunkHeader.h"
#include "tools/command/KrProgress.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kHeaderWindow = 4096;
constexpr size_t kSearchWindow = 65536;
constexpr size_t kIndexEntrySize = 16;
constexpr uint32_t kEntryFlags = 0x113;            // list, first and last part, key frame, without time
constexpr size_t kLookBytes = kIndexEntrySize + 4; // that tell a chunk from an index entry

// Whether what looks like a chunk is an entry of an 'idx1' in front of another: the next one's id stands
// inside the chunk.
bool IsIndexEntry(std::span<const uint8_t> bytes, uint32_t size)
{
    return size + kChunkHeaderSize >= kLookBytes && bytes.size() >= kLookBytes &&
           FindId(bytes.subspan(kIndexEntrySize, kLookBytes - kIndexEntrySize), 0).found;
}

bool IsOfStream(EKrMark kind)
{
    return kind == EKrMark::Data || kind == EKrMark::OtherData;
}
} // namespace

CKrChunkScan::CKrChunkScan(const std::shared_ptr<IKrFile>& file, const std::string& path, uint64_t length,
                           size_t streamCount, CKrProgress& progress)
    : m_length(length), m_streamCount(streamCount), m_progress(progress),
      m_headers(file, path, length, kHeaderWindow), m_searched(file, path, length, kSearchWindow)
{
}

SKrScanResult CKrChunkScan::Run()
{
    m_progress.Begin("searching", m_length, EKrUnit::Byte);
    while (m_position < m_length)
    {
        m_progress.Advance(m_position);
        const SKrMark mark = MarkAt(m_position);
        switch (mark.kind)
        {
        case EKrMark::Container: // entered whatever its size says
            m_position += kListHeaderSize;
            break;
        case EKrMark::Data:
        case EKrMark::OtherData:
        case EKrMark::Known:
        case EKrMark::Printable:
            TakeChunk(mark);
            break;
        case EKrMark::Nothing:
        case EKrMark::Zeros:
        case EKrMark::End:
            SkipTo(Search(m_position));
            break;
        }
    }
    m_progress.End();
    return std::move(m_result);
}

SKrMark CKrChunkScan::MarkAt(uint64_t position)
{
    const uint64_t left = position < m_length ? m_length - position : 0;
    return MarkOf(m_headers.From(position, kChunkHeaderSize), left);
}

// Whether a chunk can end here.
bool CKrChunkScan::IsFollower(uint64_t position, EKrFollower wanted)
{
    const EKrMark mark = MarkAt(position).kind;
    if (mark == EKrMark::Zeros)
        return wanted != EKrFollower::Known;
    if (mark == EKrMark::Printable)
        return wanted == EKrFollower::Any;
    return mark != EKrMark::Nothing;
}

// Where the next chunk starts, behind a chunk whose data end inside the file; nothing when there is nothing
// that could follow it. Some programs pad no odd chunks, and some start chunks at odd positions.
std::optional<uint64_t> CKrChunkScan::PositionBehind(uint64_t end, uint32_t size, EKrFollower wanted)
{
    const uint64_t padded = end + size % 2;
    const uint64_t other = end + 1 - size % 2;
    if (IsFollower(padded, wanted))
        return padded;
    if (IsFollower(other, wanted))
        return other;
    return std::nullopt;
}

// Whether an 'idx1' stands there, by its size and by what its first and last entries look like.
bool CKrChunkScan::IsOldIndex(const SKrMark& chunk)
{
    if (chunk.id != kFccIdx1 || chunk.size == 0 || chunk.size % kIndexEntrySize != 0)
        return false;
    const uint64_t first = m_position + kChunkHeaderSize;
    const EKrMark last = MarkAt(first + chunk.size - kIndexEntrySize).kind;
    return (IsOfStream(last) || last == EKrMark::Printable) && MarkAt(first).kind != EKrMark::Nothing;
}

// A chunk of no known id can be a list whose own id is damaged. Zeros behind an index prove nothing wrong
// with it, while its last entry in front of them looks like a chunk.
void CKrChunkScan::TakeChunk(const SKrMark& chunk)
{
    const uint64_t end = m_position + kChunkHeaderSize + chunk.size;
    std::optional<uint64_t> behind;
    if (end <= m_length && chunk.kind != EKrMark::Printable)
        behind = PositionBehind(end, chunk.size,
                                IsOldIndex(chunk) ? EKrFollower::KnownOrZeros : EKrFollower::Known);
    if (!behind)
    {
        TakeDoubtful(chunk);
        return;
    }
    Keep(chunk);
    m_position = *behind;
}

// What follows the chunk does not prove its size. It is taken as it stands unless another chunk starts inside
// it: also a whole one can have garbage behind it. A size of 0 is then a damaged one.
void CKrChunkScan::TakeDoubtful(const SKrMark& chunk)
{
    const uint64_t end = m_position + kChunkHeaderSize + chunk.size;
    const uint64_t found = Search(m_position + kChunkHeaderSize);
    if (end <= m_length && found >= end)
    {
        const std::optional<uint64_t> behind = PositionBehind(end, chunk.size, EKrFollower::Any);
        if (behind || (chunk.size != 0 && chunk.kind != EKrMark::Printable))
        {
            Keep(chunk);
            m_position = behind.value_or(std::min(found, end + chunk.size % 2));
            return;
        }
    }
    if (found == m_length && chunk.kind == EKrMark::Known)
    {
        m_position = m_length; // an index that the file's end cuts: no stream loses anything
        return;
    }
    if (const std::optional<SKrDataId> stream = DataIdOf(chunk.id, m_streamCount))
        ++m_result.streams[{stream->stream, stream->kind}].cutChunks;
    SkipTo(found);
}

void CKrChunkScan::Keep(const SKrMark& chunk)
{
    m_result.otherChunks += chunk.kind == EKrMark::OtherData ? 1 : 0;
    const std::optional<SKrDataId> id = DataIdOf(chunk.id, m_streamCount);
    if (!id)
        return;
    const StreamKey key{id->stream, id->kind};
    SKrFoundStream& stream = m_result.streams[key];
    if (chunk.size == 0)
    {
        ++stream.emptyChunks;
        return;
    }
    uint64_t& damagesBefore = m_damagesBefore[key];
    if (damagesBefore != m_result.damageCount && !stream.chunks.empty())
        stream.breaks.push_back(stream.chunks.size());
    damagesBefore = m_result.damageCount;
    stream.chunks.push_back({m_position + kChunkHeaderSize, chunk.size, 0});
}

void CKrChunkScan::SkipTo(uint64_t position)
{
    const SKrDamage damage{m_position, position - m_position};
    m_position = position;
    if (damage.bytes == 0)
        return;
    ++m_result.damageCount;
    m_result.bytesSkipped += damage.bytes;
    if (m_result.damages.size() < kMostDamagesKept)
        m_result.damages.push_back(damage);
}

// The next place where a chunk stands for certain; the file's end when there is none.
uint64_t CKrChunkScan::Search(uint64_t from)
{
    if (from >= m_searchedFrom && from <= m_found)
        return m_found;
    m_searchedFrom = from;
    m_found = m_length;
    for (uint64_t position = from; position + kChunkHeaderSize <= m_length;)
    {
        m_progress.Advance(position);
        if (const std::optional<uint64_t> found = SearchWindow(position))
        {
            m_found = *found;
            break;
        }
    }
    return m_found;
}

// Searches what the window holds from a position on, which moves to where the search goes on.
std::optional<uint64_t> CKrChunkScan::SearchWindow(uint64_t& position)
{
    const std::span<const uint8_t> bytes = m_searched.From(position, kLookBytes);
    size_t from = 0;
    for (;;)
    {
        const SKrIdSearch id = FindId(bytes, from);
        const uint64_t at = position + id.place;
        const std::span<const uint8_t> there = bytes.subspan(std::min(id.place, bytes.size()));
        if (!id.found || there.size() < std::min<uint64_t>(kLookBytes, m_length - at))
        {
            position = at;
            return std::nullopt;
        }
        const SKrMark mark = MarkOf(there, m_length - at);
        if (IsConfirmed(mark, at) && !IsIndexEntry(there, mark.size) && !IsBehindIndexEntry(at, mark.size))
            return at;
        from = id.place + 1;
    }
}

// Whether what looks like a chunk is the last entry of an 'idx1': another entry stands in front, no chunk
// that ends here, and the size can be flags.
bool CKrChunkScan::IsBehindIndexEntry(uint64_t position, uint32_t size)
{
    constexpr uint32_t kChunkSize = kIndexEntrySize - kChunkHeaderSize; // of a chunk in the entry's place
    if (position < kIndexEntrySize || (size & ~kEntryFlags) != 0)
        return false;
    const SKrMark entry = MarkAt(position - kIndexEntrySize);
    const bool isChunk = entry.size + entry.size % 2 == kChunkSize;
    return IsOfStream(entry.kind) && !isChunk && !IsOfStream(MarkAt(position - kChunkHeaderSize).kind);
}

bool CKrChunkScan::IsConfirmed(const SKrMark& mark, uint64_t position)
{
    if (mark.kind == EKrMark::Container)
        return IsFollower(position + kListHeaderSize, EKrFollower::KnownOrZeros);
    if (mark.kind != EKrMark::Data && mark.kind != EKrMark::Known)
        return false;
    const uint64_t end = position + kChunkHeaderSize + mark.size;
    return mark.size != 0 && end <= m_length &&
           PositionBehind(end, mark.size, EKrFollower::KnownOrZeros).has_value();
}
} // namespace KrTool

#include "tools/map/KrSpanWalk.h"

#include "format/KrFourCC.h"
#include "tools/command/KrProgress.h"
#include "tools/input/KrAviFile.h"
#include "tools/input/KrChunkWalk.h"
#include "tools/input/KrLittleEndian.h"

#include <algorithm>
#include <span>

namespace KrTool
{
namespace
{
constexpr uint64_t kListHeaderSize = 12;
constexpr size_t kDeepestLevel = 32;
constexpr size_t kMostSpans = size_t{1} << 24; // days of recording
constexpr size_t kSmallestBlock = 512; // of a search, which doubles it as it goes on: most gaps are short
constexpr size_t kLargestBlock = size_t{1} << 16;
constexpr uint64_t kLongestZeroPadding = 65536; // the largest sectors

constexpr bool IsSegmentType(uint32_t type)
{
    return type == kFccAvi || type == kFccAvix;
}

bool IsListTypeOfAvi(uint32_t type)
{
    static constexpr uint32_t kTypes[] = {kFccAvi,  kFccAvix, kFccHdrl,         kFccStrl,
                                          kFccOdml, kFccMovi, KrFourCC("rec "), KrFourCC("INFO")};
    return std::ranges::find(kTypes, type) != std::end(kTypes);
}

bool IsFiller(uint32_t id)
{
    return id == kFccJunk || id == KrFourCC("JUNQ") || id == KrFourCC("PAD ");
}

size_t NextBlock(size_t size)
{
    return std::clamp(2 * size, kSmallestBlock, kLargestBlock);
}
} // namespace

void SKrRegions::Add(const SKrRegion& region)
{
    bytes += region.end - region.start;
    const bool continues = region.start == m_lastEnd;
    m_lastEnd = region.end;
    if (continues && count == kept.size())
    {
        kept.back().end = region.end;
        return;
    }
    count += continues ? 0 : 1;
    if (!continues && kept.size() < kMostKept)
        kept.push_back(region);
}

CKrSpanWalk::CKrSpanWalk(const CKrAviFile& file, size_t streamCount, CKrProgress& progress)
    : m_file(file), m_length(file.Length()), m_streamCount(streamCount), m_progress(progress)
{
    m_result.length = m_length;
}

SKrFileSpans CKrSpanWalk::Run()
{
    m_progress.Begin("measuring", m_length, EKrUnit::Byte);
    while (m_position < m_length && m_result.spans.size() < kMostSpans)
    {
        LeaveLevels(m_position);
        Step();
        m_progress.Advance(m_position);
    }
    if (m_position < m_length)
    {
        m_result.cut = true;
        TakeGap(m_length);
    }
    while (!m_levels.empty())
        LeaveOneLevel(m_length);
    m_progress.End();
    return std::move(m_result);
}

SKrMark CKrSpanWalk::MarkAt(uint64_t position)
{
    const uint64_t left = position < m_length ? m_length - position : 0;
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(left, kListHeaderSize));
    if (position < m_windowStart || position + wanted > m_windowStart + m_windowSize)
    {
        m_windowStart = position;
        m_windowSize = m_file.ReadAt(position, m_window.data(), m_window.size());
    }
    // Where the file cannot be read there is nothing to be seen.
    const uint64_t offset = position - m_windowStart;
    const uint64_t there = m_windowSize > offset ? m_windowSize - offset : 0;
    if (there < std::min<uint64_t>(left, kChunkHeaderSize))
        return {};
    return MarkOf(std::span(m_window).subspan(static_cast<size_t>(offset), static_cast<size_t>(there)), left);
}

uint32_t CKrSpanWalk::ListTypeAt(uint64_t position)
{
    std::array<uint8_t, 4> bytes{};
    const size_t came = m_file.ReadAt(position + kChunkHeaderSize, bytes.data(), bytes.size());
    return came == bytes.size() ? GetLe32(bytes, 0) : 0;
}

// Whether ids tell by themselves that there is a chunk.
bool CKrSpanWalk::IsStrong(uint64_t position)
{
    const EKrMark kind = MarkAt(position).kind;
    return kind == EKrMark::Data || kind == EKrMark::Known ||
           (kind == EKrMark::Container && IsListTypeOfAvi(ListTypeAt(position)));
}

// Whether something that can follow a chunk stands at its end.
bool CKrSpanWalk::IsFollower(uint64_t end, uint32_t size)
{
    if (end + kChunkHeaderSize > m_length)
        return end <= m_length;
    const auto isFollower = [this](uint64_t position)
    {
        const EKrMark kind = MarkAt(position).kind;
        return kind == EKrMark::Zeros || kind == EKrMark::OtherData || kind == EKrMark::End ||
               IsStrong(position);
    };
    return isFollower(end) || (size % 2 != 0 && isFollower(end + 1));
}

bool CKrSpanWalk::IsConfirmed(uint64_t position)
{
    const SKrMark mark = MarkAt(position);
    if (mark.kind == EKrMark::Container)
        return IsListTypeOfAvi(ListTypeAt(position));
    return IsFollower(position + kChunkHeaderSize + mark.size, mark.size);
}

std::optional<uint64_t> CKrSpanWalk::FindConfirmed(uint64_t from)
{
    std::vector<uint8_t> block;
    while (from < m_length)
    {
        m_progress.StopIfAsked();
        block.resize(NextBlock(block.size()));
        const size_t came = m_file.ReadAt(from, block.data(), block.size());
        const std::span<const uint8_t> bytes(block.data(), came);
        SKrIdSearch search = FindId(bytes, 0);
        for (; search.found; search = FindId(bytes, search.place + 1))
        {
            if (IsConfirmed(from + search.place))
                return from + search.place;
        }
        if (search.place == 0 || from + came >= m_length)
            break;
        from += search.place;
    }
    return std::nullopt;
}

// Chunks of odd size end with a padding byte, or without one as our own files do.
uint64_t CKrSpanWalk::PositionBehind(uint64_t end, uint32_t size)
{
    const bool hasPadding = size % 2 != 0 && (IsStrong(end + 1) || !IsStrong(end));
    return std::min(m_length, hasPadding && end < m_length ? end + 1 : end);
}

uint64_t CKrSpanWalk::EndOfZeros(uint64_t position)
{
    std::vector<uint8_t> block;
    while (position < m_length)
    {
        m_progress.StopIfAsked();
        block.resize(NextBlock(block.size()));
        const size_t came = m_file.ReadAt(position, block.data(), block.size());
        const auto end = block.begin() + static_cast<std::ptrdiff_t>(came);
        const auto other = std::find_if(block.begin(), end, [](uint8_t byte) { return byte != 0; });
        position += static_cast<uint64_t>(other - block.begin());
        if (other != end || came == 0)
            break;
    }
    return position;
}

void CKrSpanWalk::Step()
{
    const SKrMark mark = MarkAt(m_position);
    switch (mark.kind)
    {
    case EKrMark::Zeros:
        TakeZeros();
        return;
    case EKrMark::Container:
        if (TakeContainer(mark))
            return;
        break;
    case EKrMark::Data:
    case EKrMark::Known:
    case EKrMark::OtherData:
    case EKrMark::Printable:
        if (TakeChunk(mark))
            return;
        break;
    case EKrMark::Nothing:
    case EKrMark::End:
        break;
    }
    TakeGap(FindConfirmed(m_position + 1).value_or(m_length));
}

void CKrSpanWalk::LeaveLevels(uint64_t position)
{
    while (!m_levels.empty() && position >= m_levels.back().end)
        LeaveOneLevel(m_levels.back().end);
}

void CKrSpanWalk::LeaveOneLevel(uint64_t position)
{
    const SKrLevel& level = m_levels.back();
    if (level.isSegment)
        m_result.segments.back().end = position;
    else if (level.list)
        m_result.lists[*level.list].end = position;
    m_levels.pop_back();
}

// False when what looks like a list is none.
bool CKrSpanWalk::TakeContainer(const SKrMark& mark)
{
    const uint32_t type = ListTypeAt(m_position);
    const bool isSegment = mark.id == kFccRiff;
    if (isSegment && !IsSegmentType(type))
        return m_levels.empty() && TakeChunk(mark);
    // A segment never lies in another one: what claims to be around it was cut or never completed.
    while (isSegment && !m_levels.empty())
        LeaveOneLevel(m_position);
    if (m_levels.size() == kDeepestLevel)
        return TakeChunk(mark);
    const uint64_t claimedEnd = m_position + kChunkHeaderSize + mark.size;
    const bool completed = !IsSizeUnset(mark.size);
    if (!completed && !isSegment && type != kFccMovi)
        return TakeChunk(mark);
    Enter(type, isSegment, claimedEnd, completed);
    return true;
}

void CKrSpanWalk::Enter(uint32_t type, bool isSegment, uint64_t claimedEnd, bool completed)
{
    SKrLevel level;
    level.type = type;
    level.isSegment = isSegment;
    level.end = m_levels.empty() ? m_length : m_levels.back().end;
    const bool isInSegment = m_levels.size() == 1 && m_levels.back().isSegment;
    if (completed)
        level.end = std::min(level.end, claimedEnd);
    const SKrMapList list = {type, m_position, level.end, claimedEnd, completed};
    if (isSegment)
        m_result.segments.push_back(list);
    else if (isInSegment && m_result.lists.size() < SKrFileSpans::kMostLists)
    {
        level.list = m_result.lists.size();
        m_result.lists.push_back(list);
    }
    m_levels.push_back(level);
    AddSpan({m_position, 0, EKrSpanKind::Headers, 0});
    m_position = std::min(m_length, m_position + kListHeaderSize);
    m_outsideEnd = 0;
}

// False when the size leads nowhere.
bool CKrSpanWalk::TakeChunk(const SKrMark& mark)
{
    const uint64_t end = m_position + kChunkHeaderSize + mark.size;
    if (end > m_length)
        return TakeCutChunk(mark);
    if (!m_levels.empty() && end > m_levels.back().end)
    {
        if (!IsFollower(end, mark.size))
            return false;
        ++m_result.overruns;
    }
    AddChunk(mark, end);
    m_position = PositionBehind(end, mark.size);
    return true;
}

// The end of the file cuts the last chunk. One in front of others has a wrong size.
bool CKrSpanWalk::TakeCutChunk(const SKrMark& mark)
{
    const bool isKnown = mark.kind == EKrMark::Data || mark.kind == EKrMark::Known;
    if (!isKnown || FindConfirmed(m_position + kChunkHeaderSize))
        return false;
    m_result.Of(EKrRegionKind::CutChunk).Add({EKrRegionKind::CutChunk, m_position, m_length});
    AddChunk(mark, m_length);
    m_position = m_length;
    return true;
}

void CKrSpanWalk::TakeZeros()
{
    const uint64_t end = EndOfZeros(m_position);
    if (end - m_position > kLongestZeroPadding)
    {
        TakeGap(end);
        return;
    }
    ++m_result.chunks[static_cast<size_t>(EKrSpanKind::Padding)];
    NoteOutside(EKrSpanKind::Padding, end);
    AddSpan({m_position, 0, EKrSpanKind::Padding, 0});
    // An unreadable place counts as one zero byte, so that the walk ends.
    m_position = std::max(end, m_position + 1);
}

void CKrSpanWalk::TakeGap(uint64_t end)
{
    const bool isPadding = end - m_position <= kLongestZeroPadding && EndOfZeros(m_position) >= end;
    const EKrSpanKind kind = isPadding ? EKrSpanKind::Padding : EKrSpanKind::Unaccounted;
    if (!isPadding)
        m_result.Of(EKrRegionKind::Unaccounted).Add({EKrRegionKind::Unaccounted, m_position, end});
    ++m_result.chunks[static_cast<size_t>(kind)];
    AddSpan({m_position, 0, kind, 0});
    m_position = end;
}

bool CKrSpanWalk::IsInMovi() const
{
    return std::ranges::any_of(m_levels, [](const SKrLevel& level) { return level.type == kFccMovi; });
}

EKrSpanKind CKrSpanWalk::KindOf(const SKrMark& mark) const
{
    if (IsFiller(mark.id))
        return EKrSpanKind::Padding;
    if (mark.kind == EKrMark::Known)
        return EKrSpanKind::Index;
    if (mark.kind == EKrMark::Data)
        return DataIdOf(mark.id, m_streamCount)->kind == EKrStreamKind::Video ? EKrSpanKind::Video
                                                                              : EKrSpanKind::Audio;
    const bool isData = mark.kind == EKrMark::OtherData || (mark.kind == EKrMark::Printable && IsInMovi());
    return isData ? EKrSpanKind::OtherData : EKrSpanKind::Headers;
}

void CKrSpanWalk::CountIndex(uint32_t id)
{
    if (id == kFccIdx1)
        ++m_result.oldIndexes;
    else if (id == kFccIndx)
        ++m_result.superIndexes;
    else
        ++m_result.standardIndexes;
}

void CKrSpanWalk::AddChunk(const SKrMark& mark, uint64_t end)
{
    const EKrSpanKind kind = KindOf(mark);
    ++m_result.chunks[static_cast<size_t>(kind)];
    if (kind == EKrSpanKind::Index)
        CountIndex(mark.id);
    NoteOutside(kind, end);
    SKrSpan span = {m_position, 0, kind, 0};
    if (IsDataSpan(span))
    {
        span.payload =
            static_cast<uint32_t>(std::min<uint64_t>(mark.size, end - m_position - kChunkHeaderSize));
        span.stream = static_cast<uint8_t>(DataIdOf(mark.id, m_streamCount)->stream);
    }
    AddSpan(span);
}

void CKrSpanWalk::AddSpan(const SKrSpan& span)
{
    const bool continues =
        !m_result.spans.empty() && !IsDataSpan(span) && m_result.spans.back().kind == span.kind;
    if (!continues)
        m_result.spans.push_back(span);
}

// Data chunks that are in no 'movi' although the file has segments, with the padding between them; and
// whatever lies between the segments and behind them.
void CKrSpanWalk::NoteOutside(EKrSpanKind kind, uint64_t end)
{
    if (m_result.segments.empty())
        return;
    const bool isData = kind == EKrSpanKind::Video || kind == EKrSpanKind::Audio;
    const bool isOutside = m_levels.empty() || (isData && !IsInMovi());
    if (!isOutside)
    {
        m_outsideEnd = kind == EKrSpanKind::Padding ? m_outsideEnd : 0;
        return;
    }
    const uint64_t start = m_outsideEnd != 0 ? m_outsideEnd : m_position;
    m_result.Of(EKrRegionKind::OutsideMovi).Add({EKrRegionKind::OutsideMovi, start, end});
    m_outsideEnd = end;
}
} // namespace KrTool

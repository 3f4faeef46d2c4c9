#include "tools/verify/KrLayoutWalk.h"

#include "format/KrFourCC.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"
#include "tools/input/KrChunkWalk.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kDeepestLevel = 32; // real files have six levels
constexpr uint32_t kTypeSize = 4;
constexpr uint64_t kListHeaderSize = kChunkHeaderSize + kTypeSize;
} // namespace

CKrLayoutWalk::CKrLayoutWalk(const SKrVerifyFile& file, SKrVerifyModel& model, CKrVerifyResults& results,
                             CKrProgress& progress)
    : m_length(file.length), m_model(model), m_results(results), m_progress(progress), m_sight(file, progress)
{
}

void CKrLayoutWalk::Run()
{
    m_progress.Begin("checking chunks", m_length, EKrUnit::Byte);
    m_levels.push_back({EKrListKind::File, m_length, m_length, true});
    const SKrSight first = m_sight.At(0, m_length);
    if (first.id != kFccRiff || first.type != kFccAvi)
        m_results.Add(EKrCheck::RiffMissing, 0, "RIFF 'AVI '",
                      FourCcText(first.id) + " '" + FourCcText(first.type) + '\'');
    while (m_position < m_length)
    {
        Step();
        m_progress.Advance(m_position);
    }
    m_progress.End();
}

void CKrLayoutWalk::Step()
{
    const SKrSight sight = m_sight.At(m_position, Top().end);
    if (!sight.isPlausible)
    {
        SkipGap();
        return;
    }
    const bool isSegment =
        sight.id == kFccRiff && (m_levels.size() == 1 || sight.type == kFccAvi || sight.type == kFccAvix);
    if (isSegment)
    {
        EnterSegment(sight);
        return;
    }
    const SKrListKind* const list = sight.id == kFccList ? KindOfList(sight.type) : nullptr;
    if (list != nullptr && m_levels.size() < kDeepestLevel)
        EnterList(sight, *list);
    else
        WalkChunk(sight);
}

void CKrLayoutWalk::SkipGap()
{
    SKrLevel& level = Top();
    const uint64_t from = m_position;
    const uint64_t to = m_sight.FindNext(from, level.end);
    const uint64_t size = to - from;
    const bool isZeros = m_sight.CountZeros(from, to) == size;
    EKrCheck check = isZeros ? EKrCheck::ZeroRun : EKrCheck::UnknownData;
    if (level.kind == EKrListKind::File)
        check = to == m_length ? EKrCheck::TrailingData : EKrCheck::SegmentGap;
    if (from != 0) // there it is the missing header
        m_results.Add(check, from, "a chunk", Counted(size, isZeros ? "zero byte" : "byte"));
    if (level.kind == EKrListKind::Movi && !level.hasChildren)
        m_results.Add(EKrCheck::MoviFirstNotData, from, "a data chunk", Counted(size, "byte"));
    level.hasChildren = true;
    m_emptyRun = 0;
    Account(EKrBytes::Unaccounted, size);
    m_position = to;
    LeaveLevels();
}

void CKrLayoutWalk::EnterSegment(const SKrSight& sight)
{
    const auto overlapped = std::ranges::find(m_levels, EKrListKind::Segment, &SKrLevel::kind);
    if (overlapped != m_levels.end() && !overlapped->isOpen)
        m_results.Add(EKrCheck::SegmentOverlap, m_model.segments.back().position,
                      "an end at " + std::to_string(m_position) + " at the latest",
                      "an end at " + std::to_string(overlapped->claimedEnd));
    m_levels.resize(1);
    NoteSegment(sight);
    SKrLevel level{EKrListKind::Segment};
    level.claimedEnd = m_position + kChunkHeaderSize + sight.size;
    const bool isUnset = IsSizeUnset(sight.size);
    if (isUnset)
        m_results.Add(EKrCheck::SegmentSizeUnset, m_position, "the size of the segment",
                      std::to_string(sight.size));
    else if (level.claimedEnd > m_length)
        m_results.Add(EKrCheck::SegmentBeyondFile, m_position,
                      "an end at " + std::to_string(m_length) + " at the latest",
                      "an end at " + std::to_string(level.claimedEnd));
    level.isOpen = isUnset || level.claimedEnd > m_length;
    level.end = level.isOpen ? m_length : level.claimedEnd;
    m_levels.push_back(level);
    const uint64_t header = std::min(kListHeaderSize, m_length - m_position);
    Account(EKrBytes::Structure, header);
    m_position += header;
    LeaveLevels();
}

void CKrLayoutWalk::NoteSegment(const SKrSight& sight)
{
    constexpr uint64_t kGib = uint64_t{1} << 30;
    if (!m_model.segments.empty() && sight.type != kFccAvix)
        m_results.Add(EKrCheck::SegmentType, m_position, "AVIX", FourCcText(sight.type));
    const uint64_t size = kChunkHeaderSize + sight.size;
    const bool isUnset = IsSizeUnset(sight.size);
    if (!isUnset && size > 2 * kGib)
        m_results.Add(EKrCheck::SegmentBeyond2Gib, m_position, "2147483648 bytes at most",
                      Counted(size, "byte"));
    else if (!isUnset && size > kGib && m_model.segments.empty())
        m_results.Add(EKrCheck::SegmentBeyond1Gib, m_position, "1073741824 bytes at most",
                      Counted(size, "byte"));
    if (m_model.segments.size() == kMostSegments)
    {
        m_results.Add(EKrCheck::SegmentsTooMany, m_position, FoundId("65535 segments at most", sight.type));
        return;
    }
    m_model.segments.push_back({m_position, sight.type, sight.size, {}, {}});
}

void CKrLayoutWalk::EnterList(const SKrSight& sight, const SKrListKind& list)
{
    CloseOpenLists(list.places);
    const bool isUnset = IsSizeUnset(sight.size);
    SKrLevel level{list.kind};
    level.isOpen = isUnset || m_position + kChunkHeaderSize + sight.size > Top().claimedEnd;
    if (isUnset)
        m_results.Add(EKrCheck::ListSizeUnset, m_position, "the size of the list " + FourCcText(sight.type),
                      std::to_string(sight.size));
    level.end = isUnset ? Top().end : ResolveEnd(sight);
    level.claimedEnd = isUnset ? level.end : m_position + kChunkHeaderSize + sight.size;
    NotePlace(list.places, sight);
    NoteList(list);
    NoteRun(sight.size);
    Top().hasChildren = true;
    m_levels.push_back(level);
    const uint64_t header = std::min(kListHeaderSize, m_length - m_position);
    Account(EKrBytes::Structure, header);
    m_position += header;
    MoveTo(m_position, false);
}

void CKrLayoutWalk::WalkChunk(const SKrSight& sight)
{
    const SKrChunkKind* const kind = KindOfChunk(sight.id);
    CloseOpenLists(kind != nullptr ? kind->places : ListBit(EKrListKind::Movi) | ListBit(EKrListKind::Rec));
    const uint64_t end = ResolveEnd(sight);
    EKrBytes bytes = EKrBytes::Other;
    NoteChunk(sight, bytes);
    NoteRun(sight.size);
    Top().hasChildren = true;
    const uint64_t header = std::min(kChunkHeaderSize, end - m_position);
    Account(EKrBytes::Structure, header);
    Account(bytes, end - m_position - header);
    MoveTo(end, sight.size % 2 != 0);
}

// A chunk or list that ends behind the list around it, or behind the file.
void CKrLayoutWalk::NoteOverrun(const SKrSight& sight, uint64_t end)
{
    const uint64_t limit = IsCut(end) ? m_length : Top().claimedEnd;
    EKrCheck check = sight.isContainer ? EKrCheck::ListOverrunsList : EKrCheck::ChunkOverrunsList;
    if (IsCut(end))
    {
        if (sight.isContainer)
            return; // the chunk inside that is cut tells it
        check = EKrCheck::ChunkCut;
    }
    m_results.Add(check, m_position, "an end at " + std::to_string(limit) + " at the latest",
                  FourCcText(sight.isContainer ? sight.type : sight.id) + " with an end at " +
                      std::to_string(end));
}

// Whether what ends there would be whole if the file were.
bool CKrLayoutWalk::IsCut(uint64_t end)
{
    return end > m_length && (Top().isOpen || end <= Top().claimedEnd);
}

// Where a chunk or list is taken to end: by its own size, unless that leads out of the list around it to a
// place where nothing begins.
uint64_t CKrLayoutWalk::ResolveEnd(const SKrSight& sight)
{
    const uint64_t end = m_position + kChunkHeaderSize + sight.size;
    if (end <= Top().end)
        return end;
    if (end > Top().claimedEnd || end > m_length)
        NoteOverrun(sight, end);
    const bool leadsOn = end <= m_length && (end == m_length || m_sight.At(end, m_length).isKnown ||
                                             m_sight.At(end + end % 2, m_length).isKnown);
    if (!leadsOn)
        return sight.isContainer || IsCut(end) ? Top().end
                                               : m_sight.FindNext(m_position + kChunkHeaderSize, Top().end);
    for (size_t level = 1; level < m_levels.size(); ++level)
    {
        if (m_levels[level].end >= end)
            continue;
        m_levels[level].end = m_levels[level].claimedEnd = m_levels[level - 1].end;
        m_levels[level].isOpen = true;
    }
    return end;
}

// A list whose size is wrong ends where something begins that cannot lie in it but in a list around it.
void CKrLayoutWalk::CloseOpenLists(uint32_t places)
{
    const auto isPlace = [places](const SKrLevel& level)
    {
        return (places & ListBit(level.kind)) != 0;
    };
    if (std::ranges::none_of(m_levels, isPlace))
        return;
    while (Top().isOpen && !isPlace(Top()) && m_levels.size() > 2)
        m_levels.pop_back();
}

void CKrLayoutWalk::MoveTo(uint64_t position, bool isOddChunk)
{
    m_position = position;
    LeaveLevels();
    if ((m_position % 2 != 0 || isOddChunk) && m_position < m_length)
        Align(isOddChunk);
    LeaveLevels();
}

// Steps over the padding byte. Behind a chunk without one the next chunks start at odd positions, and some
// writers pad by the size, others by the position: what stands there decides.
void CKrLayoutWalk::Align(bool isOddChunk)
{
    const uint64_t end = Top().end;
    const bool isOddPosition = m_position % 2 != 0;
    const SKrSight padded = m_sight.At(m_position + 1, end);
    const SKrSight unpadded = m_sight.At(m_position, end);
    bool isPadded = isOddChunk && isOddPosition;
    if (padded.isKnown != unpadded.isKnown)
        isPadded = padded.isKnown;
    else if (padded.isPlausible != unpadded.isPlausible)
        isPadded = padded.isPlausible;
    if (isOddPosition && m_position + 1 == end)
        isPadded = true;
    if (isPadded)
    {
        Account(EKrBytes::Padding, 1);
        ++m_position;
    }
    else if (isOddChunk && isOddPosition)
    {
        m_results.Add(unpadded.id == kFccJunk ? EKrCheck::PaddingByFiller : EKrCheck::PaddingMissing,
                      m_position, "a padding byte", FourCcText(unpadded.id));
    }
}

void CKrLayoutWalk::LeaveLevels()
{
    while (m_levels.size() > 1 && m_position >= Top().end)
        m_levels.pop_back();
}

void CKrLayoutWalk::Account(EKrBytes bytes, uint64_t count)
{
    m_model.bytes[static_cast<size_t>(bytes)] += count;
}
} // namespace KrTool

#include "tools/avi/KrFileScanner.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrProgress.h"

#include <algorithm>

namespace KrTool
{
CKrFileScanner::CKrFileScanner(const CKrByteSource& file, const SKrScanRules& rules,
                               IKrScanListener& listener, CKrProgress& progress)
    : m_length(file.Length()), m_rules(rules), m_listener(listener), m_progress(progress),
      m_finder(file, rules.search, progress)
{
}

void CKrFileScanner::Run(const std::string& step)
{
    m_progress.Begin(step, m_length, EKrUnit::Byte);
    SKrScannedList file;
    file.end = file.claimedEnd = m_length;
    file.isOpen = true;
    m_lists.push_back(file);
    while (m_position < m_length && !m_listener.IsFull())
    {
        LeaveEndedLists();
        Step();
        m_progress.Advance(m_position);
    }
    if (m_position < m_length)
        PassGap(m_length);
    while (m_lists.size() > 1)
        LeaveList(m_length);
    m_progress.End();
}

void CKrFileScanner::Step()
{
    const uint64_t end = TrustsLists() ? Top().end : m_length;
    const SKrChunkGuess guess = m_finder.At(m_position, end);
    if (guess.kind == EKrGuess::Zeros && m_rules.reportsZeros)
    {
        PassZeros();
        return;
    }
    const bool isTaken = guess.IsIn(m_rules.chunks) && (guess.IsList() ? TakeList(guess) : TakeChunk(guess));
    if (!isTaken)
        PassGap(m_finder.FindNext(m_position, end));
}

// False when an apparent list is not one.
bool CKrFileScanner::TakeList(const SKrChunkGuess& guess)
{
    if (m_rules.trust == EKrTrust::Followers)
    {
        m_position += kListHeaderSize;
        return true;
    }
    const bool isInFile = m_lists.size() == 1;
    if (guess.id == kFccRiff)
    {
        if (!IsSegmentType(guess.type) && !(TrustsLists() && isInFile))
            return (TrustsLists() || isInFile) && TakeChunk(guess);
        if (m_rules.levels == 1)
            return TakeChunk(guess);
        EnterSegment(guess);
        return true;
    }
    const SKrListKind* const kind = KindOfList(guess.type);
    const bool isEntered = TrustsLists()
                               ? kind != nullptr || (m_rules.entersAnyList && !IsSizeUnset(guess.size))
                               : !IsSizeUnset(guess.size) || guess.type == kFccMovi;
    if (!isEntered || m_lists.size() >= m_rules.levels)
        return TakeChunk(guess);
    EnterList(guess, kind != nullptr ? *kind : SKrListKind{guess.type, 0, EKrListKind::Other});
    return true;
}

// Segments do not nest: one that would contain another was truncated or never completed.
void CKrFileScanner::EnterSegment(const SKrChunkGuess& guess)
{
    const auto overlapped = std::ranges::find(m_lists, EKrListKind::Segment, &SKrScannedList::kind);
    if (overlapped != m_lists.end() && !overlapped->isOpen)
        m_listener.OnSegmentOverlap(*overlapped, m_position);
    while (m_lists.size() > 1)
        LeaveList(m_position);
    SKrScannedList segment{EKrListKind::Segment, guess.type, guess.size, m_position};
    segment.claimedEnd = ClaimedEnd(guess);
    segment.isUnset = IsSizeUnset(guess.size);
    segment.isOpen = segment.isUnset || segment.claimedEnd > m_length;
    segment.end = segment.isOpen ? m_length : segment.claimedEnd;
    Enter(segment);
}

void CKrFileScanner::EnterList(const SKrChunkGuess& guess, const SKrListKind& kind)
{
    if (TrustsLists())
        CloseOpenLists(kind.places);
    SKrScannedList list{kind.kind, guess.type, guess.size, m_position};
    list.isUnset = IsSizeUnset(guess.size);
    list.isOpen = list.isUnset || ClaimedEnd(guess) > Top().claimedEnd;
    list.end = Top().end;
    if (!list.isUnset)
        list.end = TrustsLists() ? ResolveEnd(guess) : std::min(list.end, ClaimedEnd(guess));
    list.claimedEnd = TrustsLists() && list.isUnset ? list.end : ClaimedEnd(guess);
    Enter(list);
    if (TrustsLists())
        MoveTo(m_position, false);
}

void CKrFileScanner::Enter(const SKrScannedList& list)
{
    m_listener.OnList(list, m_lists);
    Top().hasChildren = Top().hasChildren || list.kind != EKrListKind::Segment;
    m_lists.push_back(list);
    m_position = std::min(m_length, m_position + kListHeaderSize);
}

void CKrFileScanner::LeaveList(uint64_t position)
{
    const SKrScannedList left = Top();
    m_lists.pop_back();
    m_listener.OnListEnd(left, m_lists, position);
}

void CKrFileScanner::LeaveEndedLists()
{
    while (m_lists.size() > 1 && m_position >= Top().end)
        LeaveList(Top().end);
}

void CKrFileScanner::PassZeros()
{
    const uint64_t end = m_position + m_finder.CountZeros(m_position, m_length);
    m_listener.OnZeros(m_position, end, m_lists);
    m_position = end;
}

void CKrFileScanner::PassGap(uint64_t to)
{
    const uint64_t size = to - m_position;
    m_listener.OnGap(m_position, to, m_finder.CountZeros(m_position, to) == size, m_lists);
    Top().hasChildren = true;
    m_position = to;
}
} // namespace KrTool

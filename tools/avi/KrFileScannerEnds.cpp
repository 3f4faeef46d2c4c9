// Where chunks and lists end, and where the next one begins.
#include "format/KrChunkHeader.h"
#include "tools/avi/KrFileScanner.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr GuessSet kAviChunks =
    GuessesOf(EKrGuess::AviList, EKrGuess::OtherList, EKrGuess::Data, EKrGuess::OtherData, EKrGuess::Index,
              EKrGuess::Header, EKrGuess::CutHeader);

// Ids that prove a chunk on their own.
constexpr GuessSet kStrong = kDataOrIndex | GuessesOf(EKrGuess::AviList);

constexpr GuessSet kAnyLetters = GuessesOf(EKrGuess::Printable, EKrGuess::Header);
constexpr GuessSet kNoChunk =
    GuessesOf(EKrGuess::Nothing, EKrGuess::Zeros, EKrGuess::CutHeader) | kAnyLetters;
} // namespace

uint64_t CKrFileScanner::ClaimedEnd(const SKrChunkGuess& guess) const
{
    return m_position + kChunkHeaderSize + guess.size;
}

// False when the size leads nowhere.
bool CKrFileScanner::TakeChunk(const SKrChunkGuess& guess)
{
    switch (m_rules.trust)
    {
    case EKrTrust::ChunkSizes:
        return TakeByChunks(guess);
    case EKrTrust::ListSizes:
        TakeByLists(guess);
        break;
    case EKrTrust::Followers:
        TakeByFollowers(guess);
        break;
    }
    return true;
}

void CKrFileScanner::Report(const SKrChunkGuess& guess, uint64_t end)
{
    m_listener.OnChunk({guess, m_position, end}, m_lists);
    Top().hasChildren = true;
}

void CKrFileScanner::ReportOverrun(const SKrChunkGuess& guess, uint64_t end, bool isCut)
{
    m_listener.OnOverrun({guess, m_position, end}, m_lists, ClaimedEnd(guess), isCut);
}

void CKrFileScanner::TakeByLists(const SKrChunkGuess& guess)
{
    const SKrChunkKind* const kind = KindOfChunk(guess.id);
    CloseOpenLists(kind != nullptr ? kind->places : kDataLists);
    const uint64_t end = ResolveEnd(guess);
    Report(guess, end);
    MoveTo(end, guess.size % 2 != 0 && end == ClaimedEnd(guess));
}

// Whether a chunk that ends there is truncated only by the end of the file.
bool CKrFileScanner::IsCut(uint64_t end) const
{
    return end > m_length && (m_lists.back().isOpen || end <= m_lists.back().claimedEnd);
}

// The assumed end of a chunk or list: by its own size, unless that leads out of the list around it to a
// position where nothing begins.
uint64_t CKrFileScanner::ResolveEnd(const SKrChunkGuess& guess)
{
    const uint64_t end = ClaimedEnd(guess);
    if (end <= Top().end)
        return ProvenEnd(guess);
    if (end > Top().claimedEnd || end > m_length)
        ReportOverrun(guess, end, IsCut(end));
    const bool leadsOn = end <= m_length && (end == m_length || m_finder.IsAt(end, kAviChunks) ||
                                             m_finder.IsAt(RoundUpToEven(end), kAviChunks));
    if (!leadsOn)
        return guess.IsList() || IsCut(end) ? Top().end
                                            : m_finder.FindNext(m_position + kChunkHeaderSize, Top().end);
    ExtendLists(end);
    return end;
}

// Whether a chunk, a list or zeros begin where another chunk ends.
bool CKrFileScanner::LeadsOn(uint64_t end)
{
    constexpr GuessSet kFollowers = kAviChunks | GuessesOf(EKrGuess::Zeros, EKrGuess::End);
    return RoundUpToEven(end) >= Top().end || m_finder.IsAt(end, kFollowers) ||
           m_finder.IsAt(RoundUpToEven(end), kFollowers);
}

// Whether chunks follow each other from a position to beyond another one, or for long.
bool CKrFileScanner::IsRow(uint64_t position, uint64_t end)
{
    constexpr int kLongRow = 16;
    for (int chunks = 0; chunks < kLongRow && position < end; ++chunks)
    {
        const SKrChunkGuess guess = m_finder.At(position, Top().end);
        const uint64_t dataEnd = position + kChunkHeaderSize + guess.size;
        if (!guess.IsIn(kDataOrIndex) || dataEnd > Top().end)
            return false;
        const auto next = m_finder.FindFollower(dataEnd, guess.size, Top().end, kAviChunks);
        if (RoundUpToEven(dataEnd) >= Top().end)
            return true;
        if (!next || !m_finder.At(*next, Top().end).IsIn(kAviChunks))
            return false;
        position = *next;
    }
    return true;
}

// The end of a data chunk inside its list: by its size, unless nothing begins there and whole chunks are
// inside it.
uint64_t CKrFileScanner::ProvenEnd(const SKrChunkGuess& guess)
{
    constexpr int kMostTries = 8;
    const uint64_t end = ClaimedEnd(guess);
    if (!guess.IsIn(GuessesOf(EKrGuess::Data)) || LeadsOn(end))
        return end;
    // No further than needed, so that all searches together are linear; without close ones the finder sees to
    // that.
    const uint64_t searched =
        m_rules.search.closely != 0 ? std::min(Top().end, end + guess.size + kListHeaderSize) : m_length;
    uint64_t inner = m_position + kChunkHeaderSize;
    for (int tries = 0; tries < kMostTries; ++tries)
    {
        inner = m_finder.FindNext(inner, searched);
        if (inner >= end)
            break;
        if (!IsRow(inner, end))
            continue;
        m_listener.OnWrongSize({guess, m_position, inner});
        return inner;
    }
    return end;
}

void CKrFileScanner::ExtendLists(uint64_t end)
{
    for (size_t level = 1; level < m_lists.size(); ++level)
    {
        SKrScannedList& list = m_lists[level];
        if (list.end >= end)
            continue;
        list.end = list.claimedEnd = m_lists[level - 1].end;
        list.isOpen = true;
    }
}

// A list with a wrong size ends at the first thing that belongs to a list around it instead.
void CKrFileScanner::CloseOpenLists(uint32_t places)
{
    const auto isPlace = [places](const SKrScannedList& list)
    {
        return (places & ListBit(list.kind)) != 0;
    };
    if (std::ranges::none_of(m_lists, isPlace))
        return;
    while (Top().isOpen && !isPlace(Top()) && m_lists.size() > 2)
        LeaveList(m_position);
}

void CKrFileScanner::MoveTo(uint64_t position, bool isOddChunk)
{
    m_position = position;
    LeaveEndedLists();
    if ((m_position % 2 != 0 || isOddChunk) && m_position < m_length)
        Align(isOddChunk);
}

// Skips the padding byte. After a chunk without one the next chunks start at odd positions, and some writers
// pad by size, others by position: the bytes there decide.
void CKrFileScanner::Align(bool isOddChunk)
{
    const uint64_t end = Top().end;
    const bool isOddPosition = m_position % 2 != 0;
    const SKrChunkGuess padded = m_finder.At(m_position + 1, end);
    const SKrChunkGuess unpadded = m_finder.At(m_position, end);
    bool isPadded = isOddChunk && isOddPosition;
    if (padded.IsIn(kAviChunks) != unpadded.IsIn(kAviChunks))
        isPadded = padded.IsIn(kAviChunks);
    else if (padded.IsIn(m_rules.chunks) != unpadded.IsIn(m_rules.chunks))
        isPadded = padded.IsIn(m_rules.chunks);
    if (isOddPosition && m_position + 1 == end)
        isPadded = true;
    if (isPadded)
        m_listener.OnPadding(m_position++);
    else if (isOddChunk && isOddPosition)
        m_listener.OnMissingPadding(m_position, unpadded.id);
}

bool CKrFileScanner::TakeByChunks(const SKrChunkGuess& guess)
{
    const uint64_t end = ClaimedEnd(guess);
    if (end > m_length)
    {
        // The end of the file truncates only the last chunk. One before others has a wrong size.
        if (!guess.IsIn(kDataOrIndex) ||
            m_finder.FindNext(m_position + kChunkHeaderSize - 1, m_length) != m_length)
            return false;
        ReportOverrun(guess, m_length, true);
        Report(guess, m_length);
        m_position = m_length;
        return true;
    }
    if (end > Top().end)
    {
        if (!m_finder.FindFollower(end, guess.size, m_length, m_rules.search.followers))
            return false;
        ReportOverrun(guess, end, false);
    }
    else if (const uint64_t inner = ProvenEnd(guess); inner != end)
    {
        Report(guess, inner);
        m_position = inner;
        return true;
    }
    Report(guess, end);
    m_position = PositionAfter(end, guess.size);
    return true;
}

// Chunks of odd size end with a padding byte, or without one as our own files do.
uint64_t CKrFileScanner::PositionAfter(uint64_t end, uint32_t size)
{
    const bool hasPadding =
        size % 2 != 0 && (m_finder.IsAt(end + 1, kStrong) || !m_finder.IsAt(end, kStrong));
    return std::min(m_length, hasPadding ? end + 1 : end);
}

// A chunk with an unknown id can be a list with a damaged id. Zeros after an index are no sign of damage, but
// its last entry before them resembles a chunk.
void CKrFileScanner::TakeByFollowers(const SKrChunkGuess& guess)
{
    const uint64_t end = ClaimedEnd(guess);
    if (end <= m_length && !guess.IsIn(kAnyLetters))
    {
        const bool mayEndInZeros = m_finder.IsOldIndex(guess, m_position);
        const GuessSet followers = ~kNoChunk | (mayEndInZeros ? GuessesOf(EKrGuess::Zeros) : 0);
        if (const auto next = m_finder.FindFollower(end, guess.size, m_length, followers))
        {
            Report(guess, end);
            m_position = *next;
            return;
        }
    }
    TakeDoubtful(guess);
}

// The bytes after the chunk do not confirm its size. It is accepted unless another chunk starts inside it: a
// whole chunk can also precede garbage. A size of 0 then counts as damaged.
void CKrFileScanner::TakeDoubtful(const SKrChunkGuess& guess)
{
    const uint64_t end = ClaimedEnd(guess);
    const uint64_t found = m_finder.FindNext(m_position + kChunkHeaderSize - 1, m_length);
    if (end <= m_length && found >= end)
    {
        const GuessSet followers = ~kNoChunk | kAnyLetters | GuessesOf(EKrGuess::Zeros);
        const auto next = m_finder.FindFollower(end, guess.size, m_length, followers);
        if (next || (guess.size != 0 && !guess.IsIn(kAnyLetters)))
        {
            Report(guess, end);
            m_position = next.value_or(std::min(found, end + guess.size % 2));
            return;
        }
    }
    if (found == m_length && guess.kind == EKrGuess::Index)
    {
        m_position = m_length; // a truncated index: no stream loses anything
        return;
    }
    m_listener.OnLostChunk(guess);
    PassGap(found);
}
} // namespace KrTool

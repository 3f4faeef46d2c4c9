#include "tools/avi/KrChunkFinder.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrProgress.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kSearchedAtOnce = 512; // at least
constexpr uint32_t kEntryFlags = 0x113; // of 'idx1': list, first and last part, key frame, without time

constexpr GuessSet kOfStream = GuessesOf(EKrGuess::Data, EKrGuess::OtherData);
} // namespace

CKrChunkFinder::CKrChunkFinder(const CKrByteSource& file, const SKrSearchRules& rules, CKrProgress& progress)
    : m_length(file.Length()), m_rules(rules), m_progress(progress), m_headers(file), m_searched(file)
{
}

SKrChunkGuess CKrChunkFinder::At(uint64_t position, uint64_t end)
{
    return GuessChunk(m_headers.At(position, kListHeaderSize), position < end ? end - position : 0);
}

std::array<uint64_t, 2> CKrChunkFinder::NextPlaces(uint64_t dataEnd, uint32_t size) const
{
    switch (m_rules.padding)
    {
    case EKrPadding::ByPosition:
        return {RoundUpToEven(dataEnd), dataEnd};
    case EKrPadding::BySize:
        return {dataEnd, dataEnd + size % 2};
    case EKrPadding::Either:
        break;
    }
    return {dataEnd + size % 2, dataEnd + 1 - size % 2};
}

std::optional<uint64_t> CKrChunkFinder::FindFollower(uint64_t dataEnd, uint32_t size, uint64_t end,
                                                     GuessSet followers)
{
    const std::array<uint64_t, 2> places = NextPlaces(dataEnd, size);
    for (const uint64_t place : places)
    {
        if (At(place, end).IsIn(followers))
            return place;
    }
    const std::span<const uint8_t> byte = m_headers.At(places[0], 1);
    const bool isZero = places[0] < end && !byte.empty() && byte[0] == 0;
    return m_rules.zeroByteFollows && isZero ? std::optional(places[0]) : std::nullopt;
}

bool CKrChunkFinder::IsListProven(const SKrChunkGuess& list, uint64_t position, uint64_t end)
{
    if (!list.IsIn(m_rules.lists))
        return false;
    switch (m_rules.listProof)
    {
    case EKrListProof::Size:
        return position + kChunkHeaderSize + list.size <= end;
    case EKrListProof::FirstChunk:
        return At(position + kListHeaderSize, end).IsIn(m_rules.followers);
    case EKrListProof::Type:
        break;
    }
    return true;
}

bool CKrChunkFinder::IsChunkProven(const SKrChunkGuess& chunk, uint64_t position, uint64_t end)
{
    const uint64_t dataEnd = position + kChunkHeaderSize + chunk.size;
    if (!chunk.IsIn(m_rules.chunks) || dataEnd > end || (m_rules.doubtsEmptyChunks && chunk.size == 0))
        return false;
    return FindFollower(dataEnd, chunk.size, end, m_rules.followers).has_value();
}

bool CKrChunkFinder::IsConfirmed(uint64_t position, uint64_t end)
{
    const SKrChunkGuess guess = At(position, end);
    const bool isProven =
        guess.IsList() ? IsListProven(guess, position, end) : IsChunkProven(guess, position, end);
    return isProven && !(m_rules.doubtsIndexEntries && IsIndexEntry(guess, position));
}

// Whether an apparent chunk is an entry of an 'idx1': the next entry's id is inside the chunk; or it is the
// last entry, after another one and not after a chunk, and its size can be flags.
bool CKrChunkFinder::IsIndexEntry(const SKrChunkGuess& chunk, uint64_t position)
{
    constexpr size_t kEntrySize = SKrOldIndexEntry::kEncodedSize;
    constexpr size_t kIdSize = 4;
    const std::span<const uint8_t> bytes = m_headers.At(position, kEntrySize + kIdSize);
    if (bytes.size() == kEntrySize + kIdSize && chunk.size + kChunkHeaderSize >= bytes.size() &&
        KrTool::FindId(bytes.subspan(kEntrySize), 0).found)
        return true;
    if (position < kEntrySize || (chunk.size & ~kEntryFlags) != 0)
        return false;
    const SKrChunkGuess entry = At(position - kEntrySize);
    const bool isChunk = entry.size + entry.size % 2 == kEntrySize - kChunkHeaderSize;
    return entry.IsIn(kOfStream) && !isChunk && !IsAt(position - kChunkHeaderSize, kOfStream);
}

bool CKrChunkFinder::IsOldIndex(const SKrChunkGuess& chunk, uint64_t position)
{
    constexpr size_t kEntrySize = SKrOldIndexEntry::kEncodedSize;
    if (chunk.id != kFccIdx1 || chunk.size == 0 || chunk.size % kEntrySize != 0)
        return false;
    const uint64_t first = position + kChunkHeaderSize;
    return IsAt(first + chunk.size - kEntrySize,
                kOfStream | GuessesOf(EKrGuess::Printable, EKrGuess::Header)) &&
           !IsAt(first, GuessesOf(EKrGuess::Nothing, EKrGuess::CutHeader));
}

uint64_t CKrChunkFinder::CountZeros(uint64_t from, uint64_t end)
{
    uint64_t position = from;
    while (position < end)
    {
        std::span<const uint8_t> bytes = m_searched.From(position, kSearchedAtOnce);
        bytes = bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), end - position)));
        const auto other = std::ranges::find_if(bytes, [](uint8_t byte) { return byte != 0; });
        position += static_cast<uint64_t>(other - bytes.begin());
        if (other != bytes.end() || bytes.empty())
            break;
        m_progress.Advance(position);
    }
    return position - from;
}

uint64_t CKrChunkFinder::FindNext(uint64_t from, uint64_t end)
{
    const uint64_t start = from + (m_rules.acceptsAfterZeros ? CountZeros(from, end) : 0);
    if (start > from && At(start, end).IsIn(m_rules.followers))
        return start;
    uint64_t position = std::max(start, from + 1);
    for (const uint64_t stop = std::min(end, position + m_rules.closely); position < stop; ++position)
    {
        if (IsConfirmed(position, end))
            return position;
    }
    if (m_rules.closely != 0)
        return FindId(position, end);
    if (position < m_searchedFrom || position > m_found)
    {
        m_found = FindId(position, end);
        m_searchedFrom = position;
    }
    return m_found;
}

uint64_t CKrChunkFinder::FindId(uint64_t position, uint64_t end)
{
    while (position < end)
    {
        m_progress.Advance(position);
        const std::span<const uint8_t> bytes = m_searched.From(position, kSearchedAtOnce);
        SKrIdSearch search = KrTool::FindId(bytes, 0);
        for (; search.found; search = KrTool::FindId(bytes, search.place + 1))
        {
            if (position + search.place >= end)
                return end;
            if (IsConfirmed(position + search.place, end))
                return position + search.place;
        }
        if (position + bytes.size() >= m_length)
            break;
        position += std::max<size_t>(search.place, 1);
    }
    return end;
}
} // namespace KrTool

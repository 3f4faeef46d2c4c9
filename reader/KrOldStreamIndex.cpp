#include "reader/KrOldStreamIndex.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrHostArray.h"
#include "reader/KrIndexBlock.h"
#include "reader/KrOldIndexBase.h"
#include "reader/KrStreamEntries.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace
{
constexpr size_t kEntrySize = SKrOldIndexEntry::kEncodedSize;
constexpr size_t kPieceSize = kOldIndexPiece * kEntrySize;

// The two characters with which the chunk ids of a stream begin.
uint32_t NumberCharacters(uint32_t stream)
{
    return ('0' + stream / 10) | ('0' + stream % 10) << 8;
}

// 'ix' after the number: an index chunk in the style of some writers.
bool IsEntryOf(uint32_t characters, uint32_t chunkId)
{
    return (chunkId & 0xFFFF) == characters && KrStreamNumber(chunkId) != kNotAStream;
}

uint32_t CountIn(std::span<const uint8_t> piece, uint32_t characters)
{
    uint32_t count = 0;
    for (size_t at = 0; at < piece.size(); at += kEntrySize)
        count += IsEntryOf(characters, GetLe32(&piece[at])) ? 1 : 0;
    return count;
}

// Adds the entries of a stream, but for the first `left` ones.
void AddEntries(std::span<const uint8_t> bytes, uint32_t characters, uint64_t base, uint64_t& left,
                CKrStreamEntries& entries)
{
    for (size_t at = 0; at < bytes.size(); at += kEntrySize)
    {
        if (!IsEntryOf(characters, GetLe32(&bytes[at])))
            continue;
        if (left > 0)
        {
            --left;
            continue;
        }
        const SKrOldIndexEntry entry = DecodeOldIndexEntry(&bytes[at]);
        entries.Add(base + entry.offset + kChunkHeaderSize, entry.size, (entry.flags & kAviifKeyFrame) != 0);
    }
}
} // namespace

bool CKrOldStreamIndex::Read(IKrFile& file, uint64_t fileSize, const KrSegments& segments, size_t streamCount)
{
    m_firstIds.assign(streamCount, 0);
    if (streamCount == 0)
        return true;
    size_t pieces = 0;
    for (const SKrSegment& segment : segments)
    {
        const SKrRiffChunkInfo& idx1 = segment.idx1;
        const uint64_t left = fileSize - std::min(fileSize, idx1.offset);
        const uint64_t entries = std::min<uint64_t>(idx1.cksize, left) / kEntrySize;
        if (idx1.offset == 0 || entries == 0)
            continue;
        SBlock block = {idx1.offset, entries, 0, pieces, 0};
        block.pieces = static_cast<size_t>((entries + kOldIndexPiece - 1) / kOldIndexPiece);
        if (!FindOldIndexBase(file, fileSize, segment, entries, block.base))
            return false;
        pieces += block.pieces;
        m_blocks.push_back(block);
    }
    return FindFirstIds(file, fileSize);
}

// Reads as far as it takes to see each stream; that is all of 'idx1' where a stream is not in it.
bool CKrOldStreamIndex::FindFirstIds(IKrFile& file, uint64_t fileSize)
{
    size_t missing = m_firstIds.size();
    CKrIndexBlock entries(file, fileSize, kPieceSize);
    for (const SBlock& block : m_blocks)
    {
        entries.Start(block.position, block.entries, kEntrySize);
        for (auto slice = entries.Next(); missing > 0 && (!slice || !slice->empty()); slice = entries.Next())
        {
            if (!slice)
                return false;
            for (size_t at = 0; at < slice->size(); at += kEntrySize)
            {
                const uint32_t id = GetLe32(slice->data() + at);
                const uint32_t stream = KrStreamNumber(id);
                if (stream >= m_firstIds.size() || m_firstIds[stream] != 0)
                    continue;
                m_firstIds[stream] = id;
                --missing;
            }
        }
    }
    return true;
}

// Where all of 'idx1' is read at once, `whole` has its bytes: they stay until `entries` reads something else.
bool CKrOldStreamIndex::CountEntries(CKrIndexBlock& entries, uint32_t stream, KrOldIndexPieces& pieces,
                                     std::span<const uint8_t>& whole) const
{
    const uint32_t characters = NumberCharacters(stream);
    KrOldIndexPieces counted;
    for (const SBlock& block : m_blocks)
    {
        entries.Start(block.position, block.entries, kEntrySize);
        for (auto slice = entries.Next(); !slice || !slice->empty(); slice = entries.Next())
        {
            if (!slice)
                return false;
            if (m_blocks.size() == 1 && entries.IsOneSlice())
                whole = *slice;
            for (size_t from = 0; from < slice->size(); from += kPieceSize)
                counted.push_back(
                    CountIn(slice->subspan(from, std::min(slice->size() - from, kPieceSize)), characters));
        }
        counted.resize(block.firstPiece + block.pieces); // a file that is shorter than it was
    }
    pieces = std::move(counted);
    return true;
}

bool CKrOldStreamIndex::Load(IKrFile& file, uint64_t fileSize, uint32_t stream, uint64_t first,
                             KrOldIndexPieces& pieces, CArray<SKrStreamIndexEntry>& out,
                             uint32_t& dropped) const
{
    CKrIndexBlock block(file, fileSize, kLargestIndexSlice);
    std::span<const uint8_t> whole;
    if (pieces.empty() && !CountEntries(block, stream, pieces, whole))
        return false;
    const uint64_t all = std::accumulate(pieces.begin(), pieces.end(), uint64_t{0});
    CKrStreamEntries entries(out, fileSize);
    if (!entries.Begin(all - std::min(first, all)))
        return false;
    uint64_t left = first; // entries of the stream to pass over
    for (const SBlock& idx1 : m_blocks)
    {
        size_t piece = 0;
        for (; piece < idx1.pieces && left >= pieces[idx1.firstPiece + piece]; ++piece)
            left -= pieces[idx1.firstPiece + piece];
        if (piece == idx1.pieces || entries.IsFull())
            continue;
        const uint64_t from = uint64_t{piece} * kOldIndexPiece;
        if (!whole.empty())
        {
            AddEntries(whole.subspan(static_cast<size_t>(from) * kEntrySize), NumberCharacters(stream),
                       idx1.base, left, entries);
            continue;
        }
        block.Start(idx1.position + from * kEntrySize, idx1.entries - from, kEntrySize);
        for (auto slice = block.Next(); !slice || !slice->empty(); slice = block.Next())
        {
            if (!slice)
                return false;
            AddEntries(*slice, NumberCharacters(stream), idx1.base, left, entries);
        }
    }
    dropped = entries.Finish();
    return true;
}

#include "reader/KrOldStreamIndex.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrFileCursor.h"
#include "reader/KrHostArray.h"
#include "reader/KrIndexBlock.h"
#include "reader/KrOldIndexBase.h"
#include "reader/KrStreamEntries.h"

#include <algorithm>

namespace
{
// The entries of `slice` that belong to a stream.
template <class Take>
void ForEachOf(uint32_t stream, std::span<const uint8_t> slice, Take&& take)
{
    for (size_t at = 0; at < slice.size(); at += SKrOldIndexEntry::kEncodedSize)
    {
        if (KrStreamNumber(GetLe32(&slice[at])) == stream)
            take(DecodeOldIndexEntry(&slice[at]));
    }
}
} // namespace

bool CKrOldStreamIndex::Read(IKrFile& file, uint64_t fileSize, const KrSegments& segments, size_t streamCount)
{
    m_streams.assign(streamCount, SStream());
    if (streamCount == 0)
        return true;
    size_t pieces = 0;
    for (const SKrSegment& segment : segments)
    {
        const SKrRiffChunkInfo& idx1 = segment.idx1;
        const uint64_t left = fileSize - std::min(fileSize, idx1.offset);
        const uint64_t entries = std::min<uint64_t>(idx1.cksize, left) / SKrOldIndexEntry::kEncodedSize;
        if (idx1.offset == 0 || entries == 0)
            continue;
        SBlock block = {idx1.offset, entries, 0, pieces};
        if (!FindOldIndexBase(file, fileSize, segment, entries, block.base) ||
            !CountEntries(file, fileSize, block))
            return false;
        pieces = m_counts.size() / streamCount;
        m_blocks.push_back(block);
    }
    return true;
}

bool CKrOldStreamIndex::CountEntries(IKrFile& file, uint64_t fileSize, const SBlock& block)
{
    CKrIndexBlock entries(file, fileSize, kLargestIndexSlice);
    entries.Start(block.position, block.entries, SKrOldIndexEntry::kEncodedSize);
    const size_t width = m_streams.size();
    for (;;)
    {
        const auto slice = entries.Next();
        if (!slice)
            return false;
        if (slice->empty())
            return true;
        // A slice holds whole pieces, but for the last one of the block.
        for (size_t from = 0; from < slice->size(); from += kOldIndexPiece * SKrOldIndexEntry::kEncodedSize)
        {
            uint32_t counts[kStreamLimit] = {};
            const auto piece = slice->subspan(
                from, std::min(slice->size() - from, kOldIndexPiece * SKrOldIndexEntry::kEncodedSize));
            for (size_t at = 0; at < piece.size(); at += SKrOldIndexEntry::kEncodedSize)
            {
                const uint32_t id = GetLe32(&piece[at]);
                const uint32_t stream = KrStreamNumber(id);
                if (stream >= width)
                    continue;
                ++counts[stream];
                if (m_streams[stream].firstChunkId == 0)
                    m_streams[stream].firstChunkId = id;
            }
            m_counts.insert(m_counts.end(), counts, counts + width);
            for (size_t stream = 0; stream < width; ++stream)
                m_streams[stream].entries += counts[stream];
        }
    }
}

uint64_t CKrOldStreamIndex::Count(size_t piece, uint32_t stream) const
{
    return m_counts[piece * m_streams.size() + stream];
}

bool CKrOldStreamIndex::Load(IKrFile& file, uint64_t fileSize, uint32_t stream, uint64_t first,
                             CArray<SKrStreamIndexEntry>& out, uint32_t& dropped) const
{
    const uint64_t all = m_streams[stream].entries;
    CKrStreamEntries entries(out, fileSize);
    if (!entries.Begin(all - std::min(first, all)))
        return false;
    uint64_t left = first; // entries of the stream to pass over
    for (const SBlock& block : m_blocks)
    {
        if (entries.IsFull())
            break;
        const size_t pieces = static_cast<size_t>((block.entries + kOldIndexPiece - 1) / kOldIndexPiece);
        size_t piece = 0;
        for (; piece < pieces && left >= Count(block.firstPiece + piece, stream); ++piece)
            left -= Count(block.firstPiece + piece, stream);
        if (piece == pieces)
            continue;
        const uint64_t from = uint64_t{piece} * kOldIndexPiece;
        CKrIndexBlock rest(file, fileSize, kLargestIndexSlice);
        rest.Start(block.position + from * SKrOldIndexEntry::kEncodedSize, block.entries - from,
                   SKrOldIndexEntry::kEncodedSize);
        for (auto slice = rest.Next(); !slice || !slice->empty(); slice = rest.Next())
        {
            if (!slice)
                return false;
            ForEachOf(stream, *slice,
                      [&](const SKrOldIndexEntry& entry)
                      {
                          if (left > 0)
                              --left;
                          else
                              entries.Add(block.base + entry.offset + kChunkHeaderSize, entry.size,
                                          (entry.flags & kAviifKeyFrame) != 0);
                      });
        }
    }
    dropped = entries.Finish();
    return true;
}

#include "reader/KrFirstChunks.h"

#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "reader/KrIndexDirectory.h"
#include "reader/KrOldStreamIndex.h"
#include "reader/KrStreamEntries.h"

#include <algorithm>

namespace
{
// The id of the chunk that the first entry of a stream's 'indx' leads to; 0 when there is none.
uint32_t FirstIndexedId(IKrFile& file, uint64_t fileSize, const SKrStreamList& stream, uint32_t number)
{
    CKrIndexDirectory directory;
    if (stream.indexPosition == 0 || !directory.Read(file, fileSize, stream.indexPosition, 1) ||
        directory.Chunks().empty())
        return 0;
    const SKrIndexChunk& chunk = directory.Chunks().front();
    uint8_t bytes[SKrWideIndexEntry::kEncodedSize] = {};
    if (file.ReadAt(chunk.position + SKrStdIndexHead::kEncodedSize, bytes, chunk.entrySize).bytes !=
        chunk.entrySize)
        return 0;
    const SKrStreamIndexEntry entry = DecodeIndexEntry(chunk, bytes);
    if (!IsPayloadInside(entry.position, entry.size, fileSize) ||
        file.ReadAt(entry.position - kChunkHeaderSize, bytes, 4).bytes != 4)
        return 0;
    const uint32_t id = GetLe32(bytes);
    return KrStreamNumber(id) == number ? id : 0;
}

// Walks 'movi' of the first segment, 'rec ' lists included, until every stream has its id.
void WalkData(IKrFile& file, uint64_t fileSize, std::vector<uint32_t>& ids)
{
    CKrFileCursor cursor;
    cursor.Attach(file, fileSize);
    auto segment = ReadFirstRiff(cursor);
    if (!segment)
        return;
    ReadSegmentParts(cursor, *segment);
    if (segment->movi.offset == 0)
        return;
    cursor.SeekTo(segment->movi.offset + kListTypeSize);
    auto missing = std::ranges::count(ids, 0u);
    for (int headers = 0; headers < kMostHeadersForIds && missing > 0; ++headers)
    {
        SKrRiffChunkInfo chunk = {};
        if (!FindChunk(cursor, chunk, &segment->movi, EKrLookupMode::AnyChunk, kNoZeroLimit))
            return;
        if (chunk.ckid == kFccList && chunk.fccType == kFccRec)
            continue; // the cursor stands at its first chunk
        const uint32_t number = KrStreamNumber(chunk.ckid);
        if (number < ids.size() && ids[number] == 0)
        {
            ids[number] = chunk.ckid;
            --missing;
        }
        SeekPast(cursor, chunk);
    }
}
} // namespace

std::vector<uint32_t> FindFirstChunkIds(IKrFile& file, uint64_t fileSize, const KrStreamLists& streams,
                                        const CKrOldStreamIndex& oldIndex)
{
    std::vector<uint32_t> ids(streams.size());
    for (uint32_t number = 0; number < ids.size(); ++number)
    {
        ids[number] = oldIndex.FirstChunkId(number);
        if (ids[number] == 0)
            ids[number] = FirstIndexedId(file, fileSize, streams[number], number);
    }
    if (std::ranges::find(ids, 0u) != ids.end())
        WalkData(file, fileSize, ids);
    return ids;
}

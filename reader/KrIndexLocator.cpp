#include "reader/KrIndexLocator.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"

#include <algorithm>

namespace
{
// Index positions are kept in 32 bits and sought as signed distances, so that none at or past 2 GiB can be
// reached. One past 4 GiB must not wrap to a low position: it stays unreachable too.
uint32_t KeptIndexPosition(uint64_t position)
{
    return position <= kNotLocated ? static_cast<uint32_t>(position) : kNotLocated;
}

bool FindSuperIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, SKrLocatedIndex& index)
{
    SeekPast(cursor, headers.strf);
    SKrRiffChunkInfo indx = {};
    indx.ckid = kFccIndx;
    if (!FindChunk(cursor, indx, &headers.strl, EKrLookupMode::AnyChunk, kNoZeroLimit))
        return false;
    index.indexPosition = KeptIndexPosition(indx.offset - kChunkHeaderSize);
    return true;
}

bool FindMovi(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, SKrRiffChunkInfo& movi)
{
    SeekPast(cursor, headers.hdrl);
    movi = {};
    movi.fccType = kFccMovi;
    return FindChunk(cursor, movi, &headers.riff, EKrLookupMode::ListOnly, kNoZeroLimit);
}

bool FindFirstDataChunk(CKrFileCursor& cursor, const SKrRiffChunkInfo& movi,
                        std::span<const uint32_t> dataChunkIds, SKrLocatedIndex& index)
{
    for (;;)
    {
        SKrRiffChunkInfo chunk = {};
        if (!FindChunk(cursor, chunk, &movi, EKrLookupMode::AnyChunk, kNoZeroLimit))
            return false;
        if (std::ranges::find(dataChunkIds, chunk.ckid) != dataChunkIds.end())
        {
            index.firstChunkPosition = Low32(chunk.offset - kChunkHeaderSize);
            return true;
        }
        SeekPast(cursor, chunk);
    }
}

bool FindOldIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, const SKrRiffChunkInfo& movi,
                  SKrLocatedIndex& index)
{
    SeekPast(cursor, movi);
    SKrRiffChunkInfo idx1 = {};
    idx1.ckid = kFccIdx1;
    if (!FindChunk(cursor, idx1, &headers.riff, EKrLookupMode::AnyChunk, kNoZeroLimit))
        return false;
    index.indexPosition = KeptIndexPosition(idx1.offset);
    index.oldIndexEntries = idx1.cksize / SKrOldIndexEntry::kEncodedSize;
    return true;
}
} // namespace

EKrIndexFound LocateIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers,
                          std::span<const uint32_t> dataChunkIds, SKrLocatedIndex& index)
{
    if (FindSuperIndex(cursor, headers, index))
        return EKrIndexFound::OpenDml;
    SKrRiffChunkInfo movi = {};
    if (FindMovi(cursor, headers, movi) && FindFirstDataChunk(cursor, movi, dataChunkIds, index) &&
        FindOldIndex(cursor, headers, movi, index))
        return EKrIndexFound::Old;
    return EKrIndexFound::None;
}

void LocateVideoIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, uint32_t streamNumber,
                      SKrStreamState& state)
{
    state.videoIndex.streamNumber = streamNumber;
    if (streamNumber >= kDataStreamLimit)
        return;
    const uint32_t ids[] = {KrDataChunkId(streamNumber, EKrDataKind::CompressedVideo),
                            KrDataChunkId(streamNumber, EKrDataKind::UncompressedVideo)};
    const EKrIndexFound found = LocateIndex(cursor, headers, ids, state.videoIndex);
    state.openDmlIndex = found == EKrIndexFound::OpenDml;
    state.statistics.oldIndexPresent = found == EKrIndexFound::Old;
}

void LocateAudioIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, uint32_t streamNumber,
                      SKrLocatedIndex& index)
{
    index.streamNumber = streamNumber;
    if (streamNumber >= kDataStreamLimit)
        return;
    const uint32_t ids[] = {KrDataChunkId(streamNumber, EKrDataKind::Audio)};
    LocateIndex(cursor, headers, ids, index);
}

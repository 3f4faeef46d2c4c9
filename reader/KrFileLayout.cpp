#include "reader/KrFileLayout.h"

#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"

#include <algorithm>

namespace
{
// The next child of a container from the cursor's position on.
bool NextChild(CKrFileCursor& cursor, const SKrRiffChunkInfo& parent, SKrRiffChunkInfo& child)
{
    child = {};
    return FindChunk(cursor, child, &parent, EKrLookupMode::AnyChunk, kNoZeroLimit);
}

bool IsList(const SKrRiffChunkInfo& chunk, uint32_t type)
{
    return chunk.ckid == kFccList && chunk.fccType == type;
}

uint32_t BytesInFile(const CKrFileCursor& cursor, const SKrRiffChunkInfo& chunk)
{
    const uint64_t left = cursor.Size() - std::min(cursor.Size(), chunk.offset);
    return static_cast<uint32_t>(std::min<uint64_t>(chunk.cksize, left));
}

// A 'strh' of another size than the usual one is read as far as it goes.
void ReadStreamHeader(CKrFileCursor& cursor, const SKrRiffChunkInfo& strh, SKrStreamList& stream)
{
    uint8_t bytes[SKrStreamHeader::kWideEncodedSize] = {};
    cursor.SeekTo(strh.offset);
    const size_t got = cursor.Read(bytes, std::min<size_t>(strh.cksize, sizeof bytes));
    const bool wide = got == SKrStreamHeader::kWideEncodedSize;
    stream.headerPosition = strh.offset;
    static_cast<void>(DecodeStreamHeader({bytes, wide ? got : SKrStreamHeader::kEncodedSize}, stream.header));
}

SKrStreamList ReadStreamList(CKrFileCursor& cursor, const SKrRiffChunkInfo& strl)
{
    SKrStreamList stream;
    SKrRiffChunkInfo chunk;
    const auto isComplete = [&]
    {
        return stream.headerPosition != 0 && stream.formatPosition != 0 && stream.indexPosition != 0;
    };
    for (; !isComplete() && NextChild(cursor, strl, chunk); SeekPast(cursor, chunk))
    {
        if (chunk.ckid == kFccStrh && stream.headerPosition == 0)
        {
            ReadStreamHeader(cursor, chunk, stream);
        }
        else if (chunk.ckid == kFccStrf && stream.formatPosition == 0)
        {
            stream.formatPosition = chunk.offset;
            stream.formatSize = BytesInFile(cursor, chunk);
        }
        else if (chunk.ckid == kFccIndx && stream.indexPosition == 0)
        {
            stream.indexPosition = chunk.offset - kChunkHeaderSize;
            stream.indexSize = BytesInFile(cursor, chunk);
        }
    }
    return stream;
}
} // namespace

bool ExtendIfUnfinished(SKrRiffChunkInfo& container, uint64_t fileSize)
{
    if (!IsUnfinishedSize(container.cksize))
        return false;
    const uint64_t left = fileSize - std::min(fileSize, container.offset);
    container.cksize = static_cast<uint32_t>(std::min<uint64_t>(left, UINT32_MAX));
    return true;
}

std::optional<SKrSegment> ReadSegmentAt(CKrFileCursor& cursor, uint32_t formType)
{
    uint8_t bytes[kListHeaderSize];
    const uint64_t start = cursor.Position();
    if (cursor.Read(bytes, sizeof bytes) != sizeof bytes)
        return std::nullopt;
    const SKrChunkHeader header = DecodeChunkHeader(bytes);
    if (header.id != kFccRiff || header.firstData != formType)
        return std::nullopt;
    SKrSegment segment;
    segment.riff = {header.id, header.size, header.firstData, start + kChunkHeaderSize};
    segment.isUnfinished = ExtendIfUnfinished(segment.riff, cursor.Size());
    return segment;
}

std::optional<SKrSegment> ReadFirstRiff(CKrFileCursor& cursor)
{
    cursor.SeekTo(0);
    return ReadSegmentAt(cursor, kFccAvi);
}

std::optional<SKrMainHeader> ReadMainHeader(CKrFileCursor& cursor, const SKrRiffChunkInfo& hdrl)
{
    SKrRiffChunkInfo avih = {};
    avih.ckid = kFccAvih;
    cursor.SeekTo(hdrl.offset + kListTypeSize);
    if (!FindChunk(cursor, avih, &hdrl, EKrLookupMode::AnyChunk, kNoZeroLimit))
        return std::nullopt;
    uint8_t bytes[SKrMainHeader::kEncodedSize];
    CKrByteReader in({bytes, cursor.Read(bytes, sizeof bytes)});
    SKrMainHeader header;
    return Decode(in, header) ? std::optional(header) : std::nullopt;
}

std::optional<SKrRiffChunkInfo> FindHeaderList(CKrFileCursor& cursor, const SKrRiffChunkInfo& riff)
{
    SKrRiffChunkInfo chunk;
    cursor.SeekTo(kListHeaderSize);
    for (; NextChild(cursor, riff, chunk) && !IsList(chunk, kFccMovi); SeekPast(cursor, chunk))
    {
        if (IsList(chunk, kFccHdrl))
            return chunk;
    }
    return std::nullopt;
}

KrStreamLists ReadStreamLists(CKrFileCursor& cursor, const SKrRiffChunkInfo& hdrl)
{
    KrStreamLists streams;
    SKrRiffChunkInfo chunk;
    cursor.SeekTo(hdrl.offset + kListTypeSize);
    for (; streams.size() < kStreamLimit && NextChild(cursor, hdrl, chunk); SeekPast(cursor, chunk))
    {
        if (IsList(chunk, kFccStrl))
            streams.push_back(ReadStreamList(cursor, chunk));
    }
    return streams;
}

void ReadSegmentParts(CKrFileCursor& cursor, SKrSegment& segment)
{
    SKrRiffChunkInfo chunk;
    cursor.SeekTo(segment.riff.offset + kListTypeSize);
    for (; segment.idx1.offset == 0 && NextChild(cursor, segment.riff, chunk); SeekPast(cursor, chunk))
    {
        if (IsList(chunk, kFccMovi) && segment.movi.offset == 0)
        {
            segment.isMoviUnfinished = ExtendIfUnfinished(chunk, cursor.Size());
            segment.movi = chunk;
        }
        else if (chunk.ckid == kFccIdx1)
        {
            segment.idx1 = chunk;
        }
    }
}

KrSegments ReadSegments(CKrFileCursor& cursor)
{
    KrSegments segments;
    std::optional<SKrSegment> next = ReadFirstRiff(cursor);
    while (next && segments.size() < kMostSegments)
    {
        SKrSegment& segment = segments.emplace_back(*next);
        ReadSegmentParts(cursor, segment);
        next.reset();
        if (const auto riff = ReadSegment(cursor, kFccAvix, &segment.riff))
        {
            cursor.SeekTo(riff->offset - kChunkHeaderSize);
            next = ReadSegmentAt(cursor, kFccAvix);
        }
    }
    return segments;
}

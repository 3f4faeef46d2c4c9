#include "reader/KrFileLayout.h"

#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"

#include <algorithm>

namespace
{
constexpr uint32_t kUnknownSize = 0xFFFFFFFF;

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

void ExtendIfUnfinished(SKrRiffChunkInfo& container, uint64_t fileSize)
{
    if (container.cksize != 0 && container.cksize != kUnknownSize)
        return;
    const uint64_t left = fileSize - std::min(fileSize, container.offset);
    container.cksize = static_cast<uint32_t>(std::min<uint64_t>(left, kUnknownSize));
}

std::optional<SKrRiffChunkInfo> ReadFirstRiff(CKrFileCursor& cursor)
{
    uint8_t bytes[kListHeaderSize];
    cursor.SeekTo(0);
    if (cursor.Read(bytes, sizeof bytes) != sizeof bytes)
        return std::nullopt;
    const SKrChunkHeader header = DecodeChunkHeader(bytes);
    if (header.id != kFccRiff || header.firstData != kFccAvi)
        return std::nullopt;
    SKrRiffChunkInfo riff = {header.id, header.size, header.firstData, kChunkHeaderSize};
    ExtendIfUnfinished(riff, cursor.Size());
    return riff;
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
            ExtendIfUnfinished(chunk, cursor.Size());
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
    std::optional<SKrRiffChunkInfo> riff = ReadFirstRiff(cursor);
    while (riff && segments.size() < kMostSegments)
    {
        SKrSegment& segment = segments.emplace_back();
        segment.riff = *riff;
        ReadSegmentParts(cursor, segment);
        riff = ReadSegment(cursor, kFccAvix, &segment.riff);
        if (riff)
            ExtendIfUnfinished(*riff, cursor.Size());
    }
    return segments;
}

#include "reader/KrChunkLookup.h"

#include "format/KrChunkHeader.h"
#include "reader/KrFileCursor.h"

#include <algorithm>
#include <bit>

namespace
{
bool LiesInside(const SKrRiffChunkInfo& parent, uint64_t position)
{
    return position >= parent.offset && position - parent.offset < parent.cksize;
}

size_t ShortestHeader(EKrLookupMode mode)
{
    return mode == EKrLookupMode::AnyChunk ? kChunkHeaderSize : kListHeaderSize;
}

bool Matches(const SKrChunkHeader& header, const SKrRiffChunkInfo& wanted, EKrLookupMode mode)
{
    if (mode == EKrLookupMode::RiffOnly && header.id != kFccRiff)
        return false;
    if (mode == EKrLookupMode::ListOnly && header.id != kFccList)
        return false;
    return (wanted.ckid == 0 || wanted.ckid == header.id) &&
           (wanted.fccType == 0 || wanted.fccType == header.firstData);
}

void TakeMatch(CKrFileCursor& cursor, uint64_t start, const SKrChunkHeader& header, SKrRiffChunkInfo& record)
{
    const bool container = IsContainer(header.id);
    record.ckid = header.id;
    record.cksize = header.size;
    record.fccType = container ? header.firstData : 0;
    record.offset = start + kChunkHeaderSize;
    if (!container)
        cursor.SeekTo(record.offset);
}

void Skip(CKrFileCursor& cursor, uint64_t start, const SKrChunkHeader& header)
{
    cursor.SeekTo(header.size != 0 ? RoundUpToEven(start + kChunkHeaderSize + header.size) : start + 1);
}

// Continues after a header at `start` whose id was four zero bytes. Stepping by one byte would find nothing
// before the first header that begins with three zeros or fewer, so the cursor jumps there. A lookup that
// counts empty headers must see each of them.
void StepOverZeros(CKrFileCursor& cursor, uint64_t start, const SKrRiffChunkInfo* parent, EKrLookupMode mode,
                   int zeroLimit)
{
    if (zeroLimit >= 1)
    {
        cursor.SeekTo(start + 1);
        return;
    }
    const uint64_t lastStart = parent == nullptr ? cursor.Size() : parent->offset + parent->cksize;
    const uint64_t next = cursor.FindNonZero(start + 4, lastStart + 3) - 3;
    const uint64_t firstWithoutRoom = cursor.Size() - ShortestHeader(mode) + 1; // a header there is cut
    cursor.SeekTo(std::min(next, firstWithoutRoom));
}

uint64_t LeadingZeroBytes(uint32_t id)
{
    return static_cast<uint64_t>(std::countr_zero(id)) / 8;
}
} // namespace

bool FindChunk(CKrFileCursor& cursor, SKrRiffChunkInfo& record, const SKrRiffChunkInfo* parent,
               EKrLookupMode mode, int zeroLimit)
{
    if (cursor.Position() + kChunkHeaderSize > cursor.Size())
        return false;
    const size_t headerLength =
        static_cast<size_t>(std::min<uint64_t>(cursor.Size() - cursor.Position(), kListHeaderSize));

    int emptyHeaders = 0;
    bool resynchronising = false;
    for (;;)
    {
        const uint64_t start = cursor.Position();
        if (parent != nullptr && !LiesInside(*parent, start))
            return false;
        const std::span<const uint8_t> bytes = cursor.View(headerLength);
        if (bytes.size() < ShortestHeader(mode))
            return false;

        const SKrChunkHeader header = DecodeChunkHeader(bytes);
        const bool empty = header.id == 0 || header.size == 0;
        emptyHeaders = empty && zeroLimit >= 1 ? emptyHeaders + 1 : 0;
        if (zeroLimit >= 1 && emptyHeaders >= zeroLimit)
            return false;

        if (header.id == 0)
        {
            resynchronising = mode == EKrLookupMode::AnyChunk;
            StepOverZeros(cursor, start, parent, mode, zeroLimit);
        }
        else if (resynchronising)
        {
            resynchronising = false;
            cursor.SeekTo(start + LeadingZeroBytes(header.id));
        }
        else if (Matches(header, record, mode))
        {
            TakeMatch(cursor, start, header, record);
            return true;
        }
        else
        {
            Skip(cursor, start, header);
        }
    }
}

void SeekPast(CKrFileCursor& cursor, const SKrRiffChunkInfo& chunk)
{
    cursor.SeekTo(PositionAfter(chunk));
}

std::optional<SKrRiffChunkInfo> ReadSegment(CKrFileCursor& cursor, uint32_t formType,
                                            const SKrRiffChunkInfo* previous)
{
    if (previous != nullptr)
        SeekPast(cursor, *previous);
    SKrRiffChunkInfo chunk = {};
    chunk.fccType = formType;
    const bool found = FindChunk(cursor, chunk, nullptr, EKrLookupMode::RiffOnly, kWalkZeroLimit);
    return found ? std::optional(chunk) : std::nullopt;
}

std::optional<SKrRiffChunkInfo> ReadSubChunk(CKrFileCursor& cursor, const SKrRiffChunkInfo& parent,
                                             const SKrRiffChunkInfo* previous)
{
    if (previous != nullptr)
        SeekPast(cursor, *previous);
    else
        cursor.SeekTo(parent.offset + kListTypeSize);
    SKrRiffChunkInfo chunk = {};
    const bool found = FindChunk(cursor, chunk, &parent, EKrLookupMode::AnyChunk, kWalkZeroLimit);
    return found ? std::optional(chunk) : std::nullopt;
}

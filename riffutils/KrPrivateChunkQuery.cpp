#include "riffutils/KrPrivateChunkQuery.h"

#include "format/KrFourCC.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace
{
// No field lies behind these bytes.
constexpr uint32_t kLargestRead = 512;

// The two segments that are looked at: the first and the last.
struct SCandidates
{
    SKrRiffChunkNode* first = nullptr;
    SKrRiffChunkNode* last = nullptr; // null when the file has one segment
};

SCandidates FindCandidates(IKrRiffReader& reader)
{
    SCandidates candidates;
    if (reader.FindFirstRiffSegment() == 0)
        return candidates;
    SKrRiffChunkNode** place = &candidates.first;
    for (bool more = true; more; place = &candidates.last)
    {
        uint32_t formType = 0;
        uint32_t size = 0;
        uint64_t dataOffset = 0;
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextRiffSegment(&formType, &size, &dataOffset, &node) != 0;
        *place = node;
    }
    return candidates;
}

// The first direct sub-chunk with the wanted id, or null. The walk has begun.
const SKrRiffChunkNode* FindChild(IKrRiffReader& reader, uint32_t wanted)
{
    for (bool more = true; more;)
    {
        uint32_t ckid = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t dataOffset = 0;
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextSubChunk(&ckid, &type, &size, &dataOffset, &node) != 0;
        if (ckid == wanted && node != nullptr)
            return node;
    }
    return nullptr;
}

const SKrRiffChunkNode* FindPrivateChunk(IKrRiffReader& reader, uint32_t wanted)
{
    const SCandidates candidates = FindCandidates(reader);
    for (SKrRiffChunkNode* const segment : {candidates.first, candidates.last})
    {
        if (segment == nullptr || reader.FindFirstSubChunk(segment) == 0)
            return nullptr;
        if (const SKrRiffChunkNode* const found = FindChild(reader, wanted))
            return found;
    }
    return nullptr;
}

// A private chunk's data, zeros behind its end.
struct SPrivateData
{
    std::array<uint8_t, kLargestRead> buffer = {};
    uint32_t size = 0;

    std::span<const uint8_t> Bytes() const { return {buffer.data(), size}; }
};

// Reads the data of a chunk as far as fields go. `whole`: the file must hold all of the chunk.
std::optional<SPrivateData> ReadPrivateChunk(IKrRiffReader& reader, uint32_t wanted, bool whole)
{
    const SKrRiffChunkNode* const node = FindPrivateChunk(reader, wanted);
    if (node == nullptr)
        return std::nullopt;
    const SKrRiffChunkInfo& chunk = node->chunk;
    SPrivateData data;
    if (chunk.cksize <= kLargestRead)
    {
        // The node's own record: a host's reader may know it by its address.
        data.size = reader.ReadChunkData(&chunk, data.buffer.data(), chunk.cksize);
        return data.size == chunk.cksize ? std::optional(data) : std::nullopt;
    }
    if (whole && chunk.offset + chunk.cksize > reader.GetFileLength())
        return std::nullopt;
    SKrRiffChunkInfo head = chunk;
    head.cksize = kLargestRead;
    data.size = reader.ReadChunkData(&head, data.buffer.data(), kLargestRead);
    if (data.size != kLargestRead)
        return std::nullopt;
    return data;
}

std::optional<SPrivateData> ReadKrlA(IKrRiffReader& reader)
{
    return ReadPrivateChunk(reader, kFccKrlA, false);
}

std::optional<uint8_t> ScanModeByte(IKrRiffReader& reader, int flavour)
{
    uint8_t stored = 0;
    if (flavour == KrPrivateChunkQuery::kOwnFlavour)
    {
        const std::optional<SPrivateData> data = ReadKrlA(reader);
        return data && DecodeKrlAScanMode(data->Bytes(), stored) ? std::optional(stored) : std::nullopt;
    }
    if (flavour == KrPrivateChunkQuery::kForeignFlavour)
    {
        const std::optional<SPrivateData> data = ReadPrivateChunk(reader, kFccCtsI, true);
        return data && DecodeCtsI(data->Bytes(), stored) ? std::optional(stored) : std::nullopt;
    }
    return std::nullopt;
}
} // namespace

bool KrPrivateChunkQuery::ScanMode(IKrRiffReader& reader, int flavour, EKrScanMode& scanMode)
{
    const std::optional<uint8_t> stored = ScanModeByte(reader, flavour);
    if (!stored)
        return false;
    scanMode = ScanModeOfByte(*stored);
    return scanMode != EKrScanMode::Unknown;
}

bool KrPrivateChunkQuery::PixelAspect(IKrRiffReader& reader, int flavour, SKrPixelAspect& aspect)
{
    if (flavour == kOwnFlavour)
    {
        const std::optional<SPrivateData> data = ReadKrlA(reader);
        return data && DecodeKrlAAspect(data->Bytes(), aspect);
    }
    if (flavour == kForeignFlavour)
    {
        const std::optional<SPrivateData> data = ReadPrivateChunk(reader, kFccPrmA, true);
        return data && DecodePrmA(data->Bytes(), aspect);
    }
    return false;
}

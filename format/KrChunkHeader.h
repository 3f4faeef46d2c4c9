// The header of a RIFF chunk (AVI 1.0), and the rule for where the next chunk starts.
#ifndef KR_FORMAT_KRCHUNKHEADER_H
#define KR_FORMAT_KRCHUNKHEADER_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrBytes.h"
#include "format/KrFourCC.h"

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr size_t kChunkHeaderSize = 8; // id and size
inline constexpr size_t kListHeaderSize = 12; // id, size, and form or list type
inline constexpr uint64_t kListTypeSize = 4;  // of that type, which stands before the first sub-chunk

// The first bytes of a chunk as stored.
struct SKrChunkHeader
{
    uint32_t id = 0;
    uint32_t size = 0;
    uint32_t firstData = 0; // the four bytes after the size: the type of a container; 0 where the file ends
};

// Decodes 8 to 12 bytes.
inline SKrChunkHeader DecodeChunkHeader(std::span<const uint8_t> bytes)
{
    return {GetLe32(&bytes[0]), GetLe32(&bytes[4]), bytes.size() >= kListHeaderSize ? GetLe32(&bytes[8]) : 0};
}

constexpr bool IsContainer(uint32_t id)
{
    return id == kFccRiff || id == kFccList;
}

constexpr uint64_t RoundUpToEven(uint64_t position)
{
    return position + (position & 1);
}

// Where the chunk after this one starts: chunks end at even positions.
constexpr uint64_t PositionAfter(const SKrRiffChunkInfo& chunk)
{
    return RoundUpToEven(chunk.offset + chunk.cksize);
}

// The low half of a position, for fields of 32 bits.
constexpr uint32_t Low32(uint64_t position)
{
    return static_cast<uint32_t>(position);
}

#endif

// The chunks and lists that AVI files have: where each may be, and the use of its bytes.
#ifndef KR_TOOLS_AVI_KRCHUNKKINDS_H
#define KR_TOOLS_AVI_KRCHUNKKINDS_H

#include "format/KrChunkHeader.h"

#include <cstddef>
#include <cstdint>

namespace KrTool
{
// The use of a file's bytes.
enum class EKrBytes : uint8_t
{
    Structure, // headers of lists and chunks
    Headers,
    Data,
    Indexes,
    Private,
    Filler,
    Padding,
    Other,
    Unaccounted,
    Count
};

enum class EKrListKind : uint8_t
{
    File,
    Segment,
    Hdrl,
    Strl,
    Odml,
    Movi,
    Rec,
    Info,
    Other // of an unknown type
};

// Lists as a set of bits.
constexpr uint32_t ListBit(EKrListKind kind)
{
    return uint32_t{1} << static_cast<uint32_t>(kind);
}
inline constexpr uint32_t kDataLists = ListBit(EKrListKind::Movi) | ListBit(EKrListKind::Rec);

struct SKrChunkKind
{
    uint32_t id;
    uint32_t places; // bits of the lists that may contain it
    EKrBytes bytes;
};

// Null for chunks of streams and for ids that are not known.
const SKrChunkKind* KindOfChunk(uint32_t id);

struct SKrListKind
{
    uint32_t type;
    uint32_t places;
    EKrListKind kind;
};

// Null for types of segments, and for those that are not known.
const SKrListKind* KindOfList(uint32_t type);

// Whether a segment's or list's size was never written: until a recording ends, some programs leave 0
// there, others all bits set.
constexpr bool IsSizeUnset(uint32_t size)
{
    return size < kListHeaderSize - kChunkHeaderSize || size == UINT32_MAX; // the size counts the type
}

constexpr size_t kDeepestLevel = 32; // real files have six levels, the file itself among them
} // namespace KrTool

#endif

// The chunks and lists that AVI files have: where each may lie, and what its bytes are for.
#ifndef KR_TOOLS_VERIFY_KRCHUNKKINDS_H
#define KR_TOOLS_VERIFY_KRCHUNKKINDS_H

#include "tools/verify/KrVerifyModel.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace KrTool
{
enum class EKrListKind : uint8_t
{
    File,
    Segment,
    Hdrl,
    Strl,
    Odml,
    Movi,
    Rec,
    Info
};

constexpr uint32_t ListBit(EKrListKind kind)
{
    return uint32_t{1} << static_cast<uint32_t>(kind);
}

struct SKrChunkKind
{
    uint32_t id;
    uint32_t places; // bits of the lists that it may lie in
    EKrBytes bytes;
};

// Nothing for data chunks and for ids that are not known.
const SKrChunkKind* KindOfChunk(uint32_t id);

struct SKrListKind
{
    uint32_t type;
    uint32_t places;
    EKrListKind kind;
};
const SKrListKind* KindOfList(uint32_t type);

struct SKrDataTag
{
    uint32_t stream = 0;
    EKrContent content = EKrContent::Other;
};

// What the id of a data chunk says. Where the headers have `streamCount` streams and none of the number in
// hexadecimal digits, decimal ones are taken as such.
std::optional<SKrDataTag> DataTagOf(uint32_t id, size_t streamCount);

// "ix00" and the like.
bool IsStandardIndexId(uint32_t id);
} // namespace KrTool

#endif

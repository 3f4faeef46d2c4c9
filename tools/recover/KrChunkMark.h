// What the first bytes at a place of a damaged file look like.
#ifndef KR_TOOLS_RECOVER_KRCHUNKMARK_H
#define KR_TOOLS_RECOVER_KRCHUNKMARK_H

#include "tools/input/KrStreamChunks.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace KrTool
{
enum class EKrMark
{
    Nothing,
    End,       // too few bytes for a chunk header
    Zeros,     // eight of them
    Container, // 'RIFF' or 'LIST', of any size
    Data,      // a data chunk of a video or audio stream, of any size
    OtherData, // a chunk of a stream, neither video nor audio, that lies inside the file
    Known,     // an index or filler, of any size
    Printable  // an id of letters and digits, of a size that lies inside the file
};

struct SKrMark
{
    EKrMark kind = EKrMark::Nothing;
    uint32_t id = 0;
    uint32_t size = 0;
};

// Looks at the bytes at a place; `left` are the bytes from there to the file's end, of which the first eight
// are wanted.
SKrMark MarkOf(std::span<const uint8_t> bytes, uint64_t left);

// The stream that a data chunk's id names. Its number stands there as two hexadecimal digits; where the
// headers have `streamCount` streams and no such one, two decimal digits are taken as such.
struct SKrDataId
{
    uint32_t stream = 0;
    EKrStreamKind kind = EKrStreamKind::Video;
};
std::optional<SKrDataId> DataIdOf(uint32_t id, size_t streamCount);

// The first place among the bytes, from `from` on, that may be the header of a data chunk, an index, a filler
// or a container. Four bytes are looked at: without a match, the first place that was not decided.
struct SKrIdSearch
{
    size_t place = 0;
    bool found = false;
};
SKrIdSearch FindId(std::span<const uint8_t> bytes, size_t from);
} // namespace KrTool

#endif

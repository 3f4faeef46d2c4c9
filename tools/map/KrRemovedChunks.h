// Chunks that an index names and a file has no more, also where bytes were taken out of the middle: whatever
// follows then lies elsewhere than the index says, and the reader rejects it.
#ifndef KR_TOOLS_MAP_KRREMOVEDCHUNKS_H
#define KR_TOOLS_MAP_KRREMOVEDCHUNKS_H

#include "tools/map/KrFileSpans.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrByteSource;

struct SKrRemovedChunk
{
    uint64_t place = 0; // between the headers of the data chunks around it
    uint32_t size = 0;
    EKrSpanKind kind = EKrSpanKind::Video;
    uint8_t stream = 0;
};

// Where bytes were taken out.
struct SKrRemoval
{
    uint64_t position = 0;
    uint64_t bytes = 0;
    uint64_t chunks = 0;
};

struct SKrRemovedChunks
{
    std::vector<SKrRemovedChunk> chunks; // in file order, with those of holes
    std::vector<SKrRemoval> places;
};

// Compares the order and the sizes of all chunks with those of the index. Empty unless bytes were removed,
// and where it cannot be known which: all chunks of a file may have the same size.
[[nodiscard]] SKrRemovedChunks FindRemovedChunks(const CKrByteSource& file, const SKrFileSpans& spans,
                                                 size_t streamCount);
} // namespace KrTool

#endif

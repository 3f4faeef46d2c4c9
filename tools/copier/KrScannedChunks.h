// The whole chunks of all streams, found in one pass without indexes and list sizes: for files without an
// index, and for those whose index is wrong.
#ifndef KR_TOOLS_COPIER_KRSCANNEDCHUNKS_H
#define KR_TOOLS_COPIER_KRSCANNEDCHUNKS_H

#include "tools/copier/KrCarriedChunk.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

// A stretch of the file that belongs to no whole chunk.
struct SKrLostStretch
{
    uint64_t position = 0;
    uint64_t bytes = 0;
    size_t place = 0; // number of the whole chunk that follows
};

struct SKrScannedChunks
{
    CarriedChunks chunks; // without key-frame flags
    std::vector<SKrLostStretch> lost;
    uint64_t lostBytes = 0;
    std::vector<uint64_t> cutChunks; // of each stream: with a header, but without all of their bytes
    uint64_t strangeChunks = 0;      // of streams that the headers do not have
    uint64_t oldIndexPosition = 0;   // of the entries of the last 'idx1'
    uint64_t oldIndexBytes = 0;
    bool endIsThere = false; // an index follows the last data chunk
};

[[nodiscard]] SKrScannedChunks ScanForChunks(const CKrByteSource& file, size_t streamCount,
                                             CKrProgress& progress);
} // namespace KrTool

#endif

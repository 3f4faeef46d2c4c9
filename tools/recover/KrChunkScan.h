// The whole data chunks of a damaged file, found without its indexes and list sizes in one
// pass, in linear time.
#ifndef KR_TOOLS_RECOVER_KRCHUNKSCAN_H
#define KR_TOOLS_RECOVER_KRCHUNKSCAN_H

#include "tools/avi/KrStreamChunks.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

// A stretch of the file that belongs to no whole chunk.
struct SKrDamage
{
    uint64_t offset = 0;
    uint64_t bytes = 0;
};

// What was found of one stream, in file order.
struct SKrFoundStream
{
    Chunks chunks;
    std::vector<size_t> breaks; // the chunks that follow damage
    uint64_t emptyChunks = 0;
    uint64_t cutChunks = 0; // with a header, but truncated data
};

using StreamKey = std::pair<uint32_t, EKrStreamKind>; // its number, and what its chunks hold

struct SKrScanResult
{
    std::map<StreamKey, SKrFoundStream> streams;
    uint64_t otherChunks = 0; // of streams, with neither video nor audio
    uint64_t bytesSkipped = 0;
    uint64_t damageCount = 0;
    std::vector<SKrDamage> damages; // the first ones
};

// `streamCount`: streams that the headers describe, 0 when they are lost.
SKrScanResult FindWholeChunks(const CKrByteSource& file, size_t streamCount, CKrProgress& progress);
} // namespace KrTool

#endif

// The chunks of all streams according to the indexes that the library's reader loads, in file order, each
// compared with what the file holds there; with those between them that no index names.
#ifndef KR_TOOLS_COPIER_KRINDEXEDCHUNKS_H
#define KR_TOOLS_COPIER_KRINDEXEDCHUNKS_H

#include "tools/copier/KrCarriedChunk.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;

// What an index says of one stream, and what is there.
struct SKrIndexedStream
{
    bool hasIndex = false;
    uint64_t entries = 0;
    uint64_t outside = 0;   // entries past the end of the file
    uint64_t wrong = 0;     // entries where there is no such chunk
    uint64_t unindexed = 0; // chunks that no entry names, without palette changes
};

struct SKrIndexedChunks
{
    CarriedChunks chunks;
    std::vector<SKrIndexedStream> streams;
    uint64_t unknownChunks = 0; // in 'movi', of no stream and no known kind
    uint64_t lostBytes = 0;     // in no chunk, up to the last indexed one
    uint64_t firstLost = 0;     // their first position
    uint64_t bytesAfter = 0;    // the same after that
    uint64_t firstAfter = 0;

    // Whether the indexes lead to all that the file holds.
    [[nodiscard]] bool IsSound() const;
};

// The entries alone, of the first `streamCount` streams.
[[nodiscard]] SKrIndexedChunks LoadIndexedChunks(const CKrAviFile& file, size_t streamCount);

// Compares them with the file from `start`, the first chunk of 'movi', on, and adds those without an entry.
void CompareWithFile(const CKrAviFile& file, uint64_t start, SKrIndexedChunks& indexed,
                     CKrProgress& progress);
} // namespace KrTool

#endif

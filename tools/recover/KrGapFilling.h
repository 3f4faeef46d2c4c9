// Lost chunks replaced by empty frames and silence, so that what is left keeps its time.
#ifndef KR_TOOLS_RECOVER_KRGAPFILLING_H
#define KR_TOOLS_RECOVER_KRGAPFILLING_H

#include "tools/recover/KrExpectedChunks.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
// Of each stream, in its units: frames, sample frames, packets.
struct SKrStreamLoss
{
    uint64_t chunks = 0; // lost, as far as an index names them
    uint64_t units = 0;
    uint64_t filled = 0;   // units
    uint64_t cutBytes = 0; // of sample frames that damage cut
    uint64_t empty = 0;    // frames without data that were there
};

struct SKrFilledChunks
{
    CarriedChunks chunks;
    std::vector<bool> isKeyKnown;
    std::vector<SKrStreamLoss> streams;
    bool isNamed = false; // an index names what is lost
};

// Without an index the lengths of the headers tell how much is missing in all, if the end of the file is
// there.
[[nodiscard]] SKrFilledChunks FillGaps(const SKrCarriedHeader& header, const SKrScannedChunks& scanned,
                                       const std::vector<SKrExpectedChunk>& expected, uint64_t fileLength,
                                       bool fills);
} // namespace KrTool

#endif

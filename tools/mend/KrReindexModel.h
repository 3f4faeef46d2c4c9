// What a scan of a whole file finds for new indexes: its chunks with their ids, and where lists and segments
// end.
#ifndef KR_TOOLS_MEND_KRREINDEXMODEL_H
#define KR_TOOLS_MEND_KRREINDEXMODEL_H

#include "tools/verify/KrVerifyModel.h"
#include "tools/verify/KrVerifyResults.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
// A list or segment with the size that is stored, and the end of what it has inside.
struct SKrListEnds
{
    uint64_t position = 0; // of the header
    uint32_t size = 0;     // as stored
    bool isRight = false;  // the size leads to where the list ends
    uint64_t end = 0;      // of the last chunk inside, with its padding

    [[nodiscard]] uint64_t StoredEnd() const { return position + kChunkHeaderSize + size; }
};

struct SKrSegmentEnds : SKrListEnds
{
    std::optional<SKrListEnds> movi;
    bool hasOthersAfterMovi = false; // anything but 'idx1' and filler
};

// Bytes that belong to no whole chunk.
struct SKrStretch
{
    uint64_t position = 0;
    uint64_t end = 0;
    bool isChunk = false; // it begins with the header of a chunk whose size is wrong
    bool isLost = true;   // unless it was an index or filler
    uint32_t id = 0;      // of that chunk
};

// The size that a chunk should have.
struct SKrRightSize
{
    uint64_t position = 0; // of the header
    uint32_t size = 0;
};

struct SKrReindexScan
{
    SKrVerifyModel model; // with what the old indexes say of each chunk
    CKrVerifyResults results;
    std::vector<uint32_t> ids; // of the model's chunks; 0: not whole, and in no index

    // Likewise, up to the last one of which it is known: whether a frame is a key frame by its first bytes.
    std::vector<std::optional<bool>> keyGuesses;
    std::vector<SKrSegmentEnds> segments;
    std::vector<SKrListEnds> otherLists; // of headers, and 'rec ', whose size is wrong
    std::vector<SKrStretch> stretches;
    std::vector<SKrRightSize> repairs;
    uint64_t cutChunks = 0; // stretches that are data chunks
    uint64_t end = 0;       // of the last chunk of the file, with its padding
};
} // namespace KrTool

#endif

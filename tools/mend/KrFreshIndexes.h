// New indexes for the chunks that a scan found: where they go, and their bytes.
#ifndef KR_TOOLS_MEND_KRFRESHINDEXES_H
#define KR_TOOLS_MEND_KRFRESHINDEXES_H

#include "tools/mend/KrBytePatches.h"
#include "tools/mend/KrChunkKeys.h"
#include "tools/mend/KrReindexModel.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
class CKrByteSource;

struct SKrFreshIndexes
{
    CKrBytePatches patches;        // in the places of old indexes
    std::vector<uint8_t> appended; // after the end of the file, if any
    size_t appendedToMovi = 0;     // bytes of them, the first ones
    uint64_t oldIndexEntries = 0;  // written, here or there
    uint64_t standardIndexes = 0;  // likewise
    bool hasNoPlaceForOldIndex = false;
};

// Whether indexes name something else than the chunks that are there.
[[nodiscard]] bool IsOldIndexBroken(const SKrReindexScan& scan);
[[nodiscard]] bool IsSuperIndexBroken(const SKrReindexScan& scan);

// Rewrites what is broken. `appendPosition`: where standard indexes would be appended. Throws CKrToolError
// where the layout of the file has no place for indexes.
[[nodiscard]] SKrFreshIndexes MakeFreshIndexes(const CKrByteSource& file, const SKrReindexScan& scan,
                                               uint64_t appendPosition);
} // namespace KrTool

#endif

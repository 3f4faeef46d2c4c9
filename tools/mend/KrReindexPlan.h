// A file's sizes, counts and indexes as they should be: what kravi reindex changes.
#ifndef KR_TOOLS_MEND_KRREINDEXPLAN_H
#define KR_TOOLS_MEND_KRREINDEXPLAN_H

#include "tools/mend/KrBytePatches.h"
#include "tools/mend/KrReindexModel.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

struct SKrReindexPlan
{
    CKrBytePatches patches;
    std::vector<SKrVerifyStream> streams;
    uint64_t segments = 0;
    uint64_t oldIndexEntries = 0; // written
    uint64_t standardIndexes = 0; // written
    uint64_t sizesRepaired = 0;   // of data chunks
    uint64_t cutChunks = 0;       // data chunks that are not whole; filler now
    uint64_t bytesSkipped = 0;    // in no whole chunk
    std::vector<std::string> notes;
};

// Scans the whole file. Throws CKrToolError where it cannot be mended in place.
[[nodiscard]] SKrReindexPlan PlanReindex(const CKrByteSource& file, CKrProgress& progress);
} // namespace KrTool

#endif

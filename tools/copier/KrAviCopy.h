// Writes a copy: AVI 1.0 with OpenDML, in the layout that all players walk.
#ifndef KR_TOOLS_COPIER_KRAVICOPY_H
#define KR_TOOLS_COPIER_KRAVICOPY_H

#include "tools/copier/KrCopyJob.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
class CKrProgress;

struct SKrCopyResult
{
    uint64_t segments = 0;
    uint64_t fileBytes = 0;
    std::vector<uint64_t> chunks; // of each stream, without palette changes
    std::vector<uint64_t> bytes;
    std::vector<uint64_t> blankFrames; // of coded pictures, whose data are zeros
};

// The file gets its name when it is complete. Throws CKrToolError that names the file which could not be
// read, or written.
SKrCopyResult WriteCopy(const SKrCopyJob& job, const std::string& output, bool force, CKrProgress& progress);
} // namespace KrTool

#endif

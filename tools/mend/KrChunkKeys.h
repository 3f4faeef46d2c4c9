// Which chunks are key frames, for the entries of new indexes.
#ifndef KR_TOOLS_MEND_KRCHUNKKEYS_H
#define KR_TOOLS_MEND_KRCHUNKKEYS_H

#include "tools/mend/KrReindexModel.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrByteSource;

struct SKrChunkKeys
{
    std::vector<bool> isKey; // of the model's chunks
    uint64_t assumed = 0;    // frames for which neither an old index nor their first bytes tell
};

// As the old indexes say; otherwise as the first bytes of a frame do. Frames of which neither is known count
// as key frames unless an index says that others of the stream are not.
[[nodiscard]] SKrChunkKeys FindChunkKeys(const CKrByteSource& file, const SKrReindexScan& scan);
} // namespace KrTool

#endif

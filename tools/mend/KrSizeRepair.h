// Wrong sizes of chunks, repaired from the old indexes.
#ifndef KR_TOOLS_MEND_KRSIZEREPAIR_H
#define KR_TOOLS_MEND_KRSIZEREPAIR_H

#include "tools/mend/KrReindexModel.h"

namespace KrTool
{
class CKrByteSource;

// Chunks whose size is wrong, or that bytes in no chunk follow, get the size that an index has for them where
// it leads exactly to the next chunk. They are then whole in the scan.
void RepairSizes(const CKrByteSource& file, SKrReindexScan& scan);
} // namespace KrTool

#endif

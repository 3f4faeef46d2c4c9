// The scan of a whole file for new indexes.
#ifndef KR_TOOLS_MEND_KRREINDEXSCAN_H
#define KR_TOOLS_MEND_KRREINDEXSCAN_H

#include "tools/mend/KrReindexModel.h"

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

// Throws CKrToolError when the file cannot be read.
void ScanForReindex(const CKrByteSource& file, SKrReindexScan& scan, CKrProgress& progress);
} // namespace KrTool

#endif

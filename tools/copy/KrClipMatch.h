// Whether files can be joined: whether the frames and the sound of one may follow those of another.
#ifndef KR_TOOLS_COPY_KRCLIPMATCH_H
#define KR_TOOLS_COPY_KRCLIPMATCH_H

#include "tools/copy/KrCopySource.h"

namespace KrTool
{
// Throws CKrToolError that names the file, what differs and both values.
void CheckMatch(const SKrCopySource& first, const SKrCopySource& other);
} // namespace KrTool

#endif

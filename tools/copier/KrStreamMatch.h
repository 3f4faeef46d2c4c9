// Whether the streams of one file may follow those of another.
#ifndef KR_TOOLS_COPIER_KRSTREAMMATCH_H
#define KR_TOOLS_COPIER_KRSTREAMMATCH_H

#include "tools/copier/KrCarriedSource.h"

namespace KrTool
{
// Throws CKrToolError that names the file, the first difference and both values.
void CheckStreamsMatch(const SKrCarriedSource& first, const SKrCarriedSource& other);
} // namespace KrTool

#endif

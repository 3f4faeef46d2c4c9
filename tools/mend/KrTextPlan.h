// Texts about a file, rewritten where there is room for them.
#ifndef KR_TOOLS_MEND_KRTEXTPLAN_H
#define KR_TOOLS_MEND_KRTEXTPLAN_H

#include "tools/mend/KrFieldChanges.h"
#include "tools/mend/KrHeaderPlaces.h"

namespace KrTool
{
// Adds the texts of an 'INFO' list to the plan: in the list, and in the filler after it. Throws CKrToolError
// when they do not fit.
void PlanTexts(const CKrByteSource& file, const SKrHeaderPlaces& places, const SKrFieldValues& values,
               SKrFieldPlan& plan);
} // namespace KrTool

#endif

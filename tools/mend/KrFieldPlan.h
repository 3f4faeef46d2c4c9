// Where the headers of a file have the fields that kravi set changes.
#ifndef KR_TOOLS_MEND_KRFIELDPLAN_H
#define KR_TOOLS_MEND_KRFIELDPLAN_H

#include "tools/mend/KrFieldChanges.h"

namespace KrTool
{
class CKrByteSource;

// Throws CKrToolError for values that make no sense, and for fields that have no place in the file.
[[nodiscard]] SKrFieldPlan PlanFields(const CKrByteSource& file, const SKrFieldValues& values);
} // namespace KrTool

#endif

// How a verb is called, in one line.
#ifndef KR_TOOLS_MANUAL_KRUSAGELINE_H
#define KR_TOOLS_MANUAL_KRUSAGELINE_H

#include "tools/command/KrVerbTable.h"

#include <string>

namespace KrTool
{
// "kravi map [OPTIONS] -o NAME FILE": what is required, and what is given without a name.
std::string UsageLine(const CKrVerbTable::SKrVerb& verb);
} // namespace KrTool

#endif

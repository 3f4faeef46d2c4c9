// Scripts by which shells complete the tool's verbs, options and values.
#ifndef KR_TOOLS_MANUAL_KRCOMPLETION_H
#define KR_TOOLS_MANUAL_KRCOMPLETION_H

#include <string>

namespace KrTool
{
class CKrVerbTable;

std::string BashCompletion(const CKrVerbTable& verbs);
std::string ZshCompletion(const CKrVerbTable& verbs);
std::string FishCompletion(const CKrVerbTable& verbs);
} // namespace KrTool

#endif

// The manual page of the tool, for man(1).
#ifndef KR_TOOLS_MANUAL_KRMANPAGE_H
#define KR_TOOLS_MANUAL_KRMANPAGE_H

#include <string>

namespace KrTool
{
class CKrVerbTable;

std::string ManPage(const CKrVerbTable& verbs, const std::string& version);
} // namespace KrTool

#endif

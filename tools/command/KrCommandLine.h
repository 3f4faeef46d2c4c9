// The tool as a whole: arguments in, exit code out.
#ifndef KR_TOOLS_COMMAND_KRCOMMANDLINE_H
#define KR_TOOLS_COMMAND_KRCOMMANDLINE_H

#include <string>
#include <vector>

namespace KrTool
{
int RunCommandLine(const std::vector<std::string>& arguments);
} // namespace KrTool

#endif
